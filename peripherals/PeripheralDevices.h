// The peripheral status slots (0-10) and the files of downloaded peripheral
// firmware packages.
//
// The rewrite functions pass what a process is about to store in a status
// slot through the peripheral filters. The firmware functions find the
// unpacked firmware file of a package from its release file
// "/tmp/<directory>/<entry>_<stem>.release.json".
#ifndef DEVMGMT_PERIPHERALS_PERIPHERALDEVICES_H_
#define DEVMGMT_PERIPHERALS_PERIPHERALDEVICES_H_

#include <cstdint>
#include <string>

#include "peripherals/ReleaseFWInfo.h"
#include "platform/vmCfg.h"

// What a process stores in one peripheral status slot.
struct DM_EXPORT PeripheralDeviceData {
  std::string m_name;
  int32_t m_vid = -1;
  int32_t m_pid = -1;
  vmTCfgTypeStatusPeripheralDeviceType m_type = VM_PERIPHERAL_TYPE_NONE;
  vmTCfgTypeStatusPeripheralDeviceHwType m_hwType = VM_PERIPHERAL_HW_NONE;
  std::string m_additionalInfo;
  std::string m_manufacturer;
  std::string m_extra;  // not touched by the rewrite
};

// Each returns one field of the rewritten peripheral (an unset field gives
// ""); with no matching filter the field of the input.
DM_EXPORT std::string RewritePeripheralDeviceDisplayName(int vid, int pid, const char* name);  // the name
DM_EXPORT std::string RewritePeripheralDeviceAdditionalInfo(int vid, int pid, const char* name,
                                                            const char* additionalInfo);
DM_EXPORT std::string RewritePeripheralDeviceManufacturer(int vid, int pid, const char* name,
                                                          const char* manufacturer);
// The enumeration value of the rewritten type (or of the first word of the
// rewritten hw_type); `fallback` when no filter matched or the text is not a
// name of the enumeration.
DM_EXPORT vmTCfgTypeStatusPeripheralDeviceType RewritePeripheralDeviceType(
    int vid, int pid, const char* name, vmTCfgTypeStatusPeripheralDeviceType fallback);
DM_EXPORT vmTCfgTypeStatusPeripheralDeviceHwType RewritePeripheralDeviceHwType(
    int vid, int pid, const char* name, const char* type, vmTCfgTypeStatusPeripheralDeviceHwType fallback);

// The first free status slot, -1 when all eleven are named.
DM_EXPORT int FindEmptyStatusPeripheralIndex();
// The first slot named exactly `name` (never an empty name); -1 when none.
DM_EXPORT int GetPeripheralDeviceIndexByName(const char* name);

// Rewrites name, additional info, manufacturer, type and hardware type of
// `data`. False, `data` untouched, when no filter matched; false too when
// the rewritten hw_type holds no word.
DM_EXPORT bool RewritePeripheralDevice(PeripheralDeviceData& data);

// Release files. False on a missing, empty or malformed file, the outputs
// then untouched.
DM_EXPORT bool GetDetailInfoFromReleaseJson(std::string& path, ReleaseFWInfo& info);
DM_EXPORT bool GetFirmwareVersionFromReleaseJsonFile(std::string& path, std::string& version);
DM_EXPORT bool GetFileFirmwareNameFromReleaseJsonFile(std::string& path, std::string& name);
DM_EXPORT bool GetDeviceNameFromReleaseJsonFile(std::string& path, std::string& deviceName);
DM_EXPORT bool GetDataFromReleaseJsonFile(std::string& path, std::string& deviceName,
                                          std::string& firmwareVersion, std::string& firmwareName);

// "/tmp/<directory>/<index>_<stem of the URL's file><.suffix of the release
// file's firmware_name>"; "" when the release file cannot be read.
DM_EXPORT std::string GetUnzipFullFwFilePath(int index, const std::string& url, const std::string& directory);
// The unpacked file of firmware entry 0-9 under /tmp/peripheral_devices.
DM_EXPORT std::string GetPeripheralDeviceUnzipFwFilePathByFwIndex(int entry);
// The unpacked file of the first firmware entry for the device of status slot `slot`.
DM_EXPORT std::string GetPeripheralDeviceFwFilePathByDeviceIndex(int slot);

#endif  // DEVMGMT_PERIPHERALS_PERIPHERALDEVICES_H_
