/* The flat entry points that send device-management messages to the
 * management client's queue (15), for C and C++ callers that do not use the
 * event classes. Sends never block and are never retried; both functions
 * always return 0 (failures are logged by the IPC layer). */
#ifndef DEVMGMT_EVENTS_DEVMGMT_EVENTS_H_
#define DEVMGMT_EVENTS_DEVMGMT_EVENTS_H_

#include "platform/DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sends 413, `eventType`, then `size` bytes of `data`. The payload is left
 * out when `data` is null, `size` is 0 or the first byte is zero (peers rely
 * on that). A payload over 12,284 bytes is refused, logged, and not sent. */
DM_EXPORT int SendMessageToEmsc(int eventType, const char* data, unsigned int size);

/* Sends a SendIppStatusEv holding `status`. */
DM_EXPORT int SendIppStatusMessageToEmsc(int status);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif  /* DEVMGMT_EVENTS_DEVMGMT_EVENTS_H_ */
