// Logging of the certificate unit. Every source file of the certificate code
// (inspection, and the acquisition reporting that builds on it) logs under
// the one unit name "SCEPEnrollUtility" with the alarms' module, whatever the
// file is called.
#ifndef DEVMGMT_STATE_CERTLOG_H_
#define DEVMGMT_STATE_CERTLOG_H_

#include "platform/DmBoundary.h"
#include "platform/vmLog.h"

#define CERT_LOG_UNIT "SCEPEnrollUtility"

// CERT_LOG(LOG_ERR, "Get certificate from %s fail\n", path): the format must
// be a literal.
#define CERT_LOG(level, ...) \
  vm_syslog(VM_LOG_MODULE_ALERTS, (level), 0, CERT_LOG_UNIT, __func__, __LINE__, __VA_ARGS__)

// The same at a site of the caller's choosing (DM_LOG_SITE, or one named
// after a platform routine whose name readers filter on).
#define CERT_LOG_AT(site, level, ...) \
  DM_LOG_UNIT_AT(site, VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, level, __VA_ARGS__)

#endif  // DEVMGMT_STATE_CERTLOG_H_
