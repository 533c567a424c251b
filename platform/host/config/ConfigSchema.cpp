// The schema table and the numbered accessors, both expanded from
// vmCfgSchema.def so that a parameter is declared in one place only.
#include "platform/host/config/ConfigSchema.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/host/config/ConfigAccess.h"
#include "platform/vmLog.h"

namespace {

// Enumeration names, indexed by value (see the enums of vmCfg.h).
const char* const kUiNotificationNames[] = {"disabled", "cleared", "device", "remote", "device_and_remote",
                                            nullptr};
const char* const kPeripheralTypeNames[] = {"NONE",     "HEADSET", "HANDSET", "SPEAKER",
                                            "MICROPHONE", "CAMERA", "VIDEO",   "DISPLAY",
                                            "KEYBOARD", "MOUSE",   "EXPANSION_MODULE", "OTHER",
                                            nullptr};
const char* const kPeripheralHwTypeNames[] = {"NONE",     "USB",  "HDMI", "DISPLAYPORT", "BLUETOOTH",
                                              "ETHERNET", "WIFI", "ANALOG", nullptr};
const char* const* const NO_ENUM = nullptr;

#define DM_CFG_TYPE_STR ParamType::kString
#define DM_CFG_TYPE_INT ParamType::kInteger
#define DM_CFG_TYPE_ENUM ParamType::kEnum
#define DM_CFG_PARAM(get_kind, get_no, set_kind, set_no, type, path, slots, def, names) \
  {path, slots, DM_CFG_TYPE_##type, def, names},
const vmCfgParam kParams[] = {
#include "platform/vmCfgSchema.def"
};
#undef DM_CFG_PARAM

constexpr size_t kParamCount = sizeof kParams / sizeof kParams[0];

// The schema's patterns in byte order, sorted once. A slot's path is found
// through its pattern (its number read back as "%d"), so no path is copied:
// an index of every slot's path cost more heap than the rest of a small
// process's configuration use.
const std::array<const vmCfgParam*, kParamCount>& SortedParams() {
  static const std::array<const vmCfgParam*, kParamCount> sorted = [] {
    std::array<const vmCfgParam*, kParamCount> params;
    for (size_t i = 0; i < kParamCount; ++i) params[i] = &kParams[i];
    std::sort(params.begin(), params.end(),
              [](const vmCfgParam* a, const vmCfgParam* b) { return std::strcmp(a->pattern, b->pattern) < 0; });
    return params;
  }();
  return sorted;
}

const vmCfgParam* FindPattern(const char* text) {
  const auto& sorted = SortedParams();
  const auto it = std::lower_bound(sorted.begin(), sorted.end(), text, [](const vmCfgParam* param, const char* key) {
    return std::strcmp(param->pattern, key) < 0;
  });
  return it != sorted.end() && std::strcmp((*it)->pattern, text) == 0 ? *it : nullptr;
}

// The slotted parameter whose slot path is `path`: one run of digits, as
// "%d" writes it (no sign, no leading zero), within the parameter's slots.
const vmCfgParam* FindSlotPath(const std::string& path) {
  char candidate[256];
  for (size_t begin = 0; begin < path.size(); ++begin) {
    if (!std::isdigit(static_cast<unsigned char>(path[begin]))) continue;
    size_t end = begin;
    while (end < path.size() && std::isdigit(static_cast<unsigned char>(path[end]))) ++end;
    const size_t digits = end - begin;
    if (digits <= 9 && (digits == 1 || path[begin] != '0') && path.size() + 2 < sizeof candidate) {
      std::memcpy(candidate, path.data(), begin);
      std::memcpy(candidate + begin, "%d", 2);
      std::memcpy(candidate + begin + 2, path.data() + end, path.size() - end);
      candidate[path.size() - digits + 2] = '\0';
      const vmCfgParam* param = FindPattern(candidate);
      const long slot = std::strtol(path.c_str() + begin, nullptr, 10);
      if (param != nullptr && param->slots > 1 && slot < param->slots) return param;
    }
    begin = end;
  }
  return nullptr;
}

const vmCfgParam* ParamByPattern(const char* pattern) {
  const vmCfgParam* param = dmcfg::FindParam(pattern);
  if (param == nullptr) std::abort();  // the accessor table and the schema disagree: a build error
  return param;
}

}  // namespace

namespace dmcfg {

const vmCfgParam* FindParam(const std::string& path) {
  if (path.find('\0') != std::string::npos) return nullptr;
  const vmCfgParam* param = FindPattern(path.c_str());
  return param != nullptr ? param : FindSlotPath(path);
}

bool ParamPath(const vmCfgParam& param, int index, std::string* path) {
  if (index < 0 || index >= param.slots) return false;
  const char* slot = std::strstr(param.pattern, "%d");
  if (slot == nullptr) {
    *path = param.pattern;
    return true;
  }
  // Built by hand: every table access formats one, and a formatted print
  // costs as much as the database read behind it.
  path->assign(param.pattern, static_cast<size_t>(slot - param.pattern));
  path->append(std::to_string(index));
  path->append(slot + 2);
  return true;
}

int EnumValue(const vmCfgParam& param, const char* text) {
  if (text == nullptr) return -1;
  for (int value = 0; param.names != nullptr && param.names[value] != nullptr; ++value) {
    if (std::strcmp(param.names[value], text) == 0) return value;
  }
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end != text && *end == '\0' && value >= 0 && value <= 0xFFFF) return static_cast<int>(value);
  return -1;
}

}  // namespace dmcfg

