// The alarm and event tables: slot search, raising, clearing, deleting and
// the flat functions. Change delivery and observers are in
// AlertManagerChanges.cpp.
#include "alerts/AlertManager.h"

#include <cstring>
#include <ctime>

#include "alerts/AlertManagerLog.h"
#include "alerts/AlertSlots.h"
#include "alerts/ConfigBatch.h"
#include "alerts/uHeroCard.h"
#include "platform/DmBoundary.h"
#include "platform/ConfigManager.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"

namespace alert_slots {

const Table kAlarms = {"alarm", g676,  g679,  g674,  g671,  g672,  g673,  g680,  g678,  g681,  g677,  g682,
                       g675,    s2356, s2359, s2354, s2351, s2352, s2353, s2360, s2358, s2361, s2357, s2362,
                       s2355};
const Table kEvents = {"event", g808,  g811,  g806,  g803,  g804,  g805,  g812,  g810,  g813,  g809,  g814,
                       g807,    s2488, s2491, s2486, s2483, s2484, s2485, s2492, s2490, s2493, s2489, s2494,
                       s2487};

void ReadSlot(const Table& table, int index, SystemAlert* record) {
  record->m_additionalInfo1 = Text(table.addInfo1(index));
  record->m_additionalInfo2 = Text(table.addInfo2(index));
  record->m_category = Text(table.category(index));
  record->m_description = Text(table.description(index));
  record->m_confirmationReceived = table.confirmation(index);
  record->m_name = Text(table.name(index));
  record->m_probableCause = table.probableCause(index);
  record->m_severity = table.severity(index);
  record->m_sourceComponent = Text(table.source(index));
  record->m_time = Text(table.time(index));
  record->m_type = table.type(index);
  record->m_uiNotification = table.ui(index);
}

int WriteSlot(const DmLogSite& site, const Table& table, int index, std::initializer_list<FieldWrite> writes) {
  int step = 0;
  for (const FieldWrite& write : writes) {
    ++step;
    const int rc = write.Apply(index);
    if (rc != VM_CFG_OK) {
      ALERT_LOG_AT(site, LOG_ERR, "Failed to write %s entry %d (write %d of %d, result %d)", table.kind, index,
                   step, static_cast<int>(writes.size()), rc);
      return rc;
    }
  }
  return VM_CFG_OK;
}

}  // namespace alert_slots

using alert_slots::kAlarms;
using alert_slots::kEvents;
using alert_slots::Table;
using alert_slots::Text;
using alert_slots::WriteSlot;

namespace {

const std::string kEmpty;

bool IsFree(const Table& table, int index) {
  const char* name = table.name(index);
  return name == nullptr || name[0] == '\0';
}

// Empties every field of slot `index`. The name goes last: the slot is free
// only once everything else is gone.
int ClearSlot(const DmLogSite& site, const Table& table, int index) {
  return WriteSlot(site, table, index,
                   {{table.setAddInfo1, kEmpty},
                    {table.setAddInfo2, kEmpty},
                    {table.setCategory, kEmpty},
                    {table.setDescription, kEmpty},
                    {table.setTime, kEmpty},
                    {table.setType, 0},
                    {table.setProbableCause, 0},
                    {table.setSeverity, 0},
                    {table.setConfirmation, 0},
                    {table.setUi, 0},
                    {table.setSource, kEmpty},
                    {table.setName, kEmpty}});
}

int FindEmptyEntry(const DmLogSite& site, const Table& table) {
  for (int i = 0; i < AlertManager::kSlots; ++i) {
    if (IsFree(table, i)) {
      ALERT_LOG_AT(site, LOG_DEBUG, "Find empty entry in: %d", i);
      return i;
    }
  }
  return -1;
}

bool Holds(const Table& table, int index, const std::string& name, const std::string& source) {
  return Text(table.name(index)) == name && Text(table.source(index)) == source;
}

// Ui notification values the database can hold (vmTCfgTypeStatusAlarmUiNotification).
bool IsUiNotification(int value) {
  return value >= VM_UI_NOTIFICATION_DISABLED && value <= VM_UI_NOTIFICATION_DEVICE_AND_REMOTE;
}

void ResetFlags(int* flags) { std::memset(flags, 0, sizeof(int) * AlertManager::kSlots); }

}  // namespace

