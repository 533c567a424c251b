#include "tools/dmctl/Schema.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"

namespace dmctl {
namespace {

#define DM_CFG_TYPE_NAME_STR "string"
#define DM_CFG_TYPE_NAME_INT "integer"
#define DM_CFG_TYPE_NAME_ENUM "enum"
#define DM_CFG_PARAM(get_kind, get_no, set_kind, set_no, type, path, slots, def, names) \
  {path, slots, DM_CFG_TYPE_NAME_##type, def, {}},
const SchemaEntry kDeclared[] = {
#include "platform/vmCfgSchema.def"
};
#undef DM_CFG_PARAM

// The slot that `path` names in a table's pattern, -1 when it is not of that
// shape (any number of digits where the pattern has %d).
long SlotOf(const std::string& pattern, const std::string& path) {
  const size_t mark = pattern.find("%d");
  if (mark == std::string::npos) return -1;
  const std::string head = pattern.substr(0, mark);
  const std::string tail = pattern.substr(mark + 2);
  if (path.size() <= head.size() + tail.size() || path.compare(0, head.size(), head) != 0 ||
      path.compare(path.size() - tail.size(), tail.size(), tail) != 0) {
    return -1;
  }
  const std::string digits = path.substr(head.size(), path.size() - head.size() - tail.size());
  if (digits.size() > 9) return LONG_MAX;
  for (char c : digits) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return -1;
  }
  return std::strtol(digits.c_str(), nullptr, 10);
}

bool StartsWith(const std::string& text, const std::string& head) { return text.compare(0, head.size(), head) == 0; }

// A pattern's path with every %d as one digit, for comparing shapes.
std::string Shape(const std::string& path) {
  std::string shape;
  for (size_t i = 0; i < path.size(); ++i) {
    if (path.compare(i, 2, "%d") == 0 || std::isdigit(static_cast<unsigned char>(path[i]))) {
      shape += '#';
      while (i + 1 < path.size() && std::isdigit(static_cast<unsigned char>(path[i + 1]))) ++i;
      if (path.compare(i, 2, "%d") == 0) ++i;
    } else {
      shape += path[i];
    }
  }
  return shape;
}

}  // namespace

std::string Normalized(const std::string& path) { return !path.empty() && path[0] == '/' ? path.substr(1) : path; }

const std::vector<SchemaEntry>& Schema() {
  static const std::vector<SchemaEntry>* entries = [] {
    auto* list = new std::vector<SchemaEntry>(std::begin(kDeclared), std::end(kDeclared));
    for (SchemaEntry& entry : *list) {
      // The names come from the platform's own table, through its lookup.
      const vmCfgParam* param = vmCfgFindParameterByPath(entry.pattern);
      for (int value = 0; param != nullptr; ++value) {
        const char* name = vmCfgEnumToStr(param, value);
        if (name == nullptr) break;
        entry.values.push_back(name);
      }
    }
    return list;
  }();
  return *entries;
}

bool PatternUnder(const std::string& pattern, const std::string& prefix) {
  return StartsWith(pattern, Normalized(prefix)) || StartsWith(Shape(pattern), Shape(Normalized(prefix)));
}

const SchemaEntry* Declared(const std::string& path) {
  const std::string key = Normalized(path);
  for (const SchemaEntry& entry : Schema()) {
    if (entry.slots == 1 && std::strstr(entry.pattern, "%d") == nullptr) {
      if (key == entry.pattern) return &entry;
      continue;
    }
    const long slot = SlotOf(entry.pattern, key);
    if (slot >= 0 && slot < entry.slots) return &entry;
  }
  return nullptr;
}

Cell TypedValue(const std::string& path, const std::string& text) {
  const SchemaEntry* entry = Declared(path);
  if (entry != nullptr && std::strcmp(entry->type, "integer") == 0) {
    char* end = nullptr;
    const long long number = std::strtoll(text.c_str(), &end, 10);
    if (!text.empty() && *end == '\0') return Cell(number);
  }
  return Cell(text);
}

void CheckWritablePath(const std::string& path, bool force) {
  const std::string key = Normalized(path);
  if (Declared(key) != nullptr) return;
  for (const SchemaEntry& entry : Schema()) {
    const std::string pattern = entry.pattern;
    const long slot = SlotOf(pattern, key);
    if (slot >= 0) {
      throw UsageError(key + ": slot " + std::to_string(slot) + " does not exist (" + pattern + " has slots 0-" +
                       std::to_string(entry.slots - 1) + ")");
    }
    const std::string shape = Shape(pattern);
    const std::string key_shape = Shape(key);
    if (StartsWith(shape, key_shape + "/")) {
      throw UsageError(key + " is a group of parameters, not a parameter (see 'dmctl config schema " + key + "')");
    }
    if (StartsWith(key_shape, shape + "/")) throw UsageError(key + " is under the parameter " + pattern);
  }
  if (force) return;
  char probe[2];
  const int rc = vmCfgGetParam(key.c_str(), probe, sizeof probe);
  if (rc == VM_CFG_NOT_FOUND) {
    throw UsageError(key + " is not a declared parameter (see 'dmctl config schema'); --force stores it anyway");
  }
}

}  // namespace dmctl
