#include "ems/EmsAuthorization.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstring>
#include <memory>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmLog.h"

namespace {

// The fixed key that salts the password hash; the server knows it too.
constexpr char kHashKey[] = "Q7rTz2KdLm9XwB4nHs6VpYc3Ja8EuF1G";
constexpr size_t kHashKeyLength = sizeof kHashKey - 1;  // 32 characters, no terminator

// The application-server type whose devices never use the fallback pair.
constexpr int kServerTypeWithoutFallback = 6;

struct Part {
  const void* data;
  size_t size;
};

// MD5 over the parts in order; false (and `out` zeroed) when OpenSSL refuses.
bool Md5(std::initializer_list<Part> parts, unsigned char out[16]) {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  bool ok = context && EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) == 1;
  for (const Part& part : parts) {
    ok = ok && EVP_DigestUpdate(context.get(), part.data, part.size) == 1;
  }
  unsigned int length = 0;
  ok = ok && EVP_DigestFinal_ex(context.get(), out, &length) == 1 && length == 16;
  if (!ok) std::memset(out, 0, 16);
  return ok;
}

std::string Text(const char* value) { return value ? value : ""; }

}  // namespace

bool DecodeHex(char c, unsigned char& out) {
  if (c >= '0' && c <= '9') {
    out = static_cast<unsigned char>(c - '0');
  } else if (c >= 'a' && c <= 'f') {
    out = static_cast<unsigned char>(c - 'a' + 10);
  } else if (c >= 'A' && c <= 'F') {
    out = static_cast<unsigned char>(c - 'A' + 10);
  } else {
    return false;
  }
  return true;
}

bool DecodeHex(const char* text, unsigned char* out, size_t size) {
  if (text == nullptr || (out == nullptr && size != 0)) return false;
  for (size_t i = 0; i < size; ++i) {
    unsigned char high = 0;
    unsigned char low = 0;
    // The second test only runs when the first digit was good, so the read
    // never passes the terminator.
    if (!DecodeHex(text[2 * i], high) || !DecodeHex(text[2 * i + 1], low)) return false;
    out[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return text[2 * size] == '\0';
}

std::string EncodeHex(const void* data, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::string text;
  if (bytes == nullptr) return text;
  text.reserve(2 * size);
  for (size_t i = 0; i < size; ++i) {
    text.push_back(kDigits[bytes[i] >> 4]);
    text.push_back(kDigits[bytes[i] & 0x0f]);
  }
  return text;
}

uint32_t GenerateSessionId() {
  uint32_t id = 0;
  RAND_bytes(reinterpret_cast<unsigned char*>(&id), sizeof id);
  return id;
}

const unsigned char* AuthorizationHash(uint32_t sessionId, const std::string& user,
                                       const std::string& password, unsigned char out[16]) {
  unsigned char inner[16];
  bool ok = Md5({{password.data(), password.size()}, {kHashKey, kHashKeyLength}}, inner);
  ok = ok && Md5({{inner, sizeof inner}, {&sessionId, sizeof sessionId}, {user.data(), user.size()}}, out);
  OPENSSL_cleanse(inner, sizeof inner);
  if (!ok) {
    std::memset(out, 0, 16);
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "MD5 is not available: authorization hash left empty");
  }
  return out;
}

bool GetUserPassword(std::string& user, std::string& password) {
  const int serverType = g1485();
  user = Text(g77());
  std::string stored;
  if (serverType != kServerTypeWithoutFallback && user.empty()) {
    user = Text(g1356());
    stored = Text(g1357());
  } else {
    stored = Text(g78());
  }
  char buffer[64];
  std::memset(buffer, 0, sizeof buffer);
  // A failed decryption is not an error of its own: the password is then
  // whatever the platform left in the buffer (ours empties it).
  VM_Decrypt_Param(stored.c_str(), buffer, sizeof buffer);
  buffer[sizeof buffer - 1] = '\0';
  password = buffer;
  OPENSSL_cleanse(buffer, sizeof buffer);
  return !user.empty() && !password.empty();
}
