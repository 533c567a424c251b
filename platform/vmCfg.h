// The configuration database: every setting and status value of the device.
//
// Parameters are addressed by slash-separated paths ("status/alarm/3/name");
// one leading '/' is accepted and ignored. The host platform keeps them in
// one SQLite file shared by every process (VM_CFG_DB, else
// $XDG_STATE_HOME/devmgmt/config.db, else ~/.local/state/devmgmt/config.db;
// with none of them set, every call fails). Its folder must belong to the
// user (or root) and be writable by nobody else, or the database is refused.
// Parameters declared in the schema (vmCfgSchema.def) read as their default
// until written; any other path is missing until written. Every successful
// write outside a write batch is one transaction and is announced to
// ConfigManager listeners. Reads never wait for a writer, and a database file
// or folder that is read-only serves reads (writes then fail).
//
// Strings returned by the getters (gNNN, VM_* queries) live in a per-thread
// ring of 16 buffers: each stays valid for the next 15 such calls on the same
// thread. Copy a value that must live longer.
#ifndef DEVMGMT_PLATFORM_VMCFG_H_
#define DEVMGMT_PLATFORM_VMCFG_H_

#include "DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// Results of the vmCfg* calls.
enum {
  VM_CFG_OK = 0,
  VM_CFG_ERROR = -1,      // the database could not be opened, read or written
  VM_CFG_NOT_FOUND = -2,  // no stored value and no schema default
  VM_CFG_TOO_LONG = -3,   // the value (or path) does not fit the caller's buffer
  VM_CFG_BAD_ARG = -4,    // null pointer, empty path, index out of range
};

typedef enum {
  VM_UI_NOTIFICATION_DISABLED = 0,  // no card
  VM_UI_NOTIFICATION_CLEARED = 1,   // the card that deletes the shown one was sent
  VM_UI_NOTIFICATION_DEVICE = 2,
  VM_UI_NOTIFICATION_REMOTE = 3,
  VM_UI_NOTIFICATION_DEVICE_AND_REMOTE = 4,
} vmTCfgTypeStatusAlarmUiNotification;

typedef enum {
  VM_PERIPHERAL_TYPE_NONE = 0,
  VM_PERIPHERAL_TYPE_HEADSET,
  VM_PERIPHERAL_TYPE_HANDSET,
  VM_PERIPHERAL_TYPE_SPEAKER,
  VM_PERIPHERAL_TYPE_MICROPHONE,
  VM_PERIPHERAL_TYPE_CAMERA,
  VM_PERIPHERAL_TYPE_VIDEO,
  VM_PERIPHERAL_TYPE_DISPLAY,
  VM_PERIPHERAL_TYPE_KEYBOARD,
  VM_PERIPHERAL_TYPE_MOUSE,
  VM_PERIPHERAL_TYPE_EXPANSION_MODULE,
  VM_PERIPHERAL_TYPE_OTHER,
} vmTCfgTypeStatusPeripheralDeviceType;

typedef enum {
  VM_PERIPHERAL_HW_NONE = 0,
  VM_PERIPHERAL_HW_USB,
  VM_PERIPHERAL_HW_HDMI,
  VM_PERIPHERAL_HW_DISPLAYPORT,
  VM_PERIPHERAL_HW_BLUETOOTH,
  VM_PERIPHERAL_HW_ETHERNET,
  VM_PERIPHERAL_HW_WIFI,
  VM_PERIPHERAL_HW_ANALOG,
} vmTCfgTypeStatusPeripheralDeviceHwType;

// Reads the value of `path` into `value` (NUL-terminated). A value that does
// not fit `size` bytes gives VM_CFG_TOO_LONG and leaves its first size-1 bytes.
DM_EXPORT int vmCfgSetParam(const char* path, const char* value);
DM_EXPORT int vmCfgGetParam(const char* path, char* value, unsigned size);
// Removes the stored value of `path` (a schema parameter then reads as its
// default again) and announces it to listeners like a write. VM_CFG_NOT_FOUND
// when nothing is stored there.
DM_EXPORT int vmCfgDeleteParam(const char* path);

