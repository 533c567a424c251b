#include "peripherals/ReleaseFWInfo.h"

ReleaseFWInfo::ReleaseFWInfo() {
  AddChildToElementInConstructor(&m_deviceName);
  AddChildToElementInConstructor(&m_firmwareVersion);
  AddChildToElementInConstructor(&m_firmwareName);
}

ReleaseFWInfo::~ReleaseFWInfo() = default;
