// Encryption of stored parameters under the per-device key (host platform).
#ifndef DEVMGMT_PLATFORM_HOST_DEVICE_SECRETS_H_
#define DEVMGMT_PLATFORM_HOST_DEVICE_SECRETS_H_

#include <string>

namespace dmcfg {

// The key file used with the database at `database_path`.
std::string DeviceKeyPath(const std::string& database_path);

// Encrypts `plain` for the database at `database_path`, bound to the
// configuration path `param_path` when it is not null; false on failure.
bool EncryptSecret(const std::string& database_path, const char* param_path, const std::string& plain,
                   std::string* stored);
// Opens a stored secret; a bound one only with the path it was made for.
bool DecryptSecret(const std::string& database_path, const char* param_path, const std::string& stored,
                   std::string* plain);

// Called by the configuration reads: remembers, per thread, where the last
// few bound secrets were read from, so that decrypting one finds its path
// without a search. Cheap for any other value.
void NoteValueRead(const std::string& path, const std::string& value);

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_DEVICE_SECRETS_H_
