#include "state/uSystemState.h"

#include <algorithm>
#include <cstring>

#include "platform/DmBoundary.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"
#include "platform/vmLog.h"

#define STATE_LOG(level, ...) DM_LOG(VM_LOG_MODULE_ALERTS, level, __VA_ARGS__)

namespace {

// A stored record is read through a buffer of this size, so a record longer
// than 255 characters can be written but not read back.
constexpr unsigned kReadBufferSize = 256;
constexpr size_t kJsonBufferSize = 2048;

const char* const kSystemStatePaths[SYSTEM_STATE_PATH_COUNT] = {
    "status/system/state/pairing/BLE_discovery",
    "status/system/state/pairing/BLE_discovery_filter",
    "status/system/state/pairing/BLE_advertise",
    "status/system/state/pairing/network_discovery",
    "status/system/state/configuration_update",
    "status/system/state/firmware_update",
    "status/system/state/apps_update",
    "status/system/state/peripheral_devices_firmware_update",
    "status/system/state/IEEE_802_1x",
    "status/system/state/LLDP_CDP",
    "status/system/state/redirect",
    "status/system/state/network",
    "status/system/state/switch_to_voice_vlan",
    "status/system/state/connect_to_device_manager",
    "status/system/state/DNS",
    "status/system/state/NTP",
    "status/system/state/DHCP_option",
    "status/system/state/get_certificate_by_SCEP",
    "status/system/state/get_certificate_by_HTTP",
    "status/system/state/proxy_configuration",
    "status/system/state/last",
};

void SetIfGiven(IStringElement& leaf, const char* text) {
  if (text != nullptr) leaf.SetValue(std::string(text));
}

// The copy contract shared by the three buffer getters: at most `size`
// characters, then a NUL at min(size, length), so the buffer holds size + 1.
void CopyMember(const IStringElement& member, char* buffer, size_t size) {
  const std::string& value = member.GetString();
  const size_t count = std::min(size, value.size());
  std::memcpy(buffer, value.data(), count);
  buffer[count] = '\0';
}

}  // namespace

SystemState::SystemState() {
  AddChildToElementInConstructor(&m_status);
  AddChildToElementInConstructor(&m_result);
  AddChildToElementInConstructor(&m_wasSuccessful);
  AddChildToElementInConstructor(&m_info);
}

SystemState::~SystemState() = default;

void SystemState::Update(const char* status, const char* result, const char* info) {
  SetIfGiven(m_status, status);
  SetIfGiven(m_result, result);
  SetIfGiven(m_info, info);
}

void BuildSystemStateStruct(SystemState& record, const char* status, const char* result, const char* info) try {
  record.Update(status, result, info);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, )

