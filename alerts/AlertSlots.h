// The per-field accessors of one table (alarms or events), so that code
// common to both tables is written once. Internal header; not installed.
#ifndef DEVMGMT_ALERTS_ALERTSLOTS_H_
#define DEVMGMT_ALERTS_ALERTSLOTS_H_

#include <initializer_list>
#include <string>

#include "alerts/SystemAlert.h"

namespace alert_slots {

typedef const char* (*StrGet)(int);
typedef int (*IntGet)(int);
typedef int (*StrSet)(const char*, int);
typedef int (*IntSet)(int, int);

struct Table {
  const char* kind;  // "alarm" or "event", for log lines and paths
  StrGet name, source, description, addInfo1, addInfo2, category, time;
  IntGet severity, type, probableCause, ui, confirmation;
  StrSet setName, setSource, setDescription, setAddInfo1, setAddInfo2, setCategory, setTime;
  IntSet setSeverity, setType, setProbableCause, setUi, setConfirmation;
};

extern const Table kAlarms;
extern const Table kEvents;

// A getter's text as an owned string ("" for null): getters return buffers
// that are reused a few calls later.
inline std::string Text(const char* value) { return value ? value : ""; }

// Reads all twelve fields of slot `index` into `record`.
void ReadSlot(const Table& table, int index, SystemAlert* record);

// One field write of a slot, string or number.
class FieldWrite {
 public:
  FieldWrite(StrSet setter, const std::string& value) : m_str(setter), m_text(&value) {}
  FieldWrite(IntSet setter, int value) : m_int(setter), m_number(value) {}
  int Apply(int index) const { return m_str ? m_str(m_text->c_str(), index) : m_int(m_number, index); }

 private:
  StrSet m_str = nullptr;
  IntSet m_int = nullptr;
  const std::string* m_text = nullptr;
  int m_number = 0;
};

// Applies the writes to slot `index` in order, each its own transaction, and
// stops at the first that fails (logged on behalf of `function`). Returns 0
// or the failing write's result.
int WriteSlot(const DmLogSite& site, const Table& table, int index, std::initializer_list<FieldWrite> writes);

}  // namespace alert_slots

#endif  // DEVMGMT_ALERTS_ALERTSLOTS_H_
