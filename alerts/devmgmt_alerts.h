/* The flat functions that raise, clear and add alarms and events from any
 * process, C or C++. They work on the process's AlertManager singleton, which
 * the first call creates. There is no flat function for deleting. */
#ifndef DEVMGMT_ALERTS_DEVMGMT_ALERTS_H_
#define DEVMGMT_ALERTS_DEVMGMT_ALERTS_H_

#include "platform/DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Raise or update an alarm. A null description, additional info or category
 * leaves that field empty. -1 for a null name or source, else SetAlert's
 * result (0, or -1). */
DM_EXPORT int AlertManager_SetAlert(const char* name, const char* source, int severity,
                                    const char* description, const char* additionalInfo1,
                                    const char* additionalInfo2, const char* category, int type,
                                    int probable_cause, int ui_notification);
/* An alarm with only name, source and severity (no card). */
DM_EXPORT int AlertManager_SetBasicAlert(const char* name, const char* source, int severity);
/* Severity 0 with a fresh time: the slot, or a negative value. */
DM_EXPORT int AlertManager_ClearAlert(const char* name, const char* source);
/* As the alarm functions, for events; the slot used on success. */
DM_EXPORT int AlertManager_SetEvent(const char* name, const char* source, int severity,
                                    const char* description, const char* additionalInfo1,
                                    const char* additionalInfo2, const char* category, int type,
                                    int probable_cause, int ui_notification);
DM_EXPORT int AlertManager_SetBasicEvent(const char* name, const char* source, int severity);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif  /* DEVMGMT_ALERTS_DEVMGMT_ALERTS_H_ */
