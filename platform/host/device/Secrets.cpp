#include "platform/host/device/Secrets.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "platform/host/config/ConfigStore.h"
#include "platform/host/config/StoreLocation.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmFile.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"

namespace dmcfg {
namespace {

// "enc1:" texts (earlier versions, and VM_Encrypt_Param) carry no path;
// "enc2:" texts are sealed with their configuration path as associated
// data, so one moved or copied to another path no longer opens.
constexpr char kTag[] = "enc1:";
constexpr char kBoundTag[] = "enc2:";
constexpr size_t kTagLength = sizeof kTag - 1;
constexpr size_t kKeySize = 32;
constexpr size_t kNonceSize = 12;
constexpr size_t kTagSize = 16;

// Wipes key material when it goes out of scope.
struct Key {
  unsigned char bytes[kKeySize];
  ~Key() { OPENSSL_cleanse(bytes, sizeof bytes); }
};

enum class KeyRead { kOk, kMissing, kRefused };

// Reads the key file, which must be a private regular file (not a link) of
// exactly kKeySize bytes.
KeyRead ReadKey(const std::string& path, Key* key) {
  vmFileStatus status = VM_FILE_OK;
  const int fd = vmFileOpenInput(path.c_str(), VM_FILE_NOFOLLOW, VM_FILE_CAP_KEY, &status);
  if (fd < 0) {
    if (status == VM_FILE_MISSING) return KeyRead::kMissing;
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Device key %s is refused: %s", path.c_str(),
           vmFileStatusText(status));
    return KeyRead::kRefused;
  }
  struct stat info;
  bool ok = fstat(fd, &info) == 0 && CheckPrivateFile(info, path);
  if (ok) {
    ok = read(fd, key->bytes, kKeySize) == static_cast<ssize_t>(kKeySize) && info.st_size == kKeySize;
    if (!ok) DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Device key %s is not a key", path.c_str());
  }
  close(fd);
  return ok ? KeyRead::kOk : KeyRead::kRefused;
}

// Loads the device key, making it on first use. A new key is written to a
// private temporary file and linked into place (never replacing a file
// there), so concurrent first uses agree on one key and nobody reads a
// half-written file.
bool LoadKey(const std::string& database_path, Key* key) {
  const std::string path = DeviceKeyPath(database_path);
  const KeyRead first = ReadKey(path, key);
  if (first != KeyRead::kMissing) return first == KeyRead::kOk;
  Key fresh;
  if (RAND_bytes(fresh.bytes, kKeySize) != 1) return false;
  std::string temporary;
  const int fd = vmFileCreateTemporary(path.c_str(), &temporary);
  if (fd < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot create the device key %s: %s", path.c_str(),
           std::strerror(errno));
    return false;
  }
  if (write(fd, fresh.bytes, kKeySize) != static_cast<ssize_t>(kKeySize)) {
    vmFileAbandon(fd, temporary);
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot write the device key %s", path.c_str());
    return false;
  }
  if (vmFileCommit(fd, temporary, path.c_str(), 0600, VM_FILE_KEEP_EXISTING | VM_FILE_DURABLE) != 0 && errno != EEXIST) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot store the device key %s: %s", path.c_str(),
           std::strerror(errno));
  }
  return ReadKey(path, key) == KeyRead::kOk;
}

// Where this thread last read bound secrets, newest first.
struct SecretRead {
  std::string path;
  std::string value;
};
constexpr int kRecentReads = 4;
thread_local SecretRead t_reads[kRecentReads];

// The configuration path that `stored` was read from on this thread, else
// the one path that holds it (a walk over every stored value, for texts
// that did not come through a read). False when no path, or several, hold it.
bool PathOf(const std::string& stored, std::string* path) {
  // A remembered read counts while its path still holds the text (one
  // indexed read), so a read from before a move or swap is not trusted.
  std::vector<char> value(stored.size() + 2);
  const std::vector<SecretRead> reads(std::begin(t_reads), std::end(t_reads));  // the reads below add to it
  for (const SecretRead& read : reads) {
    if (read.value != stored) continue;
    const std::string& candidate = read.path;
    if (vmCfgGetParam(candidate.c_str(), value.data(), static_cast<unsigned>(value.size())) == VM_CFG_OK &&
        stored == value.data()) {
      *path = candidate;
      return true;
    }
  }
  vmCfgIter* iter = vmCfgIterStartPath("");
  if (iter == nullptr) return false;
  int found = 0;
  for (const char* entry = vmCfgIterGetData(iter); entry != nullptr && found < 2;
       vmCfgIterNext(iter), entry = vmCfgIterGetData(iter)) {
    if (vmCfgIterGetValue(iter, value.data(), static_cast<unsigned>(value.size())) == VM_CFG_OK &&
        stored == value.data()) {
      *path = entry;
      ++found;
    }
  }
  vmCfgIterEnd(iter);
  return found == 1;
}