// Walks the stored parameters whose path starts with `prefix`, in path order
// (an empty prefix walks everything). Typical use:
//   vmCfgIter* it = vmCfgIterStartPath("personal_settings/");
//   for (const char* p = vmCfgIterGetData(it); p; vmCfgIterNext(it), p = vmCfgIterGetData(it)) ...
//   vmCfgIterEnd(it);
// Paths are given as stored, without a leading '/'. The walk reads ahead 32
// entries at a time: an entry written during the walk is seen when it sorts
// after the entries already read ahead. Values are read ahead with their
// paths from the first vmCfgIterGetValue on (a walk that never asks for one
// reads paths alone); an entry removed before its value was read gives
// VM_CFG_NOT_FOUND there.
typedef struct vmCfgIter vmCfgIter;
DM_EXPORT vmCfgIter* vmCfgIterStartPath(const char* prefix);  // null on failure
DM_EXPORT const char* vmCfgIterGetData(vmCfgIter* iter);  // current path; null at the end
DM_EXPORT int vmCfgIterGetValue(vmCfgIter* iter, char* value, unsigned size);
DM_EXPORT int vmCfgIterNext(vmCfgIter* iter);  // 0 on an entry, 1 at the end, <0 on failure
DM_EXPORT void vmCfgIterEnd(vmCfgIter* iter);

// Schema look-ups: the parameter declared for a path (or slot pattern), null
// when the schema has none; the value of an enumeration name (names are
// case-sensitive), negative when it is not one; the name of a value.
typedef struct vmCfgParam vmCfgParam;
DM_EXPORT const vmCfgParam* vmCfgFindParameterByPath(const char* path);
DM_EXPORT int vmCfgStrToEnum(const vmCfgParam* param, const char* text);
DM_EXPORT const char* vmCfgEnumToStr(const vmCfgParam* param, int value);

// Write batches: the writes a thread makes between vmCfgBatchBegin and its
// matching vmCfgBatchCommit are one transaction (the write lock is taken at
// the begin, waiting up to the busy timeout). Reads of that thread see the
// batch's writes, other processes see all of them or none (a process killed
// inside a batch leaves nothing of it), and their change notifications are
// delivered together after the commit. Other threads of the process wait
// while a batch is open. Batches nest: only the outermost commit commits. A
// rollback at any depth dooms the whole batch: later writes in it fail and
// its outermost commit rolls back and returns VM_CFG_ERROR; so does a write
// that failed inside it. Every call returns VM_CFG_OK or a negative result;
// a commit or rollback without a begin on the thread gives VM_CFG_BAD_ARG.
DM_EXPORT int vmCfgBatchBegin(void);
DM_EXPORT int vmCfgBatchCommit(void);
DM_EXPORT int vmCfgBatchRollback(void);

// Uses another database file from now on (tools with --db); null goes back to
// the environment's choice. The previous file is closed. Refused inside a batch.
DM_EXPORT int vmCfgUseDatabase(const char* path);
// The database file in use (or that will be opened).
DM_EXPORT const char* vmCfgDatabasePath(void);

// The numbered accessors: one getter (gNNN) and one setter (sNNN) per
// parameter of the schema that has them; tables take the slot index last.
// String getters return null when the database cannot be read; number getters
// return the default then. Setters return a VM_CFG_* result.
#define DM_CFG_DECL_STR_GET(n) DM_EXPORT const char* g##n(void);
#define DM_CFG_DECL_STR_GET_AT(n) DM_EXPORT const char* g##n(int index);
#define DM_CFG_DECL_STR_SET(n) DM_EXPORT int s##n(const char* value);
#define DM_CFG_DECL_STR_SET_AT(n) DM_EXPORT int s##n(const char* value, int index);
#define DM_CFG_DECL_INT_GET(n) DM_EXPORT int g##n(void);
#define DM_CFG_DECL_INT_GET_AT(n) DM_EXPORT int g##n(int index);
#define DM_CFG_DECL_INT_SET(n) DM_EXPORT int s##n(int value);
#define DM_CFG_DECL_INT_SET_AT(n) DM_EXPORT int s##n(int value, int index);
#define DM_CFG_DECL_ENUM_GET(n) DM_CFG_DECL_INT_GET(n)
#define DM_CFG_DECL_ENUM_GET_AT(n) DM_CFG_DECL_INT_GET_AT(n)
#define DM_CFG_DECL_ENUM_SET(n) DM_CFG_DECL_INT_SET(n)
#define DM_CFG_DECL_ENUM_SET_AT(n) DM_CFG_DECL_INT_SET_AT(n)
#define DM_CFG_DECL_STR_NO_GET(n)
#define DM_CFG_DECL_STR_NO_SET(n)
#define DM_CFG_DECL_INT_NO_GET(n)
#define DM_CFG_DECL_INT_NO_SET(n)
#define DM_CFG_DECL_ENUM_NO_GET(n)
#define DM_CFG_DECL_ENUM_NO_SET(n)
#define DM_CFG_PARAM(get_kind, get_no, set_kind, set_no, type, path, slots, def, names) \
  DM_CFG_DECL_##type##_##get_kind(get_no) DM_CFG_DECL_##type##_##set_kind(set_no)
#include "vmCfgSchema.def"
#undef DM_CFG_PARAM

#ifdef __cplusplus
}
#endif

#endif  // DEVMGMT_PLATFORM_VMCFG_H_
