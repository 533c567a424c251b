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

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_DEVICE_SECRETS_H_
