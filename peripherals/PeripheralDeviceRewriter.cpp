#include "peripherals/PeripheralDeviceRewriter.h"

#include <cstdlib>
#include <memory>
#include <mutex>

#include "peripherals/PeripheralUtils.h"
#include "platform/DmBoundary.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmFile.h"
#include "platform/vmLog.h"

namespace {

constexpr const char kManufacturer[] = "Velmora";
constexpr int32_t kManufacturerVid = 13360;  // 0x3430
constexpr const char kAnySystemType[] = "ELSE";
constexpr size_t kSystemTypeSize = 32;

// Text of a string leaf for printing: unset prints as "".
const char* Text(const IStringElement& leaf) { return leaf.GetString().c_str(); }

bool HasText(const IStringElement& leaf) { return leaf.IsSet() && !leaf.GetString().empty(); }

// The configured system type, else the platform's hardware type.
std::string SystemType() {
  char value[kSystemTypeSize] = "";
  const int result = vmCfgGetParam("system/type", value, sizeof value);
  if (result != VM_CFG_OK && result != VM_CFG_TOO_LONG) value[0] = '\0';
  if (value[0] != '\0') return value;
  const char* hw = VM_Get_Hw_Type();
  return hw ? hw : "";
}

// The configured filters document of the last rewrite, kept while the text
// stays the same: the text rarely changes, and parsing it is most of what a
// rewrite costs. A new text gets a fresh document.
struct ConfiguredFilters {
  std::mutex lock;
  std::string text;
  std::unique_ptr<PeripheralDeviceFiltersJson> document;
  bool parsed = false;  // `document` holds the parse of `text`
  bool valid = false;   // and that parse succeeded
};

ConfiguredFilters& Configured() {
  static ConfiguredFilters configured;
  return configured;
}

// Set by the rewrite around its call of GetFilterListFromString with the
// kept document: the call parses only when the document does not hold the
// text's parse yet, and logs as usual either way.
thread_local ConfiguredFilters* t_alreadyParsed = nullptr;

}  // namespace

boost::shared_ptr<PeripheralDeviceRewriter> PeripheralDeviceRewriter::m_Instance;

PeripheralDeviceRewriter::PeripheralDeviceRewriter() = default;
PeripheralDeviceRewriter::~PeripheralDeviceRewriter() = default;

PeripheralDeviceRewriter* PeripheralDeviceRewriter::Instance() try {
  if (!m_Instance) {
    m_Instance.reset(new PeripheralDeviceRewriter());
    m_Instance->Init();
  }
  return m_Instance.get();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, nullptr)

std::string PeripheralDeviceRewriter::DefaultFiltersPath() {
  const char* path = std::getenv(DEFAULT_FILTERS_ENV);
  return (path != nullptr && path[0] != '\0') ? path : PERIPHERAL_DEFAULT_FILTERS_JSON;
}

void PeripheralDeviceRewriter::Init() { GetFilterListFromJsonFile(DefaultFiltersPath(), *this); }

bool PeripheralDeviceRewriter::GetFilterListFromJsonFile(const std::string& path,
                                                         PeripheralDeviceFiltersJson& out) try {
  const std::string content = peripherals::ReadFileText(path);
  // Whole: the read's cap for JSON documents bounds the line.
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "fileName: %s buffer: %s", path.c_str(), content.c_str());
  return GetFilterListFromString(content, out);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool PeripheralDeviceRewriter::GetFilterListFromString(const std::string& text,
                                                       PeripheralDeviceFiltersJson& out) try {
  bool parsed;
  ConfiguredFilters* known = t_alreadyParsed;
  if (known != nullptr && known->document.get() == &out && known->parsed) {
    parsed = known->valid;
  } else {
    parsed = uJson::DeSerializer::DeSerialize(out, text);
    // Only a parse that ran to its end is kept (an exception leaves it to be done again).
    if (known != nullptr && known->document.get() == &out) {
      known->parsed = true;
      known->valid = parsed;
    }
  }
  if (!parsed) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_ERR, "call DeSerialize failed.\n");
    // A half-read document must not be used as a filter list.
    out.m_filters.ClearChildren();
    return false;
  }
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE, "call DeSerialize successed.\n");
  for (auto it = out.m_filters.GetListIteratorBegin(); it != out.m_filters.GetListIteratorEnd(); ++it) {
    PrintPeripheralInfo((*it)->m_in, "in");
    PrintPeripheralInfo((*it)->m_out, "out");
  }
  return true;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool PeripheralDeviceRewriter::RewritePeripheralInfo(const PeripheralInfo& in, PeripheralInfo& out) try {
  PrintPeripheralInfo(in, "to rewrite");
  const char* text = g523();
  if (text != nullptr && text[0] != '\0') {
    ConfiguredFilters& configured = Configured();
    std::lock_guard<std::mutex> guard(configured.lock);
    // A text not yet parsed to its end gets a fresh document: a half-filled
    // one must not keep values of an older text. A text that did not parse is
    // parsed again each time, so each rewrite reports why.
    if (!configured.parsed || !configured.valid || !configured.document || configured.text.compare(text) != 0) {
      configured.parsed = false;
      configured.text = text;
      configured.document.reset(new PeripheralDeviceFiltersJson());
    }
    t_alreadyParsed = &configured;
    const bool listed = GetFilterListFromString(configured.text, *configured.document);
    t_alreadyParsed = nullptr;
    if (listed && FindFilterInList(in, out, configured.document->m_filters)) {
      DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter was found in config");
      return true;
    }
  }
  if (m_filters.size() > 0 && FindFilterInList(in, out, m_filters)) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter was found in default filters list");
    return true;
  }
  FillOutInfo(in, in, out);
  return false;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, false)

