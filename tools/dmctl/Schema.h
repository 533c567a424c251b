// The declared configuration parameters as dmctl sees them: listing them,
// typing stored values, and refusing writes the schema does not allow.
#ifndef DEVMGMT_TOOLS_DMCTL_SCHEMA_H_
#define DEVMGMT_TOOLS_DMCTL_SCHEMA_H_

#include <string>
#include <vector>

#include "tools/dmctl/Output.h"

namespace dmctl {

struct SchemaEntry {
  const char* pattern;  // a path, or one with %d for the slot
  int slots;
  const char* type;           // "string", "integer" or "enum"
  const char* default_value;  // as stored
  std::vector<std::string> values;  // enumeration names; empty otherwise
};

// Every declared parameter, in declaration order.
const std::vector<SchemaEntry>& Schema();

// Whether a declared pattern lies under `prefix`, which may name slots
// ("status/alarm/3/" is under "status/alarm/%d/name").
bool PatternUnder(const std::string& pattern, const std::string& prefix);

// The declared parameter of a concrete path (slot in range); null if none.
const SchemaEntry* Declared(const std::string& path);

// A stored text as its parameter's type: a number for integers, else text.
Cell TypedValue(const std::string& path, const std::string& text);

// Throws UsageError when the schema does not allow writing `path`: a slot
// outside a table's range, a group of parameters, a path under a parameter,
// or (without `force`) a path the schema does not declare and nothing stores.
void CheckWritablePath(const std::string& path, bool force);

// The path without its one optional leading '/'.
std::string Normalized(const std::string& path);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_SCHEMA_H_
