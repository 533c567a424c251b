#include "peripherals/BundleListParser.h"

#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralUtils.h"
#include "platform/DmBoundary.h"
#include "platform/vmCfg.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"

namespace {

constexpr int kDeviceBundleSlots = 6;
constexpr int kHostBundleSlots = 2;

const std::string& FirstOrEmpty(const std::vector<std::string>& words) {
  static const std::string kEmpty;
  return words.empty() ? kEmpty : words.front();
}

std::string JoinWords(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += word + " ";
  return joined;
}

// Rewrites a bare name through the filters.
void RewriteName(const std::string& name, PeripheralInfo& result) {
  PeripheralInfo input;
  input.m_name.SetValue(name);
  if (PeripheralDeviceRewriter* rewriter = PeripheralDeviceRewriter::Instance()) {
    rewriter->RewritePeripheralInfo(input, result);
  }
}

bool HasText(const IStringElement& leaf) { return leaf.IsSet() && !leaf.GetString().empty(); }

std::vector<BundleEntity> ParseSlots(const char* (*getter)(int), int slots) {
  std::vector<BundleEntity> entities;
  for (int slot = 0; slot < slots; ++slot) {
    const char* text = getter(slot);
    if (text == nullptr || text[0] == '\0') continue;
    entities.push_back(BundleListParser::ParseStirngToEntity(text));
  }
  return entities;
}

}  // namespace

bool BundleEntity::Empty() const {
  return strTrim(m_name).empty() && m_hwInterfaces.empty() && m_types.empty();
}

std::string BundleEntity::GetSource(bool skipEmpty) const {
  const std::string parts[] = {m_displayName.empty() ? m_name : m_displayName, FirstOrEmpty(m_types),
                               FirstOrEmpty(m_hwInterfaces)};
  std::string source;
  bool first = true;
  for (const std::string& part : parts) {
    if (skipEmpty && part.empty()) continue;
    if (!first) source += "/";
    source += part;
    first = false;
  }
  return source;
}

bool BundleListParser::IsRole(const std::string& word) {
  return peripherals::EnumValue(peripherals::kTypeEnumPath, peripherals::ToUpper(word)) >= 0;
}

bool BundleListParser::IsHwInterface(const std::string& word) {
  return peripherals::EnumValue(peripherals::kHwTypeEnumPath, peripherals::ToUpper(word)) >= 0;
}

BundleEntity BundleListParser::ParseStirngToEntity(const std::string& text) try {
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "ParseStirngToEntity");
  BundleEntity entity;
  std::vector<std::string> words;
  strSplit(text, ',', words);
  for (const std::string& word : words) {
    const std::string upper = peripherals::ToUpper(word);
    if (IsRole(upper)) {
      entity.m_types.push_back(upper);
    } else if (IsHwInterface(upper)) {
      entity.m_hwInterfaces.push_back(upper);
    } else if (entity.m_name.empty()) {
      entity.m_name = word;
    }
  }
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "log after parsing");
  LogBundleEntity(entity);
  return entity;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, BundleEntity())

std::string BundleListParser::ClearReservedWordsFromName(const std::string& name) try {
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "ClearReservedWordsFromName input: %s", name.c_str());
  std::vector<std::string> words;
  strSplit(name, ' ', words);
  std::string cleared;
  bool first = true;
  for (const std::string& word : words) {
    if (IsRole(word) || IsHwInterface(word)) continue;
    if (!first) cleared += " ";
    cleared += word;
    first = false;
  }
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "ClearReservedWordsFromName output: %s", cleared.c_str());
  return cleared;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::string())

void BundleListParser::UpdateHwTypeAndType(BundleEntity& entity, const PeripheralInfo& info) {
  if (HasText(info.m_type)) {
    if (entity.m_types.empty()) {
      entity.m_types.push_back(info.m_type.GetString());
    } else {
      entity.m_types.front() = info.m_type.GetString();
    }
  }
  if (HasText(info.m_hwType)) entity.m_hwInterfaces = info.m_hwType.GetSpacedNameAsVector();
}

void BundleListParser::UpdateEntityWithRewriteInfo(BundleEntity& entity) try {
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "start update of RewriteInfo");
  PeripheralInfo result;
  RewriteName(peripherals::ToUpper(entity.m_name), result);
  if (HasText(result.m_name)) entity.m_name = result.m_name.GetString();
  entity.m_displayName = result.m_displayName.GetString();
  if (entity.m_displayName.empty()) entity.m_displayName = result.m_name.GetString();
  UpdateHwTypeAndType(entity, result);
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "log after rewrite1");
  LogBundleEntity(entity);

  // A display takes the type and interfaces that its connection's filter gives.
  std::string connection;
  for (const std::string& word : entity.m_hwInterfaces) {
    if (word == "HDMI" || word == "DISPLAYPORT") {
      connection = word;
      break;
    }
  }
  if (connection.empty()) {
    for (const std::string& word : entity.m_types) {
      if (word == "DISPLAY") {
        connection = word;
        break;
      }
    }
  }
  if (!connection.empty()) {
    PeripheralInfo display;
    RewriteName(connection, display);
    UpdateHwTypeAndType(entity, display);
  }
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG, "log after rewrite2");
  LogBundleEntity(entity);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, )

std::vector<BundleEntity> BundleListParser::GetDeviceBundleList() try {
  return ParseSlots(g22, kDeviceBundleSlots);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::vector<BundleEntity>())

std::vector<BundleEntity> BundleListParser::GetHostBundleList() try {
  return ParseSlots(g23, kHostBundleSlots);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::vector<BundleEntity>())

std::vector<BundleEntity> BundleListParser::GetDeviceReWrittenBundleList() try {
  std::vector<BundleEntity> entities = GetDeviceBundleList();
  for (BundleEntity& entity : entities) UpdateEntityWithRewriteInfo(entity);
  return entities;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, std::vector<BundleEntity>())

void BundleListParser::LogBundleEntity(const BundleEntity& entity) {
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_DEBUG,
         "BundleEntity log \n: m_name: %s ,\n m_displayName: %s ,\nm_hwInterfaces %s ,\nm_types %s",
         entity.m_name.c_str(), entity.m_displayName.c_str(), JoinWords(entity.m_hwInterfaces).c_str(),
         JoinWords(entity.m_types).c_str());
}
