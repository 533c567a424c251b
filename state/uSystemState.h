// The system-state store: one small JSON record per long-running device
// procedure (pairing, updates, 802.1X, certificate enrolment, ...), kept in
// the configuration database under a fixed path per procedure.
//
// A record is {"status", "result", "wasSuccessful", "info"}. The flag
// wasSuccessful is sticky: once a write carried result "success", every
// later write of that path keeps it true.
//
// C and C++ callers. Two entry points are plain C functions that device
// processes written in C call by their unmangled names:
//   int SetStatusSystemState(path, status, result, info);
//   int GetStatusSystemStateStatus(path, buffer, size);
// C++ callers also have record- and std::string-based functions under the
// same names. C++ allows one overload of a name to have C linkage while the
// others keep C++ linkage (and mangled symbols), as long as the parameter
// lists differ; so the C functions stay unmangled and C++ code calls every
// form by the same name, choosing by its arguments. The C++ forms are only
// declared when the header is compiled as C++.
#ifndef DEVMGMT_STATE_USYSTEMSTATE_H_
#define DEVMGMT_STATE_USYSTEMSTATE_H_

#include <stddef.h>

#include "platform/DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// Number of entries in the path table (indices 0 to 20).
#define SYSTEM_STATE_PATH_COUNT 21

// Stores a fresh record built from the non-null texts (a null member is
// stored empty, not kept). Returns the configuration write's result (0 on
// success) or -1.
DM_EXPORT int SetStatusSystemState(const char* path, const char* status, const char* result,
                                   const char* info);

// Copies the stored status into `buffer`: at most `size` characters, then a
// NUL at index min(size, length). So `buffer` must hold size + 1 bytes.
// Returns 0, or -1 for a null path or buffer, a size of 0, or a record that
// cannot be read.
DM_EXPORT int GetStatusSystemStateStatus(const char* path, char* buffer, size_t size);

#ifdef __cplusplus
}  // extern "C"
#endif

#ifdef __cplusplus

#include <string>
#include <vector>

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IStringElement.h"

class DM_EXPORT SystemState : public IElementSerializable {
 public:
  class DM_EXPORT status : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT result : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT wasSuccessful : public IBoolElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT info : public IStringElement {
   public:
    const char* GetName() const override;
  };

  SystemState();
  ~SystemState() override;
  const char* GetName() const override;

  // Sets each member whose argument is non-null; null leaves it unchanged.
  void Update(const char* status, const char* result, const char* info);

  status m_status;
  result m_result;
  wasSuccessful m_wasSuccessful;
  info m_info;
};

// Record and JSON.
DM_EXPORT void BuildSystemStateStruct(SystemState& record, const char* status, const char* result,
                                      const char* info);
// The record's JSON (at most 2047 characters), or "" on failure.
DM_EXPORT std::string SerializeSystemState(SystemState& record);
// 0 on success, -1 when the text is not a record.
DM_EXPORT int DeSerializeSystemState(const char* json, SystemState& record);
DM_EXPORT int GetStatusSystemStateFromBuf(const char* json, SystemState& record);

// Paths: the table entry for 0..20, else null; the configured display order
// as "/status/system/state/<name>" paths.
DM_EXPORT const char* GetStatusSystemStatePath(int index);
DM_EXPORT std::vector<std::string> GetSystemStateOrderedList();

// Reading: 0 / -1, members as strings ("" when unreadable or unset).
DM_EXPORT int GetStatusSystemState(const char* path, SystemState& record);
DM_EXPORT std::string GetStatusSystemStateStatus(const char* path);
DM_EXPORT std::string GetStatusSystemStateResult(const char* path);
DM_EXPORT std::string GetStatusSystemStateInfo(const char* path);
DM_EXPORT bool GetStatusSystemStateWasSuccessful(const char* path);
// Buffer forms with the contract of the C GetStatusSystemStateStatus above.
DM_EXPORT int GetStatusSystemStateResult(const char* path, char* buffer, size_t size);
DM_EXPORT int GetStatusSystemStateInfo(const char* path, char* buffer, size_t size);

// Writing.
DM_EXPORT void SetWasSuccessfulValue(const char* path, SystemState& record);
DM_EXPORT int SetStatusSystemState(const char* path, SystemState& record);
DM_EXPORT int SetStatusSystemStateValue(const char* path, const char* status, const char* result,
                                        const char* info);
// Stores a record holding only `status`: result and info are cleared.
DM_EXPORT int SetStatusSystemStateStatus(const char* path, const char* status);

#endif  // __cplusplus

#endif  // DEVMGMT_STATE_USYSTEMSTATE_H_
