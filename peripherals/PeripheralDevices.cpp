#include "peripherals/PeripheralDevices.h"

#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralUtils.h"
#include "platform/DmBoundary.h"
#include "platform/uJson.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"

namespace {

constexpr int kStatusSlots = 11;
constexpr int kFirmwareEntries = 10;
constexpr const char kFirmwareDirectory[] = "peripheral_devices";
constexpr const char kReleaseSuffix[] = ".release.json";

void SetText(IStringElement& leaf, const char* text) {
  if (text != nullptr) leaf.SetValue(text, -1);
}

// Rewrites (vid, pid, name) plus whatever `fill` adds to the input.
template <typename Fill>
bool Rewrite(int vid, int pid, const char* name, PeripheralInfo& out, Fill fill) {
  PeripheralInfo in;
  in.m_vid.SetValue(vid);
  in.m_pid.SetValue(pid);
  SetText(in.m_name, name);
  fill(in);
  PeripheralDeviceRewriter* rewriter = PeripheralDeviceRewriter::Instance();
  return rewriter != nullptr && rewriter->RewritePeripheralInfo(in, out);
}

bool Rewrite(int vid, int pid, const char* name, PeripheralInfo& out) {
  return Rewrite(vid, pid, name, out, [](PeripheralInfo&) {});
}

// The value of the first word of a rewritten hw_type; false when there is no word.
bool HwTypeValue(const PeripheralInfo& info, int& value) {
  std::string word;
  if (!peripherals::FirstWord(info.m_hwType.GetString(), word)) return false;
  value = peripherals::EnumValue(peripherals::kHwTypeEnumPath, word);
  return true;
}

std::string SlotName(int slot) {
  const char* name = g855(slot);
  return name ? name : "";
}

}  // namespace

