// The device profile that seeds a new configuration database, so that tools
// and tests meet a believable device from the first run.
#include "platform/host/config/ConfigStore.h"
#include "platform/host/device/Secrets.h"
#include "platform/vmLog.h"

namespace dmcfg {

std::vector<std::pair<std::string, std::string>> DefaultProfile(const std::string& database_path) {
  std::vector<std::pair<std::string, std::string>> profile = {
      {"device/name", "lobby-desk-phone"},
      {"device/model", "DP-400"},
      {"device/firmware_version", "3.2.1.1140"},
      {"device/hw_type", "DP400"},
      {"device/is_conference_phone", "0"},
      {"system/type", "DP400"},
      {"sip/user_agent", "DP-400/3.2.1.1140"},
      {"sip/user_name", "Alex Morgan"},
      {"sip/user_id", "alex.morgan@example.com"},
      {"sip/phone_number", "+15550100"},
      {"sip/proxy", "sip.example.com"},
      {"sip/application_server", "0"},
      {"status/sip/registered", "1"},
      {"ems/server/upload_base_url", "https://ems.example.com/upload/{mac}/"},
      {"ems/server/user_name", "device-manager"},
      {"ems/report/periodic_status_paths", "/device/model, status/sip/registered, status/peripheral/device/*/name"},
      {"ems/sync_id", "0"},
      {"btoe/enabled", "1"},
      {"btoe/pairing_mode", "1"},
      {"setup_wizard/state", "done"},
      {"status/settings/screen", "home"},
      {"location/street", "Main Street"},
      {"location/house_number", "12"},
      {"location/city", "Springfield"},
      {"location/country", "US"},
      {"personal_settings/functional_key/1/type", "speed_dial"},
      {"personal_settings/functional_key/1/value", "+15550199"},
      {"personal_settings/functional_key/2/type", "line"},
      {"personal_settings/functional_key/2/value", "1"},
      {"status/peripheral/device/0/name", "USB Headset"},
      {"status/peripheral/device/0/type", "HEADSET"},
      {"status/peripheral/device/0/hw_type", "USB"},
  };
  // The EMS password is a stored secret like any other: encrypted under this
  // database's device key.
  std::string password;
  if (EncryptSecret(database_path, "ems/server/password", "change-me-on-first-use", &password)) {
    profile.emplace_back("ems/server/password", password);
  } else {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "Profile seeded without the EMS password");
  }
  return profile;
}

}  // namespace dmcfg
