// The parameters declared in vmCfgSchema.def, as data (host platform only).
#ifndef DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSCHEMA_H_
#define DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSCHEMA_H_

#include <string>

#include "platform/vmCfg.h"

enum class ParamType { kString, kInteger, kEnum };

struct vmCfgParam {
  const char* pattern;  // a path, or a pattern with one %d for the slot
  int slots;            // 1 for a single parameter
  ParamType type;
  const char* default_value;  // as stored (an enumeration name for kEnum)
  const char* const* names;   // enumeration names by value, null-terminated; null otherwise
};

namespace dmcfg {

// The declared parameter of a concrete path or of a pattern; null if none.
const vmCfgParam* FindParam(const std::string& path);

// The concrete path of slot `index` (the pattern itself for single
// parameters); false when the index is out of range.
bool ParamPath(const vmCfgParam& param, int index, std::string* path);

// The value of an enumeration name or decimal text; -1 when neither.
int EnumValue(const vmCfgParam& param, const char* text);

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSCHEMA_H_