std::string SerializeSystemState(SystemState& record) try {
  char json[kJsonBufferSize];
  if (uJson::Serializer::Serialize(record, json, sizeof json) != 0) {
    STATE_LOG(LOG_ERR, "jsonSerializer.Serialize failed!");
    return std::string();
  }
  return std::string(json);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

int DeSerializeSystemState(const char* json, SystemState& record) try {
  const size_t length = json != nullptr ? std::strlen(json) : 0;
  if (json == nullptr || uJson::DeSerializer::DeSerialize(record, json, length) == 0) {
    STATE_LOG(LOG_ERR, "jsonDeSerializer.DeSerialize failed!");
    return -1;
  }
  return 0;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

int GetStatusSystemStateFromBuf(const char* json, SystemState& record) try {
  if (json == nullptr) {
    STATE_LOG(LOG_ERR, "Json Buf is NULL!");
    return -1;
  }
  return DeSerializeSystemState(json, record);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

const char* GetStatusSystemStatePath(int index) try {
  // Compared unsigned, so negative indices are out of range too.
  if (static_cast<unsigned>(index) >= SYSTEM_STATE_PATH_COUNT) {
    STATE_LOG(LOG_ERR, "tried to get invalid path %d!", index);
    return nullptr;
  }
  return kSystemStatePaths[index];
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, nullptr)

std::vector<std::string> GetSystemStateOrderedList() try {
  std::vector<std::string> paths;
  const char* order = g1015();
  if (order == nullptr) return paths;
  // Split at single blanks; runs of blanks give empty pieces, which are
  // dropped. (boost::split would do the same but exports boost's exception
  // types from the library.)
  const std::string text(order);
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    if (end > start) paths.push_back("/status/system/state/" + text.substr(start, end - start));
    start = end + 1;
  }
  return paths;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::vector<std::string>())

int GetStatusSystemState(const char* path, SystemState& record) try {
  char json[kReadBufferSize] = {0};
  // The buffer is deserialised whatever the read's result: an absent value
  // leaves it empty, and empty text is not a record.
  vmCfgGetParam(path, json, sizeof json);
  return DeSerializeSystemState(json, record);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

std::string GetStatusSystemStateStatus(const char* path) try {
  SystemState record;
  return GetStatusSystemState(path, record) == 0 ? record.m_status.GetString() : std::string();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

std::string GetStatusSystemStateResult(const char* path) try {
  SystemState record;
  return GetStatusSystemState(path, record) == 0 ? record.m_result.GetString() : std::string();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

std::string GetStatusSystemStateInfo(const char* path) try {
  SystemState record;
  return GetStatusSystemState(path, record) == 0 ? record.m_info.GetString() : std::string();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

bool GetStatusSystemStateWasSuccessful(const char* path) try {
  SystemState record;
  return GetStatusSystemState(path, record) == 0 && record.m_wasSuccessful.GetValue();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

namespace {

// The three buffer getters: the same checks and copy, each with its own
// message for null parameters, logged as the getter's.
template <typename Member>
int CopyStateMember(const DmLogSite& site, const char* path, char* buffer, size_t size, Member SystemState::*member,
                    const char* nullMessage) {
  if (path == nullptr || buffer == nullptr || size == 0) {
    DM_LOG_AT(site, VM_LOG_MODULE_ALERTS, LOG_ERR, "%s", nullMessage);
    return -1;
  }
  SystemState record;
  if (GetStatusSystemState(path, record) != 0) {
    DM_LOG_AT(site, VM_LOG_MODULE_ALERTS, LOG_ERR, "Failed to get %s value", path);
    return -1;
  }
  CopyMember(record.*member, buffer, size);
  return 0;
}

}  // namespace

int GetStatusSystemStateStatus(const char* path, char* buffer, size_t size) try {
  return CopyStateMember(DM_LOG_SITE, path, buffer, size, &SystemState::m_status,
                         "param path or status value are null!");
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

int GetStatusSystemStateResult(const char* path, char* buffer, size_t size) try {
  return CopyStateMember(DM_LOG_SITE, path, buffer, size, &SystemState::m_result, "param path or result are null!");
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

int GetStatusSystemStateInfo(const char* path, char* buffer, size_t size) try {
  return CopyStateMember(DM_LOG_SITE, path, buffer, size, &SystemState::m_info, "param path or info are null!");
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

void SetWasSuccessfulValue(const char* path, SystemState& record) try {
  // A record that can't be read counts as a default one: the flag of a
  // half-parsed record is not carried forward.
  SystemState stored;
  const bool storedFlag = GetStatusSystemState(path, stored) == 0 && stored.m_wasSuccessful.GetValue();
  if (storedFlag || record.m_result.GetString() == "success") {
    record.m_wasSuccessful.SetValue(true);
    STATE_LOG(LOG_DEBUG, "set %s wasSuccessful = true", path ? path : "(null)");
  }
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, )

int SetStatusSystemState(const char* path, SystemState& record) try {
  SetWasSuccessfulValue(path, record);
  const std::string json = SerializeSystemState(record);
  if (json.empty()) {
    STATE_LOG(LOG_ERR, "Failed to set %s!", path ? path : "(null)");
    return -1;
  }
  return vmCfgSetParam(path, json.c_str());
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

int SetStatusSystemStateValue(const char* path, const char* status, const char* result, const char* info) try {
  SystemState record;
  BuildSystemStateStruct(record, status, result, info);
  return SetStatusSystemState(path, record);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

extern "C" int SetStatusSystemState(const char* path, const char* status, const char* result, const char* info) try {
  return SetStatusSystemStateValue(path, status, result, info);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

int SetStatusSystemStateStatus(const char* path, const char* status) try {
  if (path == nullptr || status == nullptr) {
    STATE_LOG(LOG_ERR, "param path or status value are null!");
    return -1;
  }
  return SetStatusSystemStateValue(path, status, nullptr, nullptr);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

// Out of line so that every process shares one exported definition.
const char* SystemState::status::GetName() const { return "status"; }
const char* SystemState::result::GetName() const { return "result"; }
const char* SystemState::wasSuccessful::GetName() const { return "wasSuccessful"; }
const char* SystemState::info::GetName() const { return "info"; }
const char* SystemState::GetName() const { return "SystemState"; }