std::string RewritePeripheralDeviceDisplayName(int vid, int pid, const char* name) try {
  PeripheralInfo out;
  Rewrite(vid, pid, name, out);
  // The rewritten name, not the display name: callers store it as the name.
  return out.m_name.GetString();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

std::string RewritePeripheralDeviceAdditionalInfo(int vid, int pid, const char* name, const char* additionalInfo) try {
  PeripheralInfo out;
  Rewrite(vid, pid, name, out, [additionalInfo](PeripheralInfo& in) { SetText(in.m_additionalInfo, additionalInfo); });
  return out.m_additionalInfo.GetString();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

std::string RewritePeripheralDeviceManufacturer(int vid, int pid, const char* name, const char* manufacturer) try {
  PeripheralInfo out;
  Rewrite(vid, pid, name, out, [manufacturer](PeripheralInfo& in) { SetText(in.m_manufacturer, manufacturer); });
  return out.m_manufacturer.GetString();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

vmTCfgTypeStatusPeripheralDeviceType RewritePeripheralDeviceType(int vid, int pid, const char* name,
                                                                 vmTCfgTypeStatusPeripheralDeviceType fallback) try {
  PeripheralInfo out;
  if (!Rewrite(vid, pid, name, out)) return fallback;
  const int value = peripherals::EnumValue(peripherals::kTypeEnumPath, out.m_type.GetString());
  return value >= 0 ? static_cast<vmTCfgTypeStatusPeripheralDeviceType>(value) : fallback;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, fallback)

vmTCfgTypeStatusPeripheralDeviceHwType RewritePeripheralDeviceHwType(
    int vid, int pid, const char* name, const char* type, vmTCfgTypeStatusPeripheralDeviceHwType fallback) try {
  PeripheralInfo out;
  if (!Rewrite(vid, pid, name, out, [type](PeripheralInfo& in) { SetText(in.m_type, type); })) return fallback;
  int value = -1;
  if (!HwTypeValue(out, value) || value < 0) return fallback;
  return static_cast<vmTCfgTypeStatusPeripheralDeviceHwType>(value);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, fallback)

int FindEmptyStatusPeripheralIndex() try {
  for (int slot = 0; slot < kStatusSlots; ++slot) {
    if (SlotName(slot).empty()) return slot;
  }
  return -1;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

int GetPeripheralDeviceIndexByName(const char* name) try {
  if (name == nullptr) return -1;
  for (int slot = 0; slot < kStatusSlots; ++slot) {
    const std::string slotName = SlotName(slot);
    if (!slotName.empty() && slotName == name) return slot;
  }
  return -1;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)

bool RewritePeripheralDevice(PeripheralDeviceData& data) try {
  PeripheralInfo out;
  if (!Rewrite(data.m_vid, data.m_pid, data.m_name.c_str(), out)) return false;
  data.m_name = out.m_name.GetString();
  data.m_additionalInfo = out.m_additionalInfo.GetString();
  data.m_manufacturer = out.m_manufacturer.GetString();
  const int type = peripherals::EnumValue(peripherals::kTypeEnumPath, out.m_type.GetString());
  if (type >= 0) data.m_type = static_cast<vmTCfgTypeStatusPeripheralDeviceType>(type);
  int hwType = -1;
  if (!HwTypeValue(out, hwType)) return false;
  if (hwType >= 0) data.m_hwType = static_cast<vmTCfgTypeStatusPeripheralDeviceHwType>(hwType);
  return true;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool GetDetailInfoFromReleaseJson(std::string& path, ReleaseFWInfo& info) try {
  const std::string content = peripherals::ReadFileText(path);
  if (!uJson::DeSerializer::DeSerialize(info, content)) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_ERR, "call DeSerialize failed.\n");
    return false;
  }
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE, "device_name=%s\n", info.m_deviceName.GetString().c_str());
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE, "firmware_version=%s\n", info.m_firmwareVersion.GetString().c_str());
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE, "firmware_name=%s\n", info.m_firmwareName.GetString().c_str());
  return true;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

namespace {

// The four readers of one release file share this; its failure line is the
// caller's own.
bool ReadReleaseFile(const DmLogSite& site, std::string& path, std::string* deviceName,
                     std::string* firmwareVersion, std::string* firmwareName) {
  ReleaseFWInfo info;
  if (!GetDetailInfoFromReleaseJson(path, info)) {
    DM_LOG_AT(site, VM_LOG_MODULE_ALERTS, LOG_ERR, "GetDetailInfoFromReleaseJson failed.\n");
    return false;
  }
  if (deviceName != nullptr) *deviceName = info.m_deviceName.GetString();
  if (firmwareVersion != nullptr) *firmwareVersion = info.m_firmwareVersion.GetString();
  if (firmwareName != nullptr) *firmwareName = info.m_firmwareName.GetString();
  return true;
}

}  // namespace

bool GetDataFromReleaseJsonFile(std::string& path, std::string& deviceName, std::string& firmwareVersion,
                                std::string& firmwareName) try {
  return ReadReleaseFile(DM_LOG_SITE, path, &deviceName, &firmwareVersion, &firmwareName);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool GetFirmwareVersionFromReleaseJsonFile(std::string& path, std::string& version) try {
  return ReadReleaseFile(DM_LOG_SITE, path, nullptr, &version, nullptr);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool GetFileFirmwareNameFromReleaseJsonFile(std::string& path, std::string& name) try {
  return ReadReleaseFile(DM_LOG_SITE, path, nullptr, nullptr, &name);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool GetDeviceNameFromReleaseJsonFile(std::string& path, std::string& deviceName) try {
  return ReadReleaseFile(DM_LOG_SITE, path, &deviceName, nullptr, nullptr);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

std::string GetUnzipFullFwFilePath(int index, const std::string& url, const std::string& directory) try {
  const std::string fileName = GetFileNameFromUrl(url);
  const std::string stem = "/tmp/" + directory + "/" + IntToString(index) + "_";
  std::string releasePath = SwitchFilenameSuffix(stem + fileName, kReleaseSuffix);
  std::string firmwareName;
  if (!GetFileFirmwareNameFromReleaseJsonFile(releasePath, firmwareName)) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_ERR, "GetFileFirmwareNameFromReleaseJsonFile failed!");
    return std::string();
  }
  return stem + GetFileNamePrefix(fileName) + "." + GetFileNameSuffix(firmwareName);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

std::string GetPeripheralDeviceUnzipFwFilePathByFwIndex(int entry) try {
  const char* url = g525(entry);
  return GetUnzipFullFwFilePath(entry, url ? url : "", kFirmwareDirectory);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

std::string GetPeripheralDeviceFwFilePathByDeviceIndex(int slot) try {
  const std::string name = SlotName(slot);
  if (!name.empty()) {
    for (int entry = 0; entry < kFirmwareEntries; ++entry) {
      const char* device = g524(entry);
      if (device != nullptr && name == device) return GetPeripheralDeviceUnzipFwFilePathByFwIndex(entry);
    }
  }
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_ERR, "No FW compatible device index %d found", slot);
  return std::string();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())
