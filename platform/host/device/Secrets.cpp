#include "platform/host/device/Secrets.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/host/config/ConfigStore.h"
#include "platform/vmDevice.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"

namespace dmcfg {
namespace {

constexpr char kTag[] = "enc1:";
constexpr size_t kKeySize = 32;
constexpr size_t kNonceSize = 12;
constexpr size_t kTagSize = 16;

// Wipes key material when it goes out of scope.
struct Key {
  unsigned char bytes[kKeySize];
  ~Key() { OPENSSL_cleanse(bytes, sizeof bytes); }
};

bool ReadKey(const std::string& path, Key* key) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const ssize_t got = read(fd, key->bytes, kKeySize);
  close(fd);
  return got == static_cast<ssize_t>(kKeySize);
}

// Loads the device key, making it on first use. A new key is written to a
// private temporary file and linked into place, so concurrent first uses
// agree on one key and nobody reads a half-written file.
bool LoadKey(const std::string& database_path, Key* key) {
  const std::string path = DeviceKeyPath(database_path);
  if (ReadKey(path, key)) return true;
  Key fresh;
  if (RAND_bytes(fresh.bytes, kKeySize) != 1) return false;
  const std::string temporary = path + ".new." + std::to_string(getpid());
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot create the device key %s: %s", path.c_str(),
           std::strerror(errno));
    return false;
  }
  const bool written = write(fd, fresh.bytes, kKeySize) == static_cast<ssize_t>(kKeySize) && fsync(fd) == 0;
  close(fd);
  if (written && link(temporary.c_str(), path.c_str()) != 0 && errno != EEXIST) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot store the device key %s: %s", path.c_str(),
           std::strerror(errno));
  }
  unlink(temporary.c_str());
  return ReadKey(path, key);
}

}  // namespace

std::string DeviceKeyPath(const std::string& database_path) {
  if (const char* path = std::getenv("VM_DEVICE_KEY_FILE"); path && *path) return path;
  const size_t slash = database_path.rfind('/');
  return (slash == std::string::npos ? std::string(".") : database_path.substr(0, slash)) + "/device.key";
}

bool EncryptSecret(const std::string& database_path, const std::string& plain, std::string* stored) {
  Key key;
  if (!LoadKey(database_path, &key)) return false;
  std::vector<unsigned char> sealed(kNonceSize + plain.size() + kTagSize);
  if (RAND_bytes(sealed.data(), kNonceSize) != 1) return false;
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  int length = 0;
  int tail = 0;
  bool ok = ctx != nullptr &&
            EVP_EncryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, key.bytes, sealed.data()) == 1 &&
            EVP_EncryptUpdate(ctx, sealed.data() + kNonceSize, &length,
                              reinterpret_cast<const unsigned char*>(plain.data()),
                              static_cast<int>(plain.size())) == 1 &&
            EVP_EncryptFinal_ex(ctx, sealed.data() + kNonceSize + length, &tail) == 1 &&
            EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_GET_TAG, kTagSize,
                                sealed.data() + kNonceSize + plain.size()) == 1;
  EVP_CIPHER_CTX_free(ctx);
  if (!ok) return false;
  std::vector<char> text(4 * ((sealed.size() + 2) / 3) + 1);
  const int text_length = base64_encode(sealed.data(), static_cast<int>(sealed.size()), text.data());
  if (text_length < 0) return false;
  *stored = std::string(kTag) + std::string(text.data(), static_cast<size_t>(text_length));
  return true;
}

bool DecryptSecret(const std::string& database_path, const std::string& stored, std::string* plain) {
  const size_t tag_length = sizeof kTag - 1;
  if (stored.compare(0, tag_length, kTag) != 0) return false;
  const std::string text = stored.substr(tag_length);
  std::vector<unsigned char> sealed(text.size() * 3 / 4 + 1);
  const int sealed_length = base64_decode(text.data(), static_cast<int>(text.size()), sealed.data());
  if (sealed_length < static_cast<int>(kNonceSize + kTagSize)) return false;
  Key key;
  if (!LoadKey(database_path, &key)) return false;
  const size_t cipher_length = static_cast<size_t>(sealed_length) - kNonceSize - kTagSize;
  std::vector<unsigned char> out(cipher_length + 1);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  int length = 0;
  int tail = 0;
  const bool ok = ctx != nullptr &&
                  EVP_DecryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, key.bytes, sealed.data()) == 1 &&
                  EVP_DecryptUpdate(ctx, out.data(), &length, sealed.data() + kNonceSize,
                                    static_cast<int>(cipher_length)) == 1 &&
                  EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_SET_TAG, kTagSize,
                                      sealed.data() + kNonceSize + cipher_length) == 1 &&
                  EVP_DecryptFinal_ex(ctx, out.data() + length, &tail) == 1;
  EVP_CIPHER_CTX_free(ctx);
  if (ok) plain->assign(reinterpret_cast<const char*>(out.data()), static_cast<size_t>(length + tail));
  OPENSSL_cleanse(out.data(), out.size());
  return ok;
}

}  // namespace dmcfg

namespace {

int CopySecret(std::string* text, char* buffer, int size) {
  const bool fits = text->size() < static_cast<size_t>(size);
  if (fits) std::memcpy(buffer, text->c_str(), text->size() + 1);
  OPENSSL_cleanse(&(*text)[0], text->size());
  return fits ? 0 : -1;
}

}  // namespace

extern "C" int VM_Decrypt_Param(const char* stored, char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return -1;
  buffer[0] = '\0';
  std::string plain;
  if (stored == nullptr ||
      !dmcfg::DecryptSecret(dmcfg::ConfigStore::Instance().DatabasePath(), stored, &plain)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot decrypt a stored parameter");
    return -1;
  }
  if (CopySecret(&plain, buffer, size) != 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Decrypted parameter does not fit %d bytes", size);
    return -1;
  }
  return 0;
}

extern "C" int VM_Encrypt_Param(const char* plain, char* buffer, int size) {
  if (plain == nullptr || buffer == nullptr || size <= 0) return -1;
  buffer[0] = '\0';
  std::string stored;
  if (!dmcfg::EncryptSecret(dmcfg::ConfigStore::Instance().DatabasePath(), plain, &stored) ||
      stored.size() >= static_cast<size_t>(size)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot encrypt a parameter into %d bytes", size);
    return -1;
  }
  std::memcpy(buffer, stored.c_str(), stored.size() + 1);
  return 0;
}
