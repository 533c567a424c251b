// The bodies of the requests the device sends to the EMS: the status report,
// the configuration report, the user-data-keys report and the HTTP command.
//
// Each is a record of string leaves whose nested class names are the JSON
// keys, registered in document order; the spelling of every key is part of
// the wire format. Free key/value pairs (KeyValueStringElement) are owned by
// a list and registered as children of the record that shows them.
#ifndef DEVMGMT_EMS_EMSREQUESTS_H_
#define DEVMGMT_EMS_EMSREQUESTS_H_

#include <string>

#include "platform/IElementSerializable.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"

// A string leaf class whose name is its JSON key.
#define DM_EMS_STRING_KEY(key)                                   \
  class DM_EXPORT key : public IStringElement {                  \
   public:                                                       \
    const char* GetName() const override { return #key; }        \
  }

// The owning list behind free key/value pairs; element type 1003.
class DM_EXPORT ParamsList : public IListSerializable<KeyValueStringElement> {
 public:
  ~ParamsList() override;
  const char* GetName() const override;
  int getElementType() const override;
};

// Appends a pair to `list` (which owns it) and registers it as a child of
// `parent`, so it shows as `"key": "value"` in the parent's object.
KeyValueStringElement* AddKeyValueChild(IListSerializable<KeyValueStringElement>& list,
                                        IElementSerializable& parent, const std::string& key,
                                        const std::string& value);

// A named object of free key/value pairs. The name is kept by pointer: pass a
// literal or text that outlives the element.
class DM_EXPORT ReportedParamsList : public IElementSerializable {
 public:
  explicit ReportedParamsList(const char* name);
  ~ReportedParamsList() override;
  const char* GetName() const override;

  // Adds the pair at the end; a repeated key gives a second member.
  void AddElement(const std::string& key, const std::string& value);
  const ParamsList& GetParams() const { return m_params; }

 private:
  const char* m_name;
  ParamsList m_params;
};

// What every request carries: session, credentials and network identity.
class DM_EXPORT EmsRequestBase : public IElementSerializable {
 public:
  DM_EMS_STRING_KEY(sessionId);
  DM_EMS_STRING_KEY(emsUserName);
  DM_EMS_STRING_KEY(emsUserPassword);
  DM_EMS_STRING_KEY(ip);
  DM_EMS_STRING_KEY(subnet);
  DM_EMS_STRING_KEY(mac);

  EmsRequestBase();
  ~EmsRequestBase() override;
  const char* GetName() const override;

  sessionId m_sessionId;
  emsUserName m_emsUserName;
  emsUserPassword m_emsUserPassword;
  ip m_ip;
  subnet m_subnet;
  mac m_mac;
};

// The periodic status report.
class DM_EXPORT EmsIppStatusRequest : public EmsRequestBase {
 public:
  DM_EMS_STRING_KEY(vlanId);
  DM_EMS_STRING_KEY(model);
  DM_EMS_STRING_KEY(fwVersion);
  DM_EMS_STRING_KEY(BootLoaderversion);
  DM_EMS_STRING_KEY(MSTeamsversion);
  DM_EMS_STRING_KEY(ApplicationServer);
  DM_EMS_STRING_KEY(userAgent);
  DM_EMS_STRING_KEY(location);
  DM_EMS_STRING_KEY(userName);
  DM_EMS_STRING_KEY(userId);
  DM_EMS_STRING_KEY(phoneNumber);
  DM_EMS_STRING_KEY(status);
  DM_EMS_STRING_KEY(sipProxy);
  DM_EMS_STRING_KEY(sync_id);
  DM_EMS_STRING_KEY(unreceived_request);
  DM_EMS_STRING_KEY(BToEpairingstatus);
  DM_EMS_STRING_KEY(BToEversion);
  DM_EMS_STRING_KEY(USBHeadsetType);
  DM_EMS_STRING_KEY(ModelInformation);

  EmsIppStatusRequest();
  ~EmsIppStatusRequest() override;
  const char* GetName() const override;

  vlanId m_vlanId;
  model m_model;
  fwVersion m_fwVersion;
  BootLoaderversion m_BootLoaderversion;
  MSTeamsversion m_MSTeamsversion;
  ApplicationServer m_ApplicationServer;
  userAgent m_userAgent;
  location m_location;
  userName m_userName;
  userId m_userId;
  phoneNumber m_phoneNumber;
  status m_status;
  sipProxy m_sipProxy;
  sync_id m_sync_id;
  unreceived_request m_unreceived_request;
  BToEpairingstatus m_BToEpairingstatus;
  BToEversion m_BToEversion;
  USBHeadsetType m_USBHeadsetType;
  ModelInformation m_ModelInformation;
  ReportedParamsList m_additionalParams;
};

// The configuration report: the base fields and one named list of pairs.
class DM_EXPORT EmsCfgReportRequest : public EmsRequestBase {
 public:
  // `listName` is kept by pointer (see ReportedParamsList).
  explicit EmsCfgReportRequest(const char* listName);
  ~EmsCfgReportRequest() override;
  const char* GetName() const override;
  const char* getPath() const;

  ReportedParamsList m_params;
};

// The status report plus the user's function-key settings, each a top-level
// "UD_<path>" member after additionalParams. The constructor asks the EMS
// message builder (which must be initialised) to fill it.
class DM_EXPORT UserDataKeysConf : public EmsIppStatusRequest {
 public:
  class DM_EXPORT FunctionKeysList : public IListSerializable<KeyValueStringElement> {
   public:
    ~FunctionKeysList() override;
    const char* GetName() const override;
  };

  UserDataKeysConf();
  ~UserDataKeysConf() override;
  const char* GetName() const override;
  const char* getPath() const;

  FunctionKeysList m_functionKeys;
};

// An HTTP command request: the base fields, then free pairs at the top level.
class DM_EXPORT EmsHttpCmdRequest : public EmsRequestBase {
 public:
  EmsHttpCmdRequest();
  ~EmsHttpCmdRequest() override;
  const char* GetName() const override;

  void AddElement(const std::string& key, const std::string& value);

 private:
  ParamsList m_params;
};

#endif  // DEVMGMT_EMS_EMSREQUESTS_H_
