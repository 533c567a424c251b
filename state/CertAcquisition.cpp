#include "state/CertAcquisition.h"

#include <string>

#include "alerts/AlertManager.h"
#include "alerts/SystemAlert.h"
#include "state/CertLog.h"
#include "state/uSystemState.h"

namespace {

// Indices of the two methods in the system-state path table.
constexpr int kScepStateIndex = 17;
constexpr int kProvisioningStateIndex = 18;

SystemAlert CertRecord(const char* name, std::string description, const std::string& cert,
                       const std::string& source, std::string additionalInfo1) {
  SystemAlert record;
  record.m_name = name;
  record.m_description = std::move(description);
  record.m_sourceComponent = cert + "/" + source;
  record.m_additionalInfo1 = std::move(additionalInfo1);
  record.m_uiNotification = 0;  // no card for either
  return record;
}

}  // namespace

int SetCrtDownloadSystemState(const std::string& source, std::string status, std::string result, std::string info) try {
  const char* path = nullptr;
  if (source == "Provisioning") {
    path = GetStatusSystemStatePath(kProvisioningStateIndex);
  } else if (source == "SCEP") {
    path = GetStatusSystemStatePath(kScepStateIndex);
    // The CA certificates arrive first; the procedure goes on to the
    // device's own certificate, so it is still running.
    if (status == "done" && info.find("CA") != std::string::npos && result == "success") status = "running";
  } else {
    return -1;  // no state of its own: nothing is written
  }
  return SetStatusSystemState(path, status.c_str(), result.c_str(), info.c_str());
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, -1)

void ClearGetCertFailAlert(std::string cert, std::string source) try {
  CERT_LOG(LOG_NOTICE, "Clear Failure Alert. cert: %s, source: %s", cert.c_str(), source.c_str());
  AlertManager::GetInstance()->ClearAlert(CERT_FAIL_ALERT_NAME, cert + "/" + source);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, )

void SendGetCertFailAlert(std::string cert, std::string source, std::string reason) try {
  CERT_LOG(LOG_NOTICE, "Failure Alert. cert: %s, source: %s, reason: %s", cert.c_str(), source.c_str(),
           reason.c_str());
  // [AI1] is filled from additional info 1 wherever the alarm is shown.
  SystemAlert alert = CertRecord(CERT_FAIL_ALERT_NAME, "Device fails to acquire " + cert + " by " + source + " due to [AI1]",
                                 cert, source, reason);
  alert.m_severity = 4;
  alert.m_type = 1;
  alert.m_probableCause = 5;
  AlertManager::GetInstance()->SetAlert(alert);
  SetCrtDownloadSystemState(source, "done", "failed", reason);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, )

void SendGetCertSuccessEvent(std::string cert, std::string source, std::string addInfo, std::string info) try {
  CERT_LOG(LOG_NOTICE, "Success Event. cert: %s, source: %s, addInfo: %s", cert.c_str(), source.c_str(),
           addInfo.c_str());
  SystemAlert event =
      CertRecord(CERT_SUCCESS_EVENT_NAME, "Device acquired new " + cert + " by " + source, cert, source, addInfo);
  event.m_severity = 1;
  event.m_type = 0;
  event.m_probableCause = 0;
  AlertManager::GetInstance()->SetEvent(event);
  SetCrtDownloadSystemState(source, "done", "success", info);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, )
