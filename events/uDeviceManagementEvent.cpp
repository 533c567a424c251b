#include "events/uDeviceManagementEvent.h"

#include "events/uDeviceManagementEventHandler.h"

IppStatusData::IppStatusData() { AddChildToElementInConstructor(&m_status); }
IppStatusData::~IppStatusData() = default;

ProvisioningData::ProvisioningData() {
  AddChildToElementInConstructor(&m_provType);
  AddChildToElementInConstructor(&m_provMethod);
  AddChildToElementInConstructor(&m_userConfirmationRequired);
  AddChildToElementInConstructor(&m_cfgUrl);
  AddChildToElementInConstructor(&m_fwUrl);
  AddChildToElementInConstructor(&m_forceUpdate);
}
ProvisioningData::~ProvisioningData() = default;

LocalConfigurationData::LocalConfigurationData() { AddChildToElementInConstructor(&m_configPath); }
LocalConfigurationData::~LocalConfigurationData() = default;

EmsFsFileChangeData::EmsFsFileChangeData(int index, bool deleteFileAfterUpload)
    : m_index(index), m_deleteFileAfterUpload(deleteFileAfterUpload) {
  AddChildToElementInConstructor(&m_monitoredPath);
  AddChildToElementInConstructor(&m_tmpLocation);
  AddChildToElementInConstructor(&m_remoteDirectoryUrl);
  AddChildToElementInConstructor(&m_index);
  AddChildToElementInConstructor(&m_deleteFileAfterUpload);
}
EmsFsFileChangeData::~EmsFsFileChangeData() = default;

AlertInfo::AlertInfo() = default;
AlertInfo::AlertInfo(const SystemAlert& alert)
    : SystemAlert(alert), m_slot(-1), m_reporter(alert.m_sourceComponent) {}
AlertInfo::AlertInfo(const AlertInfo& other) = default;
AlertInfo& AlertInfo::operator=(const AlertInfo& other) = default;
AlertInfo::~AlertInfo() = default;

uDeviceManagementEvent::uDeviceManagementEvent() = default;
uDeviceManagementEvent::~uDeviceManagementEvent() = default;
const char* uDeviceManagementEvent::GetStr() const { return "uDeviceManagementEvent"; }
int uDeviceManagementEvent::getEventFamilyType() const { return VM_EVENT_FAMILY_DEVICE_MANAGEMENT; }

uEventHandlerPtr uDeviceManagementEvent::GetSender() const { return uEventHandlerPtr(m_sender.lock()); }

uEventHandlerPtr uDeviceManagementEvent::GetReceiver() const { return uEventHandlerPtr(m_receiver.lock()); }

bool uDeviceManagementEvent::BaseDispatch() {
  boost::shared_ptr<uDeviceManagementEventHandler> receiver = m_receiver.lock();
  if (!receiver) return false;
  receiver->HandleBaseEv(*this);
  return true;
}

void uDeviceManagementEvent::SetSender(
    const boost::shared_ptr<uDeviceManagementEventHandler>& sender) {
  m_sender = sender;
}

void uDeviceManagementEvent::SetReceiver(
    const boost::shared_ptr<uDeviceManagementEventHandler>& receiver) {
  m_receiver = receiver;
}