AlertManager* AlertManager::GetInstance() {
  static AlertManager instance;
  return &instance;
}

AlertManager::AlertManager() {
  ResetFlags(m_ChangeAlertFlag);
  ResetFlags(m_ChangeEventFlag);
  InitAlertManager(ConfigManager::Instance());
}

AlertManager::~AlertManager() = default;

int AlertManager::InitAlertManager(ConfigManager* configManager) {
  if (configManager == nullptr) {
    ALERT_LOG(LOG_ERR, "No configuration manager");
    return -1;
  }
  m_configManager = configManager;
  InitAlertConfigPathIndexMap();
  InitAlertMap();
  InitEventMap();
  InitAlertConfigPath();
  InitEventConfigPath();
  uRegisterAlertConfigPathChangeCallback();
  uRegisterEventConfigPathChangeCallback();
  m_configManager->registerMultiConfigPathsChangeCallback({"status/duo/is_console_connected"}, OpenRemoteAlertsCb);
  OpenRemoteAlerts();
  return 0;
}

void AlertManager::InitAlertConfigPathIndexMap() {
  m_alertConfigPathIndexMap = {
      {"name", ALERT_CONFIG_NAME},
      {"source_component", ALERT_CONFIG_SOURCE_COMPONENT},
      {"severity", ALERT_CONFIG_SEVERITY},
      {"additionalInfo1", ALERT_CONFIG_ADDITIONAL_INFO1},
      {"additionalInfo2", ALERT_CONFIG_ADDITIONAL_INFO2},
      {"category", ALERT_CONFIG_CATEGORY},
      {"description", ALERT_CONFIG_DESCRIPTION},
      {"probable_cause", ALERT_CONFIG_PROBABLE_CAUSE},
      {"type", ALERT_CONFIG_TYPE},
      {"ui_notification", ALERT_CONFIG_UI_NOTIFICATION},
  };
}

void AlertManager::InitAlertMap() {
  // One batch for the resets; a database that cannot be written (read-only)
  // refuses it, and the resets are not tried one by one (each would fail).
  ConfigBatch batch(DM_LOG_SITE, false);
  for (int i = 0; i < kSlots; ++i) {
    SystemAlert alert;
    if (!IsFree(kAlarms, i)) {
      // A process that rebuilds its table asks for a fresh acknowledgement
      // of every alarm that still stands.
      if (kAlarms.severity(i) != 0 && !batch.Refused()) kAlarms.setConfirmation(0, i);
      CopyAlertElementFromCfg(&alert, i);
    }
    m_alertMap[i] = alert;
  }
  batch.Commit();
}

void AlertManager::InitEventMap() {
  for (int i = 0; i < kSlots; ++i) {
    SystemAlert event;
    if (!IsFree(kEvents, i)) CopyEventElementFromCfg(&event, i);
    m_eventMap[i] = event;
  }
}

int AlertManager::CopyAlertElementFromCfg(SystemAlert* alert, int index) {
  if (alert == nullptr) return -1;
  alert_slots::ReadSlot(kAlarms, index, alert);
  return 0;
}

int AlertManager::CopyEventElementFromCfg(SystemAlert* event, int index) {
  if (event == nullptr) return -1;
  alert_slots::ReadSlot(kEvents, index, event);
  return 0;
}

int AlertManager::UpdateAlertElement(int index) {
  auto it = m_alertMap.find(index);
  if (it == m_alertMap.end()) return -1;
  return CopyAlertElementFromCfg(&it->second, index);
}

int AlertManager::UpdateEventElement(int index) {
  auto it = m_eventMap.find(index);
  if (it == m_eventMap.end()) return -1;
  return CopyEventElementFromCfg(&it->second, index);
}

SystemAlert* AlertManager::GetSystemAlert(int index) {
  auto it = m_alertMap.find(index);
  return it == m_alertMap.end() ? nullptr : &it->second;
}

SystemAlert* AlertManager::GetSystemEvent(int index) {
  auto it = m_eventMap.find(index);
  return it == m_eventMap.end() ? nullptr : &it->second;
}

