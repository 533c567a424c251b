// The vmCfg* entry points over ConfigStore and the schema.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/config/ConfigAccess.h"
#include "platform/host/config/ConfigStore.h"
#include "platform/host/device/Secrets.h"
#include "platform/vmCfg.h"
#include "platform/vmLog.h"

namespace dmcfg {
namespace {

// Paths longer than this are refused rather than stored.
constexpr size_t kMaxPath = 1024;

// Checks a path and drops its one leading '/'.
int NormalizePath(const char* path, std::string* out) {
  if (path == nullptr) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Null configuration path");
    return VM_CFG_BAD_ARG;
  }
  if (*path == '/') ++path;
  const size_t length = std::strlen(path);
  if (length == 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Empty configuration path");
    return VM_CFG_BAD_ARG;
  }
  if (length > kMaxPath) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Configuration path of %zu bytes is too long", length);
    return VM_CFG_TOO_LONG;
  }
  out->assign(path, length);
  return VM_CFG_OK;
}

bool ParseInt(const std::string& text, int* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long long parsed = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || parsed < INT_MIN || parsed > INT_MAX) return false;
  *value = static_cast<int>(parsed);
  return true;
}

// A value must suit its parameter's type: numbers for integers, a name (or
// value) of the enumeration for enumerations.
bool ValueFits(const vmCfgParam& param, const std::string& value) {
  int number = 0;
  switch (param.type) {
    case ParamType::kInteger:
      return ParseInt(value, &number);
    case ParamType::kEnum:
      return EnumValue(param, value.c_str()) >= 0;
    default:
      return true;
  }
}

int CopyOut(const std::string& path, const std::string& value, char* out, unsigned size) {
  if (value.size() < size) {
    std::memcpy(out, value.c_str(), value.size() + 1);
    return VM_CFG_OK;
  }
  std::memcpy(out, value.data(), size - 1);
  out[size - 1] = '\0';
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "Value of %s (%zu bytes) does not fit %u bytes", path.c_str(),
         value.size(), size);
  return VM_CFG_TOO_LONG;
}

int WritePath(const std::string& path, const std::string& value) {
  const vmCfgParam* param = FindParam(path);
  if (param != nullptr && !ValueFits(*param, value)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Refused value for %s: not a value of its type", path.c_str());
    return VM_CFG_BAD_ARG;
  }
  return ConfigStore::Instance().Set(path, value);
}

}  // namespace

const char* KeepString(const std::string& text) {
  constexpr int kRing = 16;
  thread_local std::string ring[kRing];
  thread_local int next = 0;
  std::string& slot = ring[next];
  next = (next + 1) % kRing;
  slot = text;
  return slot.c_str();
}

int ReadValue(const std::string& path, std::string* value) {
  const int rc = ConfigStore::Instance().Get(path, value);
  if (rc == VM_CFG_OK) NoteValueRead(path, *value);  // where a secret came from
  if (rc != VM_CFG_NOT_FOUND) return rc;
  if (const vmCfgParam* param = FindParam(path)) {
    *value = param->default_value;
    return VM_CFG_OK;
  }
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_DEBUG, "No configuration value for %s", path.c_str());
  return VM_CFG_NOT_FOUND;
}

namespace {

bool SlotPath(const vmCfgParam& param, int index, std::string* path) {
  if (ParamPath(param, index, path)) return true;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Index %d out of range for %s", index, param.pattern);
  return false;
}

}  // namespace

const char* GetString(const vmCfgParam& param, int index) {
  std::string path;
  std::string value;
  if (!SlotPath(param, index, &path) || ReadValue(path, &value) != VM_CFG_OK) return nullptr;
  return KeepString(value);
}

int SetString(const vmCfgParam& param, int index, const char* value) {
  std::string path;
  if (!SlotPath(param, index, &path)) return VM_CFG_BAD_ARG;
  return WritePath(path, value ? value : "");
}

int GetInt(const vmCfgParam& param, int index) {
  std::string path;
  std::string value;
  int number = 0;
  const int fallback = param.type == ParamType::kEnum ? EnumValue(param, param.default_value)
                                                      : std::atoi(param.default_value);
  if (!SlotPath(param, index, &path) || ReadValue(path, &value) != VM_CFG_OK) return fallback;
  if (param.type == ParamType::kEnum) {
    number = EnumValue(param, value.c_str());
    if (number >= 0) return number;
  } else if (ParseInt(value, &number)) {
    return number;
  }
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Stored value of %s is not of its type", path.c_str());
  return fallback;
}

int SetInt(const vmCfgParam& param, int index, int value) {
  std::string path;
  if (!SlotPath(param, index, &path)) return VM_CFG_BAD_ARG;
  if (param.type == ParamType::kEnum) {
    const char* name = vmCfgEnumToStr(&param, value);
    if (name == nullptr) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "%d is not a value of %s", value, param.pattern);
      return VM_CFG_BAD_ARG;
    }
    return ConfigStore::Instance().Set(path, name);
  }
  return ConfigStore::Instance().Set(path, std::to_string(value));
}

std::string GetText(const char* path) {
  std::string value;
  return ReadValue(path, &value) == VM_CFG_OK ? value : std::string();
}

int GetNumber(const char* path) {
  const vmCfgParam* param = FindParam(path);
  return param ? GetInt(*param, 0) : 0;
}

}  // namespace dmcfg

