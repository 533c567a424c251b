// One peripheral firmware package as its release file (".release.json")
// describes it: the device it is for, its version and the firmware file name.
#ifndef DEVMGMT_PERIPHERALS_RELEASEFWINFO_H_
#define DEVMGMT_PERIPHERALS_RELEASEFWINFO_H_

#include "platform/IElementSerializable.h"
#include "platform/IStringElement.h"

class DM_EXPORT ReleaseFWInfo : public IElementSerializable {
 public:
  class DM_EXPORT DeviceName : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT FirmwareVersion : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT FirmwareName : public IStringElement {
   public:
    const char* GetName() const override;
  };

  ReleaseFWInfo();
  ~ReleaseFWInfo() override;
  const char* GetName() const override;

  DeviceName m_deviceName;
  FirmwareVersion m_firmwareVersion;
  FirmwareName m_firmwareName;
};

#endif  // DEVMGMT_PERIPHERALS_RELEASEFWINFO_H_
