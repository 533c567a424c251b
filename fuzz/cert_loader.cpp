// Certificate files of any content, PEM or DER: loading, the validity and
// expiry checks, the printed details and the DER-to-PEM conversion.
#include <cstring>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "state/SCEPEnrollUtility.h"
#include "support/TestPki.h"

namespace {

void Inspect(const std::string& path) {
  if (certificate_openssl* cert = get_certificate(path.c_str())) {
    FUZZ_CHECK(cert->certificate != nullptr);
    cert_crypto_destroy(cert);
  }
  check_cert_expired(path.c_str());
  get_cert_renew_timer(path.c_str());
  // Guard bytes after each buffer catch writes past its size.
  char texts[5][CERT_TEXT_SIZE + 8];
  std::memset(texts, 0x5A, sizeof texts);
  if (get_cert_detail(path.c_str(), texts[0], texts[1], texts[2], texts[3], texts[4]) == 1) {
    for (auto& text : texts) FUZZ_CHECK(std::memchr(text, 0, CERT_TEXT_SIZE) != nullptr);
  }
  for (auto& text : texts) {
    for (size_t i = CERT_TEXT_SIZE; i < sizeof text; ++i) FUZZ_CHECK(text[i] == 0x5A);
  }
  char info[CERT_INFO_SIZE + 8];
  std::memset(info, 0x5A, sizeof info);
  if (get_cert_info(path.c_str(), info) == 1) FUZZ_CHECK(std::memchr(info, 0, CERT_INFO_SIZE) != nullptr);
  for (size_t i = CERT_INFO_SIZE; i < sizeof info; ++i) FUZZ_CHECK(info[i] == 0x5A);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::WriteFile("device.crt", data, size);
  Inspect(path);
  check_local_cert_validity(fuzz::Directory().c_str());
  if (!IsPemFile(path.c_str())) {
    ConvertCertToPemFile(path.c_str());
    const std::string after = testpki::ReadFile(path);
    // Either converted (then PEM) or untouched.
    FUZZ_CHECK(IsPemFile(path.c_str()) || (after.size() == size && std::memcmp(after.data(), data, size) == 0));
    Inspect(path);
  }
  return 0;
}
