// Logging for every unit of the library and of the host platform.
//
// vm_syslog() formats one line and hands it to syslog(3) (the device's log),
// to stderr when VM_LOG=stderr, and to an optional capture sink that tests and
// tools install. VM_LOG_LEVEL (0-7, syslog numbering) filters what reaches
// syslog and stderr; a capture sink sees every line.
#ifndef DEVMGMT_PLATFORM_VMLOG_H_
#define DEVMGMT_PLATFORM_VMLOG_H_

#include <syslog.h>

#include "DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// Module numbers shared by the library's units.
enum {
  VM_LOG_MODULE_ALERTS = 14,  // alarms, events, peripherals, state, certificates
  VM_LOG_MODULE_AGENT = 15,
  VM_LOG_MODULE_EMS = 25,  // event factories, EMS reporting, signatures
  VM_LOG_MODULE_PLATFORM = 30,
};

// One formatted log line as the sinks receive it. Pointers are valid only for
// the duration of the sink call.
typedef struct vm_log_record {
  int module;
  int level;
  const char* unit;
  const char* function;
  int line;
  const char* text;
} vm_log_record;

typedef void (*vm_log_sink_fn)(const vm_log_record* record, void* context);

// Formats `format` with the arguments and emits the line. `file` is a unit
// name (see FileName); `flags` is reserved and should be 0.
DM_EXPORT void vm_syslog(int module, int level, int flags, const char* file,
                         const char* function, int line, const char* format,
                         ...) __attribute__((format(printf, 7, 8)));

// Returns the unit name of a source path: its base name without the last
// extension ("a/b/AlertManager.cpp" -> "AlertManager"). The text lives in a
// small per-thread ring of buffers and stays valid for the next seven calls on
// the same thread; names longer than 127 bytes are cut.
DM_EXPORT const char* FileName(const char* path);

// Installs (or, with a null sink, removes) the capture sink. Not thread-safe
// against concurrent logging: install it before the threads that log start.
DM_EXPORT void vm_log_set_sink(vm_log_sink_fn sink, void* context);

#ifdef __cplusplus
}
#endif

// Logs from the current unit and function: DM_LOG(VM_LOG_MODULE_ALERTS,
// LOG_ERR, "Failed to open %s", path). The format must be a literal.
#define DM_LOG(module, level, ...) \
  vm_syslog((module), (level), 0, FileName(__FILE__), __func__, __LINE__, __VA_ARGS__)

#ifdef __cplusplus
// Where a line is attributed when a shared helper logs on behalf of its
// caller: the helper takes a site made at the call (DM_LOG_SITE) and logs with
// DM_LOG_AT, so the line names the caller's function and line, as if the
// caller had logged it. A message whose function name is fixed by its readers
// makes its site from that name.
struct DmLogSite {
  const char* function;
  int line;
};

#define DM_LOG_SITE (DmLogSite{__func__, __LINE__})

// DM_LOG_AT(site, module, level, format, ...) from the current unit;
// DM_LOG_UNIT_AT does the same for units that log under a fixed name.
#define DM_LOG_UNIT_AT(site, module, unit, level, ...) \
  vm_syslog((module), (level), 0, (unit), (site).function, (site).line, __VA_ARGS__)
#define DM_LOG_AT(site, module, level, ...) DM_LOG_UNIT_AT(site, module, FileName(__FILE__), level, __VA_ARGS__)
#endif

#endif  // DEVMGMT_PLATFORM_VMLOG_H_
