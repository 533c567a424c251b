#include "ems/EMSMessageBuilderSfb.h"

#include <cstdio>
#include <cstring>

#include "platform/DmBoundary.h"
#include "platform/DmBoundary.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmLog.h"

namespace {

std::string Text(const char* value) { return value ? value : ""; }

// The upgrade query's answers while an upgrade is under way.
constexpr int kUpgradeDownloading = -1;
constexpr int kUpgradeInstalling = -2;

}  // namespace

EMSMessageBuilderSfb::~EMSMessageBuilderSfb() = default;

boost::shared_ptr<EMSMessageBuilderSfb> EMSMessageBuilderSfb::Instance() {
  static const boost::shared_ptr<EMSMessageBuilderSfb> instance =
      boost::make_shared<MakeSharedEnabler<EMSMessageBuilderSfb>>();
  return instance;
}

const char* EMSMessageBuilderSfb::ApplicationServerName(int type) {
  static const char* const kNames[] = {"Generic", "Asterisk",  "BSFT", "Coral", "MetaSwitch",
                                       "FreeSwitch", "SfB", "Genband", "3CX"};
  if (type < 0 || type >= static_cast<int>(sizeof kNames / sizeof kNames[0])) return "unknown";
  return kNames[type];
}

bool EMSMessageBuilderSfb::BuildStatusMsg(EmsIppStatusRequest* request) try {
  if (request == nullptr) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "No status request to fill");
    return true;
  }
  char number[16];
  snprintf(number, sizeof number, "%d", g476());
  request->m_vlanId.SetValue(std::string(number));
  request->m_model.SetValue(Text(g1049()));
  request->m_fwVersion.SetValue(Text(VM_Get_Version()));
  request->m_BootLoaderversion.SetValue(std::string());
  request->m_MSTeamsversion.SetValue(std::string());
  request->m_ApplicationServer.SetValue(std::string(ApplicationServerName(g1485())));
  request->m_userAgent.SetValue(Text(vm_get_user_agent()));

  LyncLocation location;
  location.LoadFromConfig();
  if (!location.IsEmpty()) request->m_location.SetValue(location.ConvertToStringEx());

  if (vm_is_registered()) {
    request->m_userName.SetValue(Text(vm_get_user_name()));
    char userId[128];
    std::memset(userId, 0, sizeof userId);
    vm_get_user_id(userId, sizeof userId);
    userId[sizeof userId - 1] = '\0';
    request->m_userId.SetValue(std::string(userId));
    char phoneNumber[134];
    std::memset(phoneNumber, 0, sizeof phoneNumber);
    vm_get_phone_number(phoneNumber, sizeof phoneNumber);
    phoneNumber[sizeof phoneNumber - 1] = '\0';
    request->m_phoneNumber.SetValue(std::string(phoneNumber));
    request->m_sipProxy.SetValue(Text(g1601()));
  }

  request->m_sync_id.SetValue(Text(g630()));
  // The count is printed into an 8-byte buffer: at most 7 characters.
  char count[8];
  snprintf(count, sizeof count, "%d", g631());
  request->m_unreceived_request.SetValue(std::string(count));

  SetBToEParams(request);
  if (!is_conference_phone()) request->m_USBHeadsetType.SetValue(Text(g715()));
  InsertDmReportPeriodicParams(request);
  return true;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, false)

const char* EMSMessageBuilderSfb::EmsGetStatusStr(E_PHONE_STATE_TYPE state) {
  switch (state) {
    case PHONE_STATE_STARTED:
      return "started";
    case PHONE_STATE_RESTARTING:
      return "restarting";
    case PHONE_STATE_UPGRADING:
      return "upgrading";
    default:
      break;
  }
  const int upgrade = g815();
  if (upgrade == kUpgradeDownloading || upgrade == kUpgradeInstalling) return "upgrading";
  if (g820(0)) return "offline";
  return "registered";
}

void EMSMessageBuilderSfb::FillUserDataKeysConf(UserDataKeysConf* request) try {
  if (request == nullptr) return;
  vmCfgIter* iter = vmCfgIterStartPath("/personal_settings/functional_key/");
  if (iter == nullptr) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "Cannot walk the function-key settings");
    return;
  }
  char value[2048];
  do {
    const char* path = vmCfgIterGetData(iter);
    if (path == nullptr) {
      DM_LOG(VM_LOG_MODULE_EMS, LOG_NOTICE, "vmCfgIterGetData return with NULL");
      break;
    }
    // A value longer than the buffer is sent cut to 2047 bytes.
    vmCfgIterGetValue(iter, value, sizeof value);
    value[sizeof value - 1] = '\0';
    AddKeyValueChild(request->m_functionKeys, *request, std::string("UD_") + path, value);
  } while (vmCfgIterNext(iter) == 0);
  vmCfgIterEnd(iter);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, )

extern "C" void InitEMSMessageBuilderBaseInstance(void) try {
  SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>::m_Instance = EMSMessageBuilderSfb::Instance();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, )