int AlertManager::FindEmptyAlertEntry() { return FindEmptyEntry(DM_LOG_SITE, kAlarms); }

int AlertManager::FindEmptyEventEntry() { return FindEmptyEntry(DM_LOG_SITE, kEvents); }

int AlertManager::FindOldestEventEntry() {
  int oldest = -1;
  for (int i = 0; i < kSlots && oldest < 0; ++i) {
    if (!IsFree(kEvents, i)) oldest = i;
  }
  if (oldest < 0) {
    ALERT_LOG(LOG_DEBUG, "Event list is empty");
    return -1;
  }
  // Byte order of the fixed-width local time is time order. Later slots are
  // compared whatever their names: this only runs when no slot is free.
  std::string oldestTime = Text(kEvents.time(oldest));
  for (int j = oldest + 1; j < kSlots; ++j) {
    const std::string time = Text(kEvents.time(j));
    if (std::strcmp(time.c_str(), oldestTime.c_str()) < 0) {
      oldest = j;
      oldestTime = time;
    }
  }
  ALERT_LOG(LOG_DEBUG, "Find oldest entry in: %d", oldest);
  return oldest;
}

int AlertManager::FindAlertIndex(const std::string& name, const std::string& source) {
  for (int i = 0; i < kSlots; ++i) {
    if (Holds(kAlarms, i, name, source)) {
      ALERT_LOG(LOG_DEBUG, "Find couple in entry: %d", i);
      return i;
    }
  }
  return -1;
}

std::vector<int> AlertManager::FindEventIndices(const std::string& name, const std::string& source) {
  std::vector<int> indices;
  for (int i = 0; i < kSlots; ++i) {
    if (Holds(kEvents, i, name, source)) {
      ALERT_LOG(LOG_DEBUG, "Find couple in entry: %d", i);
      indices.push_back(i);
    }
  }
  return indices;
}

int AlertManager::SetAlert(SystemAlert& alert) {
  if (alert.m_name.empty() || alert.m_sourceComponent.empty()) {
    ALERT_LOG(LOG_ERR, "Set alert failed, empty name or source component. Name: >>%s<<, Source: >>%s<<",
              alert.m_name.c_str(), alert.m_sourceComponent.c_str());
    return -1;
  }
  if (!IsUiNotification(alert.m_uiNotification)) {
    ALERT_LOG(LOG_ERR, "Set alert failed, ui notification %d is not 0-4. Name: >>%s<<", alert.m_uiNotification,
              alert.m_name.c_str());
    return -1;
  }
  char now[32];
  GetFormatTimeStr(now, sizeof now);
  const std::string time = now;
  // The slot search and the writes are one batch: two processes never pick
  // the same free slot, and nobody sees the slot half-written.
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  int i = FindAlertIndex(alert.m_name, alert.m_sourceComponent);
  if (i >= 0) {
    ALERT_LOG(LOG_DEBUG, "Update alert, name: >>%s<<, source: >>%s<< in entry: %d", alert.m_name.c_str(),
              alert.m_sourceComponent.c_str(), i);
  } else {
    i = FindEmptyAlertEntry();
    if (i == -1) {
      ALERT_LOG(LOG_ALERT, "Alarm list already full!!!");
      return -1;
    }
    ALERT_LOG(LOG_DEBUG, "Set alert, name: >>%s<<, source: >>%s<< to entry: %d", alert.m_name.c_str(),
              alert.m_sourceComponent.c_str(), i);
  }
  UpdateCardDelete(&alert);
  // Name first and source last: change handlers skip a slot until both are
  // there, so they never act on a half-written alarm.
  const int rc = WriteSlot(DM_LOG_SITE, kAlarms, i,
                           {{kAlarms.setName, alert.m_name},
                            {kAlarms.setSeverity, alert.m_severity},
                            {kAlarms.setTime, time},
                            {kAlarms.setAddInfo1, alert.m_additionalInfo1},
                            {kAlarms.setAddInfo2, alert.m_additionalInfo2},
                            {kAlarms.setCategory, alert.m_category},
                            {kAlarms.setDescription, alert.m_description},
                            {kAlarms.setType, alert.m_type},
                            {kAlarms.setProbableCause, alert.m_probableCause},
                            {kAlarms.setConfirmation, 0},
                            {kAlarms.setUi, alert.m_uiNotification},
                            {kAlarms.setSource, alert.m_sourceComponent}});
  return rc == VM_CFG_OK && batch.Commit() == VM_CFG_OK ? 0 : -1;
}

