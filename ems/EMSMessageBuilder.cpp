#include "ems/EMSMessageBuilder.h"

#include <openssl/crypto.h>

#include <cstring>
#include <string_view>

#include "ems/EmsAuthorization.h"
#include "platform/DmBoundary.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmLog.h"

template class SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>;

namespace {

// Network texts are read into a zeroed buffer of this size.
constexpr int kNetworkTextSize = 32;

std::string ReadNetworkText(int (*query)(char*, int)) {
  char buffer[kNetworkTextSize];
  std::memset(buffer, 0, sizeof buffer);
  query(buffer, sizeof buffer);
  buffer[sizeof buffer - 1] = '\0';
  return buffer;
}

std::string Text(const char* value) { return value ? value : ""; }

}  // namespace

EMSMessageBuilder::~EMSMessageBuilder() = default;

void EMSMessageBuilder::BuildStatusBaseMsg(EmsRequestBase* request) try {
  if (request == nullptr) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "No request to fill");
    return;
  }
  const uint32_t id = GenerateSessionId();
  request->m_sessionId.SetValue(EncodeHex(&id, sizeof id));

  std::string user;
  std::string password;
  if (GetUserPassword(user, password)) {
    unsigned char hash[16];
    request->m_emsUserName.SetValue(user);
    request->m_emsUserPassword.SetValue(EncodeHex(AuthorizationHash(id, user, password, hash), sizeof hash));
  }
  if (!password.empty()) OPENSSL_cleanse(&password[0], password.size());

  request->m_mac.SetValue(GetMac());
  request->m_ip.SetValue(GetIPAddress());
  request->m_subnet.SetValue(GetNetMask());
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, )

std::string EMSMessageBuilder::GetMac() { return ReadNetworkText(VM_Get_Eth_Str_Mac); }
std::string EMSMessageBuilder::GetIPAddress() { return ReadNetworkText(VM_Get_IP_Address); }
std::string EMSMessageBuilder::GetNetMask() { return ReadNetworkText(VM_Get_NetMask); }

void EMSMessageBuilder::SetBToEParams(EmsIppStatusRequest* request) {
  if (request == nullptr) return;
  if (!VM_cfg_is_b2goe_enable()) {
    request->m_BToEpairingstatus.SetValue(std::string("BToE disabled"));
    return;
  }
  if (!g701()) {
    request->m_BToEpairingstatus.SetValue(std::string("not paired"));
    return;
  }
  request->m_BToEpairingstatus.SetValue(std::string(g706() == 1 ? "auto paired" : "manual paired"));
  const std::string version = Text(g711());
  request->m_BToEversion.SetValue(version.empty() ? std::string("unknown") : version);
}

void EMSMessageBuilder::InsertDmReportPeriodicParams(EmsIppStatusRequest* request) {
  if (request == nullptr) return;
  const std::string paths = Text(g57());
  if (paths.empty()) return;
  DM_LOG(VM_LOG_MODULE_EMS, LOG_DEBUG, "dmReportPeriodicStatusPaths: %s", paths.c_str());

  static const char kSkipped[] = " /,";
  // One value buffer for every item of the report.
  char buf[256];
  buf[0] = '\0';
  size_t start = paths.find_first_not_of(kSkipped);
  while (start != std::string::npos) {
    const size_t end = paths.find(',', start);
    std::string item = GetParamPath(paths, static_cast<unsigned>(start), static_cast<unsigned>(end));
    const size_t star = ContainWildCard(item);
    if (star == std::string::npos) {
      AddParamToMsg(item.c_str(), buf, sizeof buf, request);
    } else {
      AddParamWithWildCard(item, static_cast<unsigned>(star), buf, sizeof buf, request);
    }
    if (end == std::string::npos) break;
    start = paths.find_first_not_of(kSkipped, end);
  }
}

void EMSMessageBuilder::AddParamToMsg(const char* path, char* buf, unsigned size,
                                      EmsIppStatusRequest* request) {
  if (path == nullptr || buf == nullptr || size == 0 || request == nullptr) return;
  DM_LOG(VM_LOG_MODULE_EMS, LOG_DEBUG, "Insert %s to status message", path);
  if (vmCfgGetParam(path, buf, size) == VM_CFG_OK) {
    request->m_additionalParams.AddElement(path, buf);
  }
}

void EMSMessageBuilder::AddParamWithWildCard(std::string& path, unsigned starPos, char* buf,
                                             unsigned size, EmsIppStatusRequest* request) {
  if (starPos >= path.size()) return;
  const std::string prefix = path.substr(0, starPos);
  const std::string suffix = path.substr(starPos + 1);
  vmCfgIter* iter = vmCfgIterStartPath(prefix.c_str());
  if (iter == nullptr) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "Cannot walk the parameters under %s", prefix.c_str());
    return;
  }
  for (const char* entry = vmCfgIterGetData(iter); entry != nullptr;
       vmCfgIterNext(iter), entry = vmCfgIterGetData(iter)) {
    const std::string_view full(entry);
    if (full.size() >= starPos && full.find(suffix, starPos) != std::string_view::npos) {
      AddParamToMsg(entry, buf, size, request);
    }
  }
  vmCfgIterEnd(iter);
}

std::string EMSMessageBuilder::GetParamPath(const std::string& paths, unsigned from, unsigned to) {
  if (from >= paths.size()) return std::string();
  return to >= paths.size() ? paths.substr(from) : paths.substr(from, to > from ? to - from : 0);
}

size_t EMSMessageBuilder::ContainWildCard(std::string& path) { return path.find('*'); }
