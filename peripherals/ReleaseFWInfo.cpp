#include "peripherals/ReleaseFWInfo.h"

ReleaseFWInfo::ReleaseFWInfo() {
  AddChildToElementInConstructor(&m_deviceName);
  AddChildToElementInConstructor(&m_firmwareVersion);
  AddChildToElementInConstructor(&m_firmwareName);
}

ReleaseFWInfo::~ReleaseFWInfo() = default;

// Out of line so that every process shares one exported definition.
const char* ReleaseFWInfo::DeviceName::GetName() const { return "device_name"; }
const char* ReleaseFWInfo::FirmwareVersion::GetName() const { return "firmware_version"; }
const char* ReleaseFWInfo::FirmwareName::GetName() const { return "firmware_name"; }
const char* ReleaseFWInfo::GetName() const { return "ReleaseFWInfo"; }