// Feeds the configuration path (without a leading '/') as associated data.
template <typename Update>
bool AddPath(EVP_CIPHER_CTX* ctx, const char* param_path, Update update) {
  if (param_path == nullptr) return true;
  if (*param_path == '/') ++param_path;
  int ignored = 0;
  return update(ctx, nullptr, &ignored, reinterpret_cast<const unsigned char*>(param_path),
                static_cast<int>(std::strlen(param_path))) == 1;
}

}  // namespace

void NoteValueRead(const std::string& path, const std::string& value) {
  if (value.compare(0, kTagLength, kBoundTag) != 0) return;
  for (int i = kRecentReads - 1; i > 0; --i) t_reads[i] = std::move(t_reads[i - 1]);
  t_reads[0] = SecretRead{path, value};
}

std::string DeviceKeyPath(const std::string& database_path) {
  if (const char* path = std::getenv("VM_DEVICE_KEY_FILE"); path && *path) return path;
  const size_t slash = database_path.rfind('/');
  return (slash == std::string::npos ? std::string(".") : database_path.substr(0, slash)) + "/device.key";
}

bool EncryptSecret(const std::string& database_path, const char* param_path, const std::string& plain,
                   std::string* stored) {
  Key key;
  if (!LoadKey(database_path, &key)) return false;
  std::vector<unsigned char> sealed(kNonceSize + plain.size() + kTagSize);
  if (RAND_bytes(sealed.data(), kNonceSize) != 1) return false;
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  int length = 0;
  int tail = 0;
  bool ok = ctx != nullptr &&
            EVP_EncryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, key.bytes, sealed.data()) == 1 &&
            AddPath(ctx, param_path, EVP_EncryptUpdate) &&
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
  *stored = std::string(param_path != nullptr ? kBoundTag : kTag) +
            std::string(text.data(), static_cast<size_t>(text_length));
  return true;
}

bool DecryptSecret(const std::string& database_path, const char* param_path, const std::string& stored,
                   std::string* plain) {
  const bool bound = stored.compare(0, kTagLength, kBoundTag) == 0;
  if (!bound && stored.compare(0, kTagLength, kTag) != 0) return false;
  if (bound && param_path == nullptr) return false;
  const std::string text = stored.substr(kTagLength);
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
                  AddPath(ctx, bound ? param_path : nullptr, EVP_DecryptUpdate) &&
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
  // A bound secret opens only under the path it was read from.
  std::string path;
  const bool bound = stored != nullptr && std::strncmp(stored, dmcfg::kBoundTag, dmcfg::kTagLength) == 0;
  if (stored == nullptr || (bound && !dmcfg::PathOf(stored, &path)) ||
      !dmcfg::DecryptSecret(dmcfg::ConfigStore::Instance().DatabasePath(), bound ? path.c_str() : nullptr,
                            stored, &plain)) {
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
  return VM_Encrypt_Path_Param(nullptr, plain, buffer, size);
}

extern "C" int VM_Encrypt_Path_Param(const char* path, const char* plain, char* buffer, int size) {
  if (plain == nullptr || buffer == nullptr || size <= 0) return -1;
  buffer[0] = '\0';
  std::string stored;
  if (!dmcfg::EncryptSecret(dmcfg::ConfigStore::Instance().DatabasePath(), path, plain, &stored) ||
      stored.size() >= static_cast<size_t>(size)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot encrypt a parameter into %d bytes", size);
    return -1;
  }
  std::memcpy(buffer, stored.c_str(), stored.size() + 1);
  return 0;
}
