// The payload records of the device-management events and AlertInfo.
//
// Each record registers its leaves in declaration order, which is the order
// of the fields on the wire and of the keys in JSON; each leaf is a nested
// class that only names its key. String leaves start unset.
#ifndef DEVMGMT_EVENTS_DEVICEMANAGEMENTDATA_H_
#define DEVMGMT_EVENTS_DEVICEMANAGEMENTDATA_H_

#include <cstdint>
#include <string>

#include "alerts/SystemAlert.h"
#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IStringElement.h"

class DM_EXPORT IppStatusData : public IElementSerializable {
 public:
  IppStatusData();
  ~IppStatusData() override;
  const char* GetName() const override;

  IInteger m_status;
};

class DM_EXPORT ProvisioningData : public IElementSerializable {
 public:
  class DM_EXPORT ProvType : public IIntegerElement {
   public:
    ProvType() : IIntegerElement(1) {}
    const char* GetName() const override;
  };
  class DM_EXPORT ProvMethod : public IIntegerElement {
   public:
    ProvMethod() : IIntegerElement(-1) {}
    const char* GetName() const override;
  };
  class DM_EXPORT UserConfirmationRequired : public IBoolElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT CfgUrl : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT FwUrl : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT ForceUpdate : public IBoolElement {
   public:
    const char* GetName() const override;
  };

  ProvisioningData();
  ~ProvisioningData() override;
  const char* GetName() const override;

  ProvType m_provType;
  ProvMethod m_provMethod;
  UserConfirmationRequired m_userConfirmationRequired;
  CfgUrl m_cfgUrl;
  FwUrl m_fwUrl;
  ForceUpdate m_forceUpdate;
};

class DM_EXPORT LocalConfigurationData : public IElementSerializable {
 public:
  class DM_EXPORT configPath : public IStringElement {
   public:
    const char* GetName() const override;
  };

  LocalConfigurationData();
  ~LocalConfigurationData() override;
  const char* GetName() const override;

  configPath m_configPath;
};

class DM_EXPORT EmsFsFileChangeData : public IElementSerializable {
 public:
  class DM_EXPORT monitoredPath : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT tmpLocation : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT remoteDirectoryUrl : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT index : public IIntegerElement {
   public:
    explicit index(int32_t value) : IIntegerElement(value) {}
    const char* GetName() const override;
  };
  class DM_EXPORT deleteFileAfterUpload : public IBoolElement {
   public:
    explicit deleteFileAfterUpload(bool value) : IBoolElement(value) {}
    const char* GetName() const override;
  };

  EmsFsFileChangeData(int index, bool deleteFileAfterUpload);
  ~EmsFsFileChangeData() override;
  const char* GetName() const override;

  monitoredPath m_monitoredPath;
  tmpLocation m_tmpLocation;
  remoteDirectoryUrl m_remoteDirectoryUrl;
  index m_index;
  deleteFileAfterUpload m_deleteFileAfterUpload;
};

// An alarm or event as SendAlertEv carries it inside one process.
class DM_EXPORT AlertInfo : public SystemAlert {
 public:
  AlertInfo();
  AlertInfo(const SystemAlert& alert);  // NOLINT: converting on purpose
  AlertInfo(const AlertInfo& other);
  AlertInfo& operator=(const AlertInfo& other);
  ~AlertInfo();

  // The table slot the alert came from; -1 when it is not from a table.
  int32_t m_slot = -1;
  // The component that reported the alert (the alert's source by default).
  std::string m_reporter;
};

#endif  // DEVMGMT_EVENTS_DEVICEMANAGEMENTDATA_H_
