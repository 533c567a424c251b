// The system-state store: one small JSON record per long-running device
// procedure (pairing, updates, 802.1X, certificate enrolment, ...), kept in
// the configuration database under a fixed path per procedure.
//
// A record is {"status", "result", "wasSuccessful", "info"}. The flag
// wasSuccessful is sticky: once a write carried result "success", every
// later write of that path keeps it true.
//
// C callers use the two plain C functions of state/devmgmt_state.h by their
// unmangled names. C++ callers also have record- and std::string-based
// functions under the same names: C++ allows one overload of a name to have
// C linkage while the others keep C++ linkage (and mangled symbols), as long
// as the parameter lists differ, so C++ code calls every form by the same
// name, choosing by its arguments.
#ifndef DEVMGMT_STATE_USYSTEMSTATE_H_
#define DEVMGMT_STATE_USYSTEMSTATE_H_

#include <string>
#include <vector>

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IStringElement.h"
#include "state/devmgmt_state.h"

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

#endif  // DEVMGMT_STATE_USYSTEMSTATE_H_