#define DM_EVENT_COMMON(name, type)                                                     \
  name::~name() = default;                                                              \
  const char* name::GetStr() const { return #name; }                                   \
  int name::getEventType() const { return type; }                                      \
  void name::Dispatch(uDeviceManagementEventHandler& handler) { handler.HandleEvent(*this); }

#define DM_EVENT_DIRECTION_0(name) \
  int name::EventDirection() const { return 0; }

#define DM_EVENT_DATA(name) \
  ISerializable* name::getEventData() { return &m_data; }

GetLocalCertEv::GetLocalCertEv() = default;
DM_EVENT_COMMON(GetLocalCertEv, 0)

SendIppStatusEv::SendIppStatusEv() = default;
DM_EVENT_COMMON(SendIppStatusEv, 1)
DM_EVENT_DIRECTION_0(SendIppStatusEv)
DM_EVENT_DATA(SendIppStatusEv)

SendAlertEv::SendAlertEv() = default;
DM_EVENT_COMMON(SendAlertEv, 2)
DM_EVENT_DIRECTION_0(SendAlertEv)

SendSyncConfigEv::SendSyncConfigEv() = default;
DM_EVENT_COMMON(SendSyncConfigEv, 3)
DM_EVENT_DIRECTION_0(SendSyncConfigEv)

ProvisioningEv::ProvisioningEv() = default;
DM_EVENT_COMMON(ProvisioningEv, 30)
DM_EVENT_DIRECTION_0(ProvisioningEv)
DM_EVENT_DATA(ProvisioningEv)

ProvSecurityEv::ProvSecurityEv() = default;
DM_EVENT_COMMON(ProvSecurityEv, 31)
DM_EVENT_DIRECTION_0(ProvSecurityEv)

ProvDeviceCertEv::ProvDeviceCertEv() = default;
DM_EVENT_COMMON(ProvDeviceCertEv, 32)
DM_EVENT_DIRECTION_0(ProvDeviceCertEv)

PrivateLabelingEv::PrivateLabelingEv() = default;
DM_EVENT_COMMON(PrivateLabelingEv, 33)
DM_EVENT_DIRECTION_0(PrivateLabelingEv)

UserConfirmationEv::UserConfirmationEv() = default;
DM_EVENT_COMMON(UserConfirmationEv, 34)
DM_EVENT_DIRECTION_0(UserConfirmationEv)

AndriodFWUpdateEv::AndriodFWUpdateEv() = default;
DM_EVENT_COMMON(AndriodFWUpdateEv, 35)
DM_EVENT_DIRECTION_0(AndriodFWUpdateEv)

LocalConfigurationEv::LocalConfigurationEv() = default;
DM_EVENT_COMMON(LocalConfigurationEv, 36)
DM_EVENT_DIRECTION_0(LocalConfigurationEv)
DM_EVENT_DATA(LocalConfigurationEv)

EmsFsFileChangeEv::EmsFsFileChangeEv() : m_data(0, false) {}
DM_EVENT_COMMON(EmsFsFileChangeEv, 37)
DM_EVENT_DIRECTION_0(EmsFsFileChangeEv)
DM_EVENT_DATA(EmsFsFileChangeEv)

// Out of line so that every process shares one exported definition.
const char* IppStatusData::GetName() const { return "IppStatusData"; }
const char* ProvisioningData::ProvType::GetName() const { return "provType"; }
const char* ProvisioningData::ProvMethod::GetName() const { return "provMethod"; }
const char* ProvisioningData::UserConfirmationRequired::GetName() const { return "userConfirmationRequired"; }
const char* ProvisioningData::CfgUrl::GetName() const { return "cfgUrl"; }
const char* ProvisioningData::FwUrl::GetName() const { return "fwUrl"; }
const char* ProvisioningData::ForceUpdate::GetName() const { return "forceUpdate"; }
const char* ProvisioningData::GetName() const { return "ProvisioningData"; }
const char* LocalConfigurationData::configPath::GetName() const { return "configPath"; }
const char* LocalConfigurationData::GetName() const { return "LocalConfigurationData"; }
const char* EmsFsFileChangeData::monitoredPath::GetName() const { return "monitoredPath"; }
const char* EmsFsFileChangeData::tmpLocation::GetName() const { return "tmpLocation"; }
const char* EmsFsFileChangeData::remoteDirectoryUrl::GetName() const { return "remoteDirectoryUrl"; }
const char* EmsFsFileChangeData::index::GetName() const { return "index"; }
const char* EmsFsFileChangeData::deleteFileAfterUpload::GetName() const { return "deleteFileAfterUpload"; }
const char* EmsFsFileChangeData::GetName() const { return "EmsFsFileChangeData"; }
