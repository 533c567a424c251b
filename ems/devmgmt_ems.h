/* The flat entry point of EMS reporting, for C and C++ callers. */
#ifndef DEVMGMT_EMS_DEVMGMT_EMS_H_
#define DEVMGMT_EMS_DEVMGMT_EMS_H_

#include "platform/DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Installs the device's builder as the process's EMS message builder; call
 * once before building any report. Calling it again keeps the same builder. */
DM_EXPORT void InitEMSMessageBuilderBaseInstance(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif  /* DEVMGMT_EMS_DEVMGMT_EMS_H_ */