extern "C" const vmCfgParam* vmCfgFindParameterByPath(const char* path) {
  if (path == nullptr) return nullptr;
  if (*path == '/') ++path;
  return dmcfg::FindParam(path);
}

extern "C" int vmCfgStrToEnum(const vmCfgParam* param, const char* text) {
  if (param == nullptr || param->names == nullptr || text == nullptr) return -1;
  for (int value = 0; param->names[value] != nullptr; ++value) {
    if (std::strcmp(param->names[value], text) == 0) return value;
  }
  return -1;
}

extern "C" const char* vmCfgEnumToStr(const vmCfgParam* param, int value) {
  if (param == nullptr || param->names == nullptr || value < 0) return nullptr;
  for (int i = 0; param->names[i] != nullptr; ++i) {
    if (i == value) return param->names[i];
  }
  return nullptr;
}

// The accessors: each finds its parameter once, then reads or writes a slot.
#define DM_CFG_DEF_STR_GET(n, path) \
  const char* g##n(void) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::GetString(*p, 0); }
#define DM_CFG_DEF_STR_GET_AT(n, path) \
  const char* g##n(int index) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::GetString(*p, index); }
#define DM_CFG_DEF_STR_SET(n, path) \
  int s##n(const char* value) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::SetString(*p, 0, value); }
#define DM_CFG_DEF_STR_SET_AT(n, path) \
  int s##n(const char* value, int index) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::SetString(*p, index, value); }
#define DM_CFG_DEF_INT_GET(n, path) \
  int g##n(void) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::GetInt(*p, 0); }
#define DM_CFG_DEF_INT_GET_AT(n, path) \
  int g##n(int index) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::GetInt(*p, index); }
#define DM_CFG_DEF_INT_SET(n, path) \
  int s##n(int value) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::SetInt(*p, 0, value); }
#define DM_CFG_DEF_INT_SET_AT(n, path) \
  int s##n(int value, int index) { static const vmCfgParam* p = ParamByPattern(path); return dmcfg::SetInt(*p, index, value); }
#define DM_CFG_DEF_ENUM_GET(n, path) DM_CFG_DEF_INT_GET(n, path)
#define DM_CFG_DEF_ENUM_GET_AT(n, path) DM_CFG_DEF_INT_GET_AT(n, path)
#define DM_CFG_DEF_ENUM_SET(n, path) DM_CFG_DEF_INT_SET(n, path)
#define DM_CFG_DEF_ENUM_SET_AT(n, path) DM_CFG_DEF_INT_SET_AT(n, path)
#define DM_CFG_DEF_STR_NO_GET(n, path)
#define DM_CFG_DEF_STR_NO_SET(n, path)
#define DM_CFG_DEF_INT_NO_GET(n, path)
#define DM_CFG_DEF_INT_NO_SET(n, path)
#define DM_CFG_DEF_ENUM_NO_GET(n, path)
#define DM_CFG_DEF_ENUM_NO_SET(n, path)
#define DM_CFG_PARAM(get_kind, get_no, set_kind, set_no, type, path, slots, def, names) \
  DM_CFG_DEF_##type##_##get_kind(get_no, path) DM_CFG_DEF_##type##_##set_kind(set_no, path)
extern "C" {
#include "platform/vmCfgSchema.def"
}
#undef DM_CFG_PARAM
