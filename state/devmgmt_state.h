/* The flat entry points of system states and certificates, for C and C++
 * callers: the plain C forms of the system-state store, and (through
 * SCEPEnrollUtility.h, itself a C header) certificate inspection and the
 * local chain check. uSystemState.h adds the record- and std::string-based
 * C++ overloads of the same names. */
#ifndef DEVMGMT_STATE_DEVMGMT_STATE_H_
#define DEVMGMT_STATE_DEVMGMT_STATE_H_

#include <stddef.h>

#include "platform/DmExport.h"
#include "state/SCEPEnrollUtility.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Number of entries in the path table (indices 0 to 20). */
#define SYSTEM_STATE_PATH_COUNT 21

/* Stores a fresh record built from the non-null texts (a null member is
 * stored empty, not kept). Returns the configuration write's result (0 on
 * success) or -1. */
DM_EXPORT int SetStatusSystemState(const char* path, const char* status, const char* result,
                                   const char* info);

/* Copies the stored status into `buffer`: at most `size` characters, then a
 * NUL at index min(size, length). So `buffer` must hold size + 1 bytes.
 * Returns 0, or -1 for a null path or buffer, a size of 0, or a record that
 * cannot be read. */
DM_EXPORT int GetStatusSystemStateStatus(const char* path, char* buffer, size_t size);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif  /* DEVMGMT_STATE_DEVMGMT_STATE_H_ */
