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

// For shared helpers that log on behalf of the operation that called them,
// at its site (DM_LOG_SITE).
#define ALERT_LOG_AT(site, level, ...) \
  DM_LOG_UNIT_AT(site, VM_LOG_MODULE_ALERTS, "AlertManager", level, __VA_ARGS__)

#endif  // DEVMGMT_ALERTS_ALERTMANAGERLOG_H_