int AlertManager::SetEvent(SystemAlert& event) {
  if (event.m_name.empty() || event.m_sourceComponent.empty()) {
    ALERT_LOG(LOG_ERR, "Set event failed, empty name or source component. Name: >>%s<<, Source: >>%s<<",
              event.m_name.c_str(), event.m_sourceComponent.c_str());
    return -1;
  }
  if (!IsUiNotification(event.m_uiNotification)) {
    ALERT_LOG(LOG_ERR, "Set event failed, ui notification %d is not 0-4. Name: >>%s<<", event.m_uiNotification,
              event.m_name.c_str());
    return -1;
  }
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  int i = FindEmptyEventEntry();
  if (i >= 0) {
    ALERT_LOG(LOG_DEBUG, "Set event, name: >>%s<<, source: >>%s<< to entry: %d", event.m_name.c_str(),
              event.m_sourceComponent.c_str(), i);
  } else {
    i = FindOldestEventEntry();
    if (i < 0) {
      ALERT_LOG(LOG_ERR, "Fail to set event");
      return i;
    }
    ALERT_LOG(LOG_DEBUG, "Set event, name: >>%s<<, source: >>%s<< to entry: %d", event.m_name.c_str(),
              event.m_sourceComponent.c_str(), i);
    // The renamed in-memory record differs from whatever name comes next, so
    // the change pass always sees the slot as taken over.
    AppendTempToSystemEventName(i);
    if (WriteSlot(DM_LOG_SITE, kEvents, i, {{kEvents.setName, kEmpty}}) != VM_CFG_OK) return -1;
  }
  char now[32];
  GetFormatTimeStr(now, sizeof now);
  const std::string time = now;
  UpdateCardDelete(&event);
  const int rc = WriteSlot(DM_LOG_SITE, kEvents, i,
                           {{kEvents.setName, event.m_name},
                            {kEvents.setSeverity, event.m_severity},
                            {kEvents.setAddInfo1, event.m_additionalInfo1},
                            {kEvents.setAddInfo2, event.m_additionalInfo2},
                            {kEvents.setCategory, event.m_category},
                            {kEvents.setDescription, event.m_description},
                            {kEvents.setTime, time},
                            {kEvents.setType, event.m_type},
                            {kEvents.setProbableCause, event.m_probableCause},
                            {kEvents.setConfirmation, 0},
                            {kEvents.setUi, event.m_uiNotification},
                            {kEvents.setSource, event.m_sourceComponent}});
  return rc == VM_CFG_OK && batch.Commit() == VM_CFG_OK ? i : -1;
}

int AlertManager::ClearAlert(const std::string& name, const std::string& source) {
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  const int i = FindAlertIndex(name, source);
  if (i < 0) return i;
  ALERT_LOG(LOG_DEBUG, "Clear alarm, name: >>%s<<, source: >>%s<< from entry: %d", name.c_str(), source.c_str(), i);
  char now[32];
  GetFormatTimeStr(now, sizeof now);
  const std::string time = now;
  const int rc = WriteSlot(DM_LOG_SITE, kAlarms, i,
                           {{kAlarms.setConfirmation, 0}, {kAlarms.setTime, time}, {kAlarms.setSeverity, 0}});
  return rc == VM_CFG_OK && batch.Commit() == VM_CFG_OK ? i : -1;
}

int AlertManager::DeleteAlert(const std::string& name, const std::string& source) {
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  const int i = FindAlertIndex(name, source);
  if (i < 0) return -1;
  ALERT_LOG(LOG_DEBUG, "Delete alarm, name: >>%s<<, source: >>%s<< from entry: %d", name.c_str(), source.c_str(), i);
  return ClearSlot(DM_LOG_SITE, kAlarms, i) == VM_CFG_OK && batch.Commit() == VM_CFG_OK ? i : -1;
}