// A walk reads ahead a batch of entries per statement: each statement is a
// read transaction of its own, which costs more than the rows it returns.
// It reads paths alone (from the path index, without visiting the rows)
// until its caller first asks for a value; from then on it reads the values
// with the paths, starting again at the current entry.
struct vmCfgIter {
  static constexpr size_t kBatch = 32;
  // Paths are short: a walk of paths reads more of them per statement.
  static constexpr size_t kPathBatch = 128;
  std::string prefix;
  std::string current;  // the current path, kept apart so that it survives a refill
  std::vector<std::pair<std::string, std::string>> batch;
  size_t position = 0;
  bool exhausted = false;  // the store has nothing after the batch
  bool values = false;     // the batch holds values
  bool vanished = false;   // the current entry was removed before its value was read

  bool valid() const { return position < batch.size(); }
  size_t limit() const { return values ? kBatch : kPathBatch; }
  // Replaces the batch with the entries after `after`; VM_CFG_* result.
  int Fill(const std::string& after, bool inclusive) {
    batch.clear();
    // Room for a whole batch from the start: a walk's heap is then the same
    // for a small group as for a large one.
    batch.reserve(kPathBatch + 1);
    position = 0;
    vanished = false;
    const int rc = dmcfg::ConfigStore::Instance().Next(prefix, after, inclusive, values, limit(), &batch);
    exhausted = rc != VM_CFG_OK || batch.size() < limit();
    return rc;
  }
  // Makes the entry at `position` current.
  void Take() {
    if (valid()) current = batch[position].first;
  }
  // Reads the batch again from the current entry, with values; `current`
  // is left as it is (the caller may hold its text).
  int FillValues() {
    values = true;
    const int rc = Fill(current, true);
    if (rc == VM_CFG_ERROR) return rc;
    if (!valid() || batch.front().first != current) {
      batch.insert(batch.begin(), {current, std::string()});
      vanished = true;
    }
    return VM_CFG_OK;
  }
};

extern "C" {

int vmCfgGetParam(const char* path, char* value, unsigned size) {
  if (value == nullptr || size == 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "No buffer to read %s into", path ? path : "(null)");
    return VM_CFG_BAD_ARG;
  }
  value[0] = '\0';
  std::string key;
  int rc = dmcfg::NormalizePath(path, &key);
  if (rc != VM_CFG_OK) return rc;
  std::string text;
  rc = dmcfg::ReadValue(key, &text);
  return rc == VM_CFG_OK ? dmcfg::CopyOut(key, text, value, size) : rc;
}

int vmCfgSetParam(const char* path, const char* value) {
  std::string key;
  const int rc = dmcfg::NormalizePath(path, &key);
  if (rc != VM_CFG_OK) return rc;
  if (value == nullptr) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Null value for %s", key.c_str());
    return VM_CFG_BAD_ARG;
  }
  return dmcfg::WritePath(key, value);
}

int vmCfgDeleteParam(const char* path) {
  std::string key;
  const int rc = dmcfg::NormalizePath(path, &key);
  return rc == VM_CFG_OK ? dmcfg::ConfigStore::Instance().Delete(key) : rc;
}

vmCfgIter* vmCfgIterStartPath(const char* prefix) {
  std::unique_ptr<vmCfgIter> iter(new vmCfgIter());
  if (prefix != nullptr && *prefix == '/') ++prefix;
  iter->prefix = prefix ? prefix : "";
  if (iter->Fill(iter->prefix, true) == VM_CFG_ERROR) return nullptr;
  iter->Take();
  return iter.release();
}

const char* vmCfgIterGetData(vmCfgIter* iter) {
  return (iter != nullptr && iter->valid()) ? iter->current.c_str() : nullptr;
}

int vmCfgIterGetValue(vmCfgIter* iter, char* value, unsigned size) {
  if (iter == nullptr || value == nullptr || size == 0) return VM_CFG_BAD_ARG;
  value[0] = '\0';
  if (!iter->valid()) return VM_CFG_NOT_FOUND;
  if (!iter->values && iter->FillValues() == VM_CFG_ERROR) return VM_CFG_ERROR;
  if (iter->vanished && iter->position == 0) return VM_CFG_NOT_FOUND;
  const auto& entry = iter->batch[iter->position];
  return dmcfg::CopyOut(entry.first, entry.second, value, size);
}

int vmCfgIterNext(vmCfgIter* iter) {
  if (iter == nullptr) return VM_CFG_BAD_ARG;
  if (!iter->valid()) return 1;
  if (++iter->position < iter->batch.size()) {
    iter->Take();
    return 0;
  }
  if (iter->exhausted) return 1;
  const std::string last = iter->batch.back().first;
  const int rc = iter->Fill(last, false);
  if (rc == VM_CFG_ERROR) return VM_CFG_ERROR;
  iter->Take();
  return iter->valid() ? 0 : 1;
}

void vmCfgIterEnd(vmCfgIter* iter) { delete iter; }

int vmCfgBatchBegin(void) { return dmcfg::ConfigStore::Instance().BatchBegin(); }

int vmCfgBatchCommit(void) {
  const int rc = dmcfg::ConfigStore::Instance().BatchCommit();
  dmcfg::DispatchDeferredChanges();
  return rc;
}

int vmCfgBatchRollback(void) {
  const int rc = dmcfg::ConfigStore::Instance().BatchRollback();
  dmcfg::DispatchDeferredChanges();
  return rc;
}

int vmCfgUseDatabase(const char* path) { return dmcfg::ConfigStore::Instance().UseDatabase(path); }

const char* vmCfgDatabasePath(void) { return dmcfg::KeepString(dmcfg::ConfigStore::Instance().DatabasePath()); }

}  // extern "C"
