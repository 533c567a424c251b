// Logging for the units that make up AlertManager.
//
// The alarm table, its change handling and the observer front are split over
// several files, but they log as one unit, "AlertManager", which is the name
// operators filter on. Internal header; not installed.
#ifndef DEVMGMT_ALERTS_ALERTMANAGERLOG_H_
#define DEVMGMT_ALERTS_ALERTMANAGERLOG_H_

#include "platform/vmLog.h"

#define ALERT_LOG(level, ...) \
  vm_syslog(VM_LOG_MODULE_ALERTS, (level), 0, "AlertManager", __func__, __LINE__, __VA_ARGS__)

// For shared helpers that log on behalf of the operation that called them.
#define ALERT_LOG_AS(function, level, ...) \
  vm_syslog(VM_LOG_MODULE_ALERTS, (level), 0, "AlertManager", (function), __LINE__, __VA_ARGS__)

#endif  // DEVMGMT_ALERTS_ALERTMANAGERLOG_H_
