// The schema table and the numbered accessors, both expanded from
// vmCfgSchema.def so that a parameter is declared in one place only.
#include "platform/host/config/ConfigSchema.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

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

// Every concrete path and pattern of the schema, built once.
const std::unordered_map<std::string, const vmCfgParam*>& ParamIndex() {
  static const auto* index = [] {
    auto* map = new std::unordered_map<std::string, const vmCfgParam*>();
    for (const vmCfgParam& param : kParams) {
      (*map)[param.pattern] = &param;
      std::string path;
      for (int slot = 0; param.slots > 1 && slot < param.slots; ++slot) {
        if (dmcfg::ParamPath(param, slot, &path)) (*map)[path] = &param;
      }
    }
    return map;
  }();
  return *index;
}

const vmCfgParam* ParamByPattern(const char* pattern) {
  const vmCfgParam* param = dmcfg::FindParam(pattern);
  if (param == nullptr) std::abort();  // the accessor table and the schema disagree: a build error
  return param;
}

}  // namespace

namespace dmcfg {

const vmCfgParam* FindParam(const std::string& path) {
  const auto& index = ParamIndex();
  const auto it = index.find(path);
  return it == index.end() ? nullptr : it->second;
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
