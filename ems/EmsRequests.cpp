#include "ems/EmsRequests.h"

#include "ems/EMSMessageBuilder.h"

ParamsList::~ParamsList() = default;

KeyValueStringElement* AddKeyValueChild(IListSerializable<KeyValueStringElement>& list,
                                        IElementSerializable& parent, const std::string& key,
                                        const std::string& value) {
  KeyValueStringElement* element = list.Append();
  element->SetName(key.c_str());
  element->SetValue(value);
  parent.AddChildToElementInConstructor(element);
  return element;
}

ReportedParamsList::ReportedParamsList(const char* name) : m_name(name ? name : "") {}
ReportedParamsList::~ReportedParamsList() = default;

void ReportedParamsList::AddElement(const std::string& key, const std::string& value) {
  AddKeyValueChild(m_params, *this, key, value);
}

EmsRequestBase::EmsRequestBase() {
  for (ISerializable* child : std::initializer_list<ISerializable*>{
           &m_sessionId, &m_emsUserName, &m_emsUserPassword, &m_ip, &m_subnet, &m_mac}) {
    AddChildToElementInConstructor(child);
  }
}
EmsRequestBase::~EmsRequestBase() = default;

EmsIppStatusRequest::EmsIppStatusRequest() : m_additionalParams("additionalParams") {
  for (ISerializable* child : std::initializer_list<ISerializable*>{
           &m_vlanId, &m_model, &m_fwVersion, &m_BootLoaderversion, &m_MSTeamsversion,
           &m_ApplicationServer, &m_userAgent, &m_location, &m_userName, &m_userId,
           &m_phoneNumber, &m_status, &m_sipProxy, &m_sync_id, &m_unreceived_request,
           &m_BToEpairingstatus, &m_BToEversion, &m_USBHeadsetType, &m_ModelInformation,
           &m_additionalParams}) {
    AddChildToElementInConstructor(child);
  }
}
EmsIppStatusRequest::~EmsIppStatusRequest() = default;

EmsCfgReportRequest::EmsCfgReportRequest(const char* listName) : m_params(listName) {
  AddChildToElementInConstructor(&m_params);
}
EmsCfgReportRequest::~EmsCfgReportRequest() = default;

UserDataKeysConf::FunctionKeysList::~FunctionKeysList() = default;

UserDataKeysConf::UserDataKeysConf() {
  SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>::Instance()->FillUserDataKeysConf(this);
}
UserDataKeysConf::~UserDataKeysConf() = default;

EmsHttpCmdRequest::EmsHttpCmdRequest() = default;
EmsHttpCmdRequest::~EmsHttpCmdRequest() = default;

void EmsHttpCmdRequest::AddElement(const std::string& key, const std::string& value) {
  AddKeyValueChild(m_params, *this, key, value);
}

// Out of line so that every process shares one exported definition.
const char* ParamsList::GetName() const { return "ParamsList"; }
int ParamsList::getElementType() const { return kElementOwnedList; }
const char* ReportedParamsList::GetName() const { return m_name; }
const char* EmsRequestBase::GetName() const { return "EmsRequestBase"; }
const char* EmsIppStatusRequest::GetName() const { return "EmsIppStatusRequest"; }
const char* EmsCfgReportRequest::GetName() const { return "EmsCfgReportRequest"; }
const char* EmsCfgReportRequest::getPath() const { return ""; }
const char* UserDataKeysConf::FunctionKeysList::GetName() const { return "FunctionKeysList"; }
const char* UserDataKeysConf::GetName() const { return "UserDataKeysConf"; }
const char* UserDataKeysConf::getPath() const { return ""; }
const char* EmsHttpCmdRequest::GetName() const { return "EmsHttpCmdRequest"; }