int AlertManager::DeleteEvent(const std::string& name, const std::string& source) {
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  int last = -1;
  for (int i : FindEventIndices(name, source)) {
    ALERT_LOG(LOG_DEBUG, "Delete event, name: >>%s<<, source: >>%s<< from entry: %d", name.c_str(), source.c_str(),
              i);
    if (ClearSlot(DM_LOG_SITE, kEvents, i) != VM_CFG_OK) return -1;
    last = i;
  }
  return batch.Commit() == VM_CFG_OK ? last : -1;
}

namespace {

std::vector<SystemAlert> NamedRecords(const std::map<int, SystemAlert>& table) {
  std::vector<SystemAlert> records;
  for (const auto& entry : table) {
    if (!entry.second.m_name.empty() && !entry.second.m_sourceComponent.empty()) records.push_back(entry.second);
  }
  return records;
}

}  // namespace

std::vector<SystemAlert> AlertManager::GetActiveAlerts() { return NamedRecords(m_alertMap); }

std::vector<SystemAlert> AlertManager::GetEventHistory() { return NamedRecords(m_eventMap); }

bool AlertManager::IsAnyUIAlertExist() {
  for (int i = 0; i < kSlots; ++i) {
    if (kAlarms.severity(i) == 0) continue;
    // An alarm carrying this mark counts as shown whatever its ui notification.
    if (kAlarms.ui(i) != 0 || Text(kAlarms.name(i)).find("RC-KMQ") != std::string::npos) return true;
  }
  return false;
}

int AlertManager::GetFormatTimeStr(char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return -1;
  buffer[0] = '\0';
  const time_t now = time(nullptr);
  struct tm local;
  if (localtime_r(&now, &local) == nullptr) return -1;
  return strftime(buffer, static_cast<size_t>(size), "%Y-%m-%dT%H:%M:%S", &local) == 0 ? -1 : 0;
}

// How far filling may go beyond filling each placeholder already in the
// text once: far above what any value can form with its neighbours.
constexpr size_t kMaxFillingBeyond = 16 * 1024;

std::string AlertManager::BuildAlertDescription(const std::string& description, const std::string& values) {
  std::string result = description;
  size_t start = 0;
  int k = 0;
  while (start < values.size()) {
    const size_t comma = values.find(',', start);
    const size_t end = comma == std::string::npos ? values.size() : comma;
    const std::string word = values.substr(start, end - start);
    start = comma == std::string::npos ? values.size() : comma + 1;
    const std::string placeholder = "[AI" + std::to_string(++k) + "]";
    // Every occurrence is replaced, including one that a replacement forms
    // with the text around it, so the search restarts before the inserted
    // word. A word that holds its own placeholder would be found again for
    // ever: for such a word the search goes on after the inserted copy, so
    // each occurrence in the description is replaced exactly once.
    const bool selfContaining = word.find(placeholder) != std::string::npos;
    size_t pos = result.find(placeholder);
    // A word that forms its placeholder again with the text on both sides
    // ("[[AI1]]" filled with "AI1][[AI1") would grow the text for ever: beyond
    // the occurrences already there, growth and replacements are bounded.
    size_t occurrences = 0;
    for (size_t at = pos; at != std::string::npos; at = result.find(placeholder, at + 1)) ++occurrences;
    const size_t maxSize = result.size() + occurrences * word.size() + kMaxFillingBeyond;
    size_t replacements = 0;
    while (pos != std::string::npos) {
      if (result.size() - placeholder.size() + word.size() > maxSize ||
          ++replacements > occurrences + kMaxFillingBeyond) {
        ALERT_LOG(LOG_ERR, "Placeholder %s keeps reappearing; description left partly filled", placeholder.c_str());
        return result;
      }
      ALERT_LOG(LOG_DEBUG, "word: %s, replaceStr: %s, replacePos: %d", word.c_str(), placeholder.c_str(),
                static_cast<int>(pos));
      result.replace(pos, placeholder.size(), word);
      // Nothing before pos - |placeholder| + 1 changed, so searching from
      // there finds what a search from the start would.
      const size_t from = selfContaining ? pos + word.size()
                                         : (pos + 1 >= placeholder.size() ? pos + 1 - placeholder.size() : 0);
      pos = result.find(placeholder, from);
    }
  }
  ALERT_LOG(LOG_DEBUG, "filledDescription: %s", result.c_str());
  return result;
}

