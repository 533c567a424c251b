// The observer base and the reporter front; they log as AlertManager.
#include "alerts/AlertObserver.h"

#include "alerts/AlertManager.h"
#include "alerts/AlertManagerLog.h"
#include "alerts/AlertReporter.h"

void AlertObserver::AlertCallback(SystemAlert* /*alert*/) { ALERT_LOG(LOG_DEBUG, "unhandled AlertCallback"); }

void AlertObserver::EventCallback(SystemAlert* /*event*/) { ALERT_LOG(LOG_DEBUG, "unhandled EventCallback"); }

AlertObserver::~AlertObserver() = default;

int AlertReporter::DeleteAlert(const std::string& name, const std::string& source) {
  return AlertManager::GetInstance()->DeleteAlert(name, source);
}

int AlertReporter::ConfirmationReceived(const std::string& name, const std::string& source) {
  return AlertManager::GetInstance()->ConfirmationReceived(name, source);
}
