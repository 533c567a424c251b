// Signed files and signature files come from the network. The split must cut
// exactly the trailer's signature, or change nothing; a signature file of
// any content must decode without harm and never verify by chance.

#include <unistd.h>

#include <cstring>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "security/SignatureVerifier.h"
#include "support/TestPki.h"

namespace {

// A public key made once per process (its private half is never needed).
const std::string& PublicKeyPem() {
  static const std::string pem = [] {
    const testpki::Key key = testpki::NewRsaKey(2048);
    if (!key) fuzz::Fail("RSA key generation");
    return testpki::PublicKeyPem(key.get());
  }();
  return pem;
}

void CheckSplit(const uint8_t* data, size_t size) {
  const std::string signedPath = fuzz::WriteFile("signed.bin", data, size);
  const std::string signaturePath = fuzz::Directory() + "/signature.bin";
  std::remove(signaturePath.c_str());
  const int result = extract_signature(signedPath.c_str(), signaturePath.c_str());

  uint64_t length = 0;
  for (size_t i = 0; size >= 8 && i < 8; ++i) length |= static_cast<uint64_t>(data[size - 8 + i]) << (8 * i);
  if (size < 8 || (size == 8 && length == 0)) {
    FUZZ_CHECK(result == -1);
    return;
  }
  FUZZ_CHECK(result == 0);
  const std::string payload = testpki::ReadFile(signedPath);
  const uint64_t position = size - 8;
  if (length > position) {
    FUZZ_CHECK(payload.size() == size && std::memcmp(payload.data(), data, size) == 0);
    FUZZ_CHECK(access(signaturePath.c_str(), F_OK) != 0);
    return;
  }
  const size_t start = static_cast<size_t>(position - length);
  FUZZ_CHECK(payload.size() == start && std::memcmp(payload.data(), data, start) == 0);
  FUZZ_CHECK(access(signaturePath.c_str(), F_OK) == 0);
  const std::string signature = testpki::ReadFile(signaturePath);
  FUZZ_CHECK(signature.size() == length && std::memcmp(signature.data(), data + start, signature.size()) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CheckSplit(data, size);

  // The same bytes as a base64 signature file, checked over a small file.
  const std::string signaturePath = fuzz::WriteFile("signature.b64", data, size);
  const uint8_t content[] = "payload";
  const std::string filePath = fuzz::WriteFile("payload.bin", content, sizeof content - 1);
  SignatureVerifier verifier;
  FUZZ_CHECK(verifier.initPublicKey(PublicKeyPem()));
  FUZZ_CHECK(verifier.initSignature(signaturePath));
  FUZZ_CHECK(verifier.signature().size() <= size);
  FUZZ_CHECK(!verifier.verify(filePath, signaturePath));
  FUZZ_CHECK(!verifier.verify(std::vector<std::string>{filePath}, signaturePath));
  return 0;
}
