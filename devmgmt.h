/* Everything a C program needs from the device-management library: the flat
 * entry points of every subsystem, and the versions of the two libraries.
 * Link with libdevmgmt and libdmplatform (pkg-config devmgmt). */
#ifndef DEVMGMT_DEVMGMT_H_
#define DEVMGMT_DEVMGMT_H_

#include "alerts/devmgmt_alerts.h"
#include "ems/devmgmt_ems.h"
#include "events/devmgmt_events.h"
#include "platform/DmExport.h"
#include "security/devmgmt_security.h"
#include "state/devmgmt_state.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The release of libdevmgmt that is loaded, "MAJOR.MINOR.PATCH". A program
 * built against another release can tell what it runs with. */
DM_EXPORT const char* devmgmt_version(void);

/* The release of libdmplatform (the host platform) that is loaded. */
DM_EXPORT const char* dmplatform_version(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif  /* DEVMGMT_DEVMGMT_H_ */
