// A thin front for components that delete or acknowledge alarms.
#ifndef DEVMGMT_ALERTS_ALERTREPORTER_H_
#define DEVMGMT_ALERTS_ALERTREPORTER_H_

#include <string>

#include "platform/DmExport.h"

class DM_EXPORT AlertReporter {
 public:
  // AlertManager::DeleteAlert: the freed slot, or -1.
  int DeleteAlert(const std::string& name, const std::string& source);
  // AlertManager::ConfirmationReceived: the slot acknowledged last, or -1.
  int ConfirmationReceived(const std::string& name, const std::string& source);
};

#endif  // DEVMGMT_ALERTS_ALERTREPORTER_H_