bool PeripheralDeviceRewriter::FindFilterInList(const PeripheralInfo& in, PeripheralInfo& out,
                                                PeripheralDeviceFiltersList& list) {
  unsigned best = 0;
  const PeripheralInfo* bestOut = nullptr;
  for (auto it = list.GetListIteratorBegin(); it != list.GetListIteratorEnd(); ++it) {
    const unsigned score = CalculateFilterMatchScore(in, (*it)->m_in);
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "score of %s is %d", Text(in.m_name), static_cast<int>(score));
    if (score > best) {
      best = score;
      bestOut = &(*it)->m_out;
    }
  }
  if (bestOut == nullptr) return false;
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter for peripheral %s with vid: %d pid: %d was found!",
         Text(in.m_name), static_cast<int>(in.m_vid.GetValue()), static_cast<int>(in.m_pid.GetValue()));
  FillOutInfo(in, *bestOut, out);
  return true;
}

unsigned PeripheralDeviceRewriter::CalculateFilterMatchScore(const PeripheralInfo& device,
                                                             const PeripheralInfo& filterIn) {
  unsigned score = 0;
  const int nameBit = IsCompatibleName(device, filterIn);
  if (nameBit != 0) score |= 1u << nameBit;
  const int typeBit = IsCompatibleType(device, filterIn);
  if (typeBit != 0) score |= 1u << typeBit;
  if (IsCompatiblePid(device, filterIn)) {
    score |= 1u << kPidBit;
    if (IsCompatibleVid(device, filterIn)) score |= 1u << kVidBit;
  }
  return score;
}

int PeripheralDeviceRewriter::IsCompatibleName(const PeripheralInfo& device, const PeripheralInfo& filterIn) {
  if (!HasText(device.m_name)) return 0;
  const std::string& name = device.m_name.GetString();
  if (peripherals::EqualsIgnoreCase(name, filterIn.m_name.GetString())) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter with the exact name %s was found!",
           Text(filterIn.m_name));
    return kExactNameBit;
  }
  if (HasText(filterIn.m_name) && peripherals::ContainsIgnoreCase(name, filterIn.m_name.GetString())) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter for peripheral with name %s was found!",
           Text(filterIn.m_name));
    return kPartialNameBit;
  }
  if (HasText(filterIn.m_partialName) && peripherals::ContainsIgnoreCase(name, filterIn.m_partialName.GetString())) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter with partial name: %s was found for peripheral %s!",
           Text(filterIn.m_partialName), name.c_str());
    return kPartialNameBit;
  }
  return 0;
}

int PeripheralDeviceRewriter::IsCompatibleType(const PeripheralInfo& device, const PeripheralInfo& filterIn) {
  if (!HasText(device.m_type)) return 0;
  if (!peripherals::EqualsIgnoreCase(device.m_type.GetString(), filterIn.m_type.GetString())) return 0;
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "A compatible filter with the exact type %s was found!",
         Text(filterIn.m_type));
  return kTypeBit;
}

bool PeripheralDeviceRewriter::IsCompatiblePid(const PeripheralInfo& device, const PeripheralInfo& filterIn) {
  return device.m_pid.GetValue() != -1 && device.m_pid.GetValue() == filterIn.m_pid.GetValue();
}