void AlertManager::AppendTempToSystemEventName(int index) {
  SystemAlert* event = GetSystemEvent(index);
  if (event == nullptr) return;
  event->m_name += "-temp";
  ALERT_LOG(LOG_DEBUG, "System Event %d changed to: %s", index, event->m_name.c_str());
}

int AlertManager::UpdateCardDelete(SystemAlert* alert) {
  if (alert == nullptr || alert->m_additionalInfo2.empty() || alert->m_severity == 0) return 0;
  uHeroCard card("");
  if (!uJson::DeSerializer::DeSerialize(card, alert->m_additionalInfo2)) {
    ALERT_LOG(LOG_ERR, "uJson::DeSerializer failed");
    return 0;
  }
  card.m_delete.SetValue(!ShouldDisplayNotifications());
  char buffer[2048];
  if (uJson::Serializer::Serialize(card, buffer, sizeof buffer) != 0) {
    ALERT_LOG(LOG_ERR, "uJson::Serializer failed to serialize card");
    return 0;
  }
  alert->m_additionalInfo2 = buffer;
  return 1;
}

namespace {

SystemAlert MakeRecord(const char* name, const char* source, int severity) {
  SystemAlert record;
  record.m_name = name;
  record.m_sourceComponent = source;
  record.m_severity = severity;
  return record;
}

SystemAlert MakeRecord(const char* name, const char* source, int severity, const char* description,
                       const char* additionalInfo1, const char* additionalInfo2, const char* category, int type,
                       int probable_cause, int ui_notification) {
  SystemAlert record = MakeRecord(name, source, severity);
  record.m_description = Text(description);
  record.m_additionalInfo1 = Text(additionalInfo1);
  record.m_additionalInfo2 = Text(additionalInfo2);
  record.m_category = Text(category);
  record.m_type = type;
  record.m_probableCause = probable_cause;
  record.m_uiNotification = ui_notification;
  return record;
}

bool Named(const DmLogSite& site, const char* name, const char* source) {
  if (name != nullptr && source != nullptr) return true;
  ALERT_LOG_AT(site, LOG_ERR, "Null name or source component");
  return false;
}

}  // namespace

extern "C" {

int AlertManager_SetAlert(const char* name, const char* source, int severity, const char* description,
                          const char* additionalInfo1, const char* additionalInfo2, const char* category, int type,
                          int probable_cause, int ui_notification) try {
  if (!Named(DM_LOG_SITE, name, source)) return -1;
  SystemAlert alert = MakeRecord(name, source, severity, description, additionalInfo1, additionalInfo2, category,
                                 type, probable_cause, ui_notification);
  return AlertManager::GetInstance()->SetAlert(alert);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, "AlertManager", -1)

int AlertManager_SetBasicAlert(const char* name, const char* source, int severity) try {
  if (!Named(DM_LOG_SITE, name, source)) return -1;
  SystemAlert alert = MakeRecord(name, source, severity);
  return AlertManager::GetInstance()->SetAlert(alert);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, "AlertManager", -1)

int AlertManager_ClearAlert(const char* name, const char* source) try {
  if (!Named(DM_LOG_SITE, name, source)) return -1;
  return AlertManager::GetInstance()->ClearAlert(name, source);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, "AlertManager", -1)

int AlertManager_SetEvent(const char* name, const char* source, int severity, const char* description,
                          const char* additionalInfo1, const char* additionalInfo2, const char* category, int type,
                          int probable_cause, int ui_notification) try {
  if (!Named(DM_LOG_SITE, name, source)) return -1;
  SystemAlert event = MakeRecord(name, source, severity, description, additionalInfo1, additionalInfo2, category,
                                 type, probable_cause, ui_notification);
  return AlertManager::GetInstance()->SetEvent(event);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, "AlertManager", -1)

int AlertManager_SetBasicEvent(const char* name, const char* source, int severity) try {
  if (!Named(DM_LOG_SITE, name, source)) return -1;
  SystemAlert event = MakeRecord(name, source, severity);
  return AlertManager::GetInstance()->SetEvent(event);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, "AlertManager", -1)

}  // extern "C"