bool PeripheralDeviceRewriter::IsCompatibleVid(const PeripheralInfo& device, const PeripheralInfo& filterIn) {
  return device.m_vid.GetValue() != -1 && device.m_vid.GetValue() == filterIn.m_vid.GetValue();
}

void PeripheralDeviceRewriter::FillOutInfo(const PeripheralInfo& device, const PeripheralInfo& source,
                                           PeripheralInfo& out) {
  // Each field of `out` reads only the same field of `device` and `source`,
  // so `out` may be either of them.
  out.m_vid.SetValue(device.m_vid.GetValue());
  out.m_pid.SetValue(device.m_pid.GetValue());
  // A filter cannot blank the name, only replace it.
  CopyStringElement(out.m_name, HasText(source.m_name) ? source.m_name : device.m_name);
  // It can blank the other fields by giving "".
  CopyStringElement(out.m_type, source.m_type.IsSet() ? source.m_type : device.m_type);
  CopyStringElement(out.m_hwType, source.m_hwType.IsSet() ? source.m_hwType : device.m_hwType);
  CopyStringElement(out.m_additionalInfo,
                    source.m_additionalInfo.IsSet() ? source.m_additionalInfo : device.m_additionalInfo);
  CopyStringElement(out.m_displayName, source.m_displayName.IsSet() ? source.m_displayName : device.m_displayName);
  CopyStringElement(out.m_manufacturer,
                    source.m_manufacturer.IsSet() ? source.m_manufacturer : device.m_manufacturer);
  EditFilteredOutInfoType(out);
  PrintPeripheralInfo(out, "after rewritten");
}

void PeripheralDeviceRewriter::EditFilteredOutInfoType(PeripheralInfo& out) {
  EditManufacturer(out);
  if (!out.m_type.IsSet()) return;
  const std::string systemType = SystemType();
  std::vector<std::string> entries;
  strSplit(out.m_type.GetString(), ';', entries);
  for (const std::string& entry : entries) {
    std::vector<std::string> parts;
    strSplit(entry, '=', parts);
    if (parts.size() < 2) continue;
    if (parts[0] == systemType || parts[0] == kAnySystemType) {
      out.m_type.SetValue(parts[1]);
      return;
    }
  }
}

void PeripheralDeviceRewriter::EditManufacturer(PeripheralInfo& out) {
  if (out.m_name.GetString().find(kManufacturer) == std::string::npos && out.m_vid.GetValue() != kManufacturerVid) {
    return;
  }
  out.m_manufacturer.SetValue(std::string(kManufacturer));
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "%s manufacturer = %s", Text(out.m_name), Text(out.m_manufacturer));
}

std::string PeripheralDeviceRewriter::GetDisplayName(const std::string& name) const {
  if (name.empty()) return std::string();
  for (auto it = m_filters.GetListIteratorBegin(); it != m_filters.GetListIteratorEnd(); ++it) {
    const PeripheralDeviceFilter& filter = **it;
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "check  %s display name %s", Text(filter.m_in.m_name),
           Text(filter.m_in.m_displayName));
    if (filter.m_in.m_name.IsSet() && filter.m_in.m_name.GetString() == name) {
      DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "found a match! %s display name is %s", name.c_str(),
             Text(filter.m_out.m_displayName));
      return filter.m_out.m_displayName.GetString();
    }
  }
  return std::string();
}

void PeripheralDeviceRewriter::PrintPeripheralInfo(const PeripheralInfo& info, const std::string& label) {
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE,
         "%s: name=%s vid=%d pid=%d type=%s hwType=%s additionalInfo=%s, manufacturer=%s", label.c_str(),
         Text(info.m_name), static_cast<int>(info.m_vid.GetValue()), static_cast<int>(info.m_pid.GetValue()),
         Text(info.m_type), Text(info.m_hwType), Text(info.m_additionalInfo), Text(info.m_manufacturer));
}

void strSplit(const std::string& s, char delimiter, std::vector<std::string>& out) {
  // By hand rather than boost::split, whose boost::function machinery would
  // export boost's exception types from this library.
  size_t start = 0;
  for (size_t at = s.find(delimiter); at != std::string::npos; at = s.find(delimiter, start)) {
    out.push_back(s.substr(start, at - start));
    start = at + 1;
  }
  out.push_back(s.substr(start));
}
