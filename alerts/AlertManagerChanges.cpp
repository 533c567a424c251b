// How each process's in-memory tables follow the database: the path-change
// callbacks, the per-slot change masks, the pass that calls the observers,
// acknowledgement, and the re-evaluation of every card.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "alerts/AlertManager.h"
#include "alerts/AlertManagerLog.h"
#include "alerts/AlertSlots.h"
#include "alerts/ConfigBatch.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"

using alert_slots::kAlarms;
using alert_slots::kEvents;
using alert_slots::Table;
using alert_slots::Text;

namespace {

const char* const kWatchedKeys[] = {"name",           "source_component", "severity",
                                    "additionalInfo1", "additionalInfo2",  "category",
                                    "description",     "probable_cause",   "type",
                                    "ui_notification"};
// The event table's ui notification is not watched.
const int kWatchedAlarmKeys = 10;
const int kWatchedEventKeys = 9;

std::set<std::string> WatchedPaths(const char* kind, int keys) {
  std::set<std::string> paths;
  for (int i = 0; i < AlertManager::kSlots; ++i) {
    for (int k = 0; k < keys; ++k) {
      char path[256];
      std::snprintf(path, sizeof path, "status/%s/%d/%s", kind, i, kWatchedKeys[k]);
      paths.insert(path);
    }
  }
  return paths;
}

// Splits "status/<kind>/<index>/<key>" into its slot index (-1 when the path
// does not have that form) and key (at most size-1 bytes, "" when absent).
void ParseSlotPath(const char* path, const char* kind, int* index, char* key, size_t size) {
  *index = -1;
  std::memset(key, 0, size);
  char prefix[32];
  const int length = std::snprintf(prefix, sizeof prefix, "status/%s/", kind);
  if (path == nullptr || std::strncmp(path, prefix, static_cast<size_t>(length)) != 0) return;
  const char* digits = path + length;
  if (*digits < '0' || *digits > '9') return;
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(digits, &end, 10);
  if (errno != 0 || number > 1000000 || *end != '/') return;
  *index = static_cast<int>(number);
  std::snprintf(key, size, "%s", end + 1);
}

// Records each changed field of a complete slot; paths of a slot without a
// name or a source (being written or deleted) are ignored.
void HandlePathChange(const DmLogSite& site, const Table& table, char** paths, int count,
                      int (AlertManager::*record)(int, char*)) {
  for (int p = 0; p < count; ++p) {
    ALERT_LOG_AT(site, LOG_DEBUG, "%s", paths[p] ? paths[p] : "(null)");
    int index = -1;
    char key[128];
    ParseSlotPath(paths[p], table.kind, &index, key, sizeof key);
    if (static_cast<unsigned>(index) >= static_cast<unsigned>(AlertManager::kSlots) || key[0] == '\0') continue;
    if (Text(table.name(index)).empty() || Text(table.source(index)).empty()) continue;
    (AlertManager::GetInstance()->*record)(index, key);
  }
}

// Whether field `field` of `record` differs from slot `index` of `table`;
// `uiTable` is where the ui notification is read.
bool FieldChanged(const SystemAlert& record, int field, const Table& table, const Table& uiTable, int index) {
  switch (field) {
    case ALERT_CONFIG_NAME: return record.m_name != Text(table.name(index));
    case ALERT_CONFIG_SOURCE_COMPONENT: return record.m_sourceComponent != Text(table.source(index));
    case ALERT_CONFIG_SEVERITY: return record.m_severity != table.severity(index);
    case ALERT_CONFIG_ADDITIONAL_INFO1: return record.m_additionalInfo1 != Text(table.addInfo1(index));
    case ALERT_CONFIG_ADDITIONAL_INFO2: return record.m_additionalInfo2 != Text(table.addInfo2(index));
    case ALERT_CONFIG_CATEGORY: return record.m_category != Text(table.category(index));
    case ALERT_CONFIG_DESCRIPTION: return record.m_description != Text(table.description(index));
    case ALERT_CONFIG_PROBABLE_CAUSE: return record.m_probableCause != table.probableCause(index);
    case ALERT_CONFIG_TYPE: return record.m_type != table.type(index);
    case ALERT_CONFIG_UI_NOTIFICATION: return record.m_uiNotification != uiTable.ui(index);
    default: return false;
  }
}

bool Matches(const std::pair<std::string, std::string>& filter, const SystemAlert& record) {
  return (filter.first == record.m_name || filter.first == "ALL") &&
         (filter.second == record.m_sourceComponent || filter.second == "ALL");
}

bool Register(const DmLogSite& site, std::map<AlertObserver*, std::pair<std::string, std::string>>& observers,
              AlertObserver* observer, const std::string& name, const std::string& source) {
  if (observers.count(observer) != 0) {
    ALERT_LOG_AT(site, LOG_WARNING, "Observer [%p] is already registered", static_cast<void*>(observer));
    return false;
  }
  ALERT_LOG_AT(site, LOG_WARNING, "Register observer [%p] to name: >>%s<<, source: >>%s<<",
               static_cast<void*>(observer), name.c_str(), source.c_str());
  observers[observer] = std::make_pair(name, source);
  return true;
}

}  // namespace

int AlertManager::RegisterToAlert(AlertObserver* observer, const std::string& name, const std::string& source) {
  return Register(DM_LOG_SITE, m_alertObservers, observer, name, source) ? 0 : -1;
}

int AlertManager::RegisterToEvent(AlertObserver* observer, const std::string& name, const std::string& source) {
  return Register(DM_LOG_SITE, m_eventObservers, observer, name, source) ? 0 : -1;
}

void AlertManager::InitAlertConfigPath() { m_alertConfigPaths = WatchedPaths(kAlarms.kind, kWatchedAlarmKeys); }

void AlertManager::InitEventConfigPath() { m_eventConfigPaths = WatchedPaths(kEvents.kind, kWatchedEventKeys); }

int AlertManager::RegisterAlertConfigPathChangeCallback() {
  return ConfigManager::Instance()->registerMultiConfigPathsChangeCallback(m_alertConfigPaths,
                                                                          HandleAlertConfigPathChange);
}

int AlertManager::RegisterEventConfigPathChangeCallback() {
  return ConfigManager::Instance()->registerMultiConfigPathsChangeCallback(m_eventConfigPaths,
                                                                          HandleEventConfigPathChange);
}

int AlertManager::uRegisterAlertConfigPathChangeCallback() {
  if (m_configManager == nullptr) return -1;
  return m_configManager->registerMultiConfigPathsChangeCallback(m_alertConfigPaths, HandleAlertConfigPathChange);
}

int AlertManager::uRegisterEventConfigPathChangeCallback() {
  if (m_configManager == nullptr) return -1;
  return m_configManager->registerMultiConfigPathsChangeCallback(m_eventConfigPaths, HandleEventConfigPathChange);
}

int AlertManager::HandleAlertConfigPathChange(char** paths, int count) {
  HandlePathChange(DM_LOG_SITE, kAlarms, paths, count, &AlertManager::HandleChangedAlertConfigPath);
  return GetInstance()->HandleAlertsConfigChange();
}

int AlertManager::HandleEventConfigPathChange(char** paths, int count) {
  HandlePathChange(DM_LOG_SITE, kEvents, paths, count, &AlertManager::HandleChangedEventConfigPath);
  return GetInstance()->HandleEventsConfigChange();
}

int AlertManager::HandleChangedAlertConfigPath(int index, char* key) {
  SystemAlert* alert = GetSystemAlert(index);
  if (alert == nullptr || key == nullptr) return -1;
  ALERT_LOG(LOG_DEBUG, "set m_ChangeAlertFlag for config - %s", key);
  auto field = m_alertConfigPathIndexMap.find(key);
  if (field == m_alertConfigPathIndexMap.end() || field->second > ALERT_CONFIG_UI_NOTIFICATION) return 0;
  if (FieldChanged(*alert, field->second, kAlarms, kAlarms, index)) m_ChangeAlertFlag[index] |= 1 << field->second;
  return 0;
}

int AlertManager::HandleChangedEventConfigPath(int index, char* key) {
  SystemAlert* event = GetSystemEvent(index);
  if (event == nullptr || key == nullptr) return -1;
  ALERT_LOG(LOG_DEBUG, "set m_ChangeEventFlag for config - %s", key);
  auto field = m_alertConfigPathIndexMap.find(key);
  // The ui notification is compared with the alarm table's slot of the same
  // number, as the event table's own is not watched.
  if (field != m_alertConfigPathIndexMap.end() && field->second <= ALERT_CONFIG_UI_NOTIFICATION &&
      FieldChanged(*event, field->second, kEvents, kAlarms, index)) {
    m_ChangeEventFlag[index] |= 1 << field->second;
  }
  ALERT_LOG(LOG_DEBUG, "m_ChangeEventFlag[%d] = %d", index, m_ChangeEventFlag[index]);
  return 0;
}

int AlertManager::HandleAlertsConfigChange() {
  for (int i = 0; i < kSlots; ++i) {
    if (m_ChangeAlertFlag[i] == 0) continue;
    SystemAlert* old = GetSystemAlert(i);
    if (old == nullptr) {
      ALERT_LOG(LOG_DEBUG, "No local alert info for index: %d", i);
      return -1;
    }
    ALERT_LOG(LOG_DEBUG, "m_ChangeAlertFlag[%d] = %d", i, m_ChangeAlertFlag[i]);
    // One batch from the read to the re-read: no other process writes the
    // slot in between, so nothing written meanwhile goes unreported, while
    // what the observers write (the notifier's card) joins it.
    ConfigBatch snapshot(DM_LOG_SITE, false);
    // Another alarm took the slot: the one that held it is reported cleared
    // before its successor is reported.
    const int identity = (1 << ALERT_CONFIG_NAME) | (1 << ALERT_CONFIG_SOURCE_COMPONENT);
    if ((m_ChangeAlertFlag[i] & identity) != 0 && !old->m_name.empty()) {
      old->m_severity = 0;
      FindAndExecuteAlertCb(old);
    }
    SystemAlert current;
    CopyAlertElementFromCfg(&current, i);
    if (!current.m_name.empty() && !current.m_sourceComponent.empty()) FindAndExecuteAlertCb(&current);
    // The copy becomes the database's, including what observers wrote
    // meanwhile (the notifier's "card closed"), so that write does not come
    // back as a change. Writers batch each operation, so a slot is never
    // seen between two fields of one operation.
    UpdateAlertElement(i);
    snapshot.Commit();
  }
  std::memset(m_ChangeAlertFlag, 0, sizeof m_ChangeAlertFlag);
  return 0;
}

int AlertManager::HandleEventsConfigChange() {
  for (int i = 0; i < kSlots; ++i) {
    if (m_ChangeEventFlag[i] == 0) continue;
    ALERT_LOG(LOG_DEBUG, "m_ChangeEventFlag[%d] = %d", i, m_ChangeEventFlag[i]);
    ConfigBatch snapshot(DM_LOG_SITE, false);  // as for alarms
    SystemAlert current;
    CopyEventElementFromCfg(&current, i);
    if (!current.m_name.empty() && !current.m_sourceComponent.empty()) FindAndExecuteEventCb(&current);
    UpdateEventElement(i);
    snapshot.Commit();
  }
  std::memset(m_ChangeEventFlag, 0, sizeof m_ChangeEventFlag);
  return 0;
}

void AlertManager::FindAndExecuteAlertCb(SystemAlert* alert) {
  ALERT_LOG(LOG_DEBUG, "=>");
  for (const auto& entry : m_alertObservers) {
    if (entry.first == nullptr || !Matches(entry.second, *alert)) continue;
    ALERT_LOG(LOG_DEBUG, "observer = %p, Name: >>%s<<, Source: >>%s<<", static_cast<void*>(entry.first),
              alert->m_name.c_str(), alert->m_sourceComponent.c_str());
    entry.first->AlertCallback(alert);
  }
  ALERT_LOG(LOG_DEBUG, "<=");
}

void AlertManager::FindAndExecuteEventCb(SystemAlert* event) {
  ALERT_LOG(LOG_DEBUG, "=>");
  for (const auto& entry : m_eventObservers) {
    if (entry.first == nullptr || !Matches(entry.second, *event)) continue;
    ALERT_LOG(LOG_DEBUG, "reporter = %p", static_cast<void*>(entry.first));
    entry.first->EventCallback(event);
  }
  ALERT_LOG(LOG_DEBUG, "<=");
}

int AlertManager::ConfirmationReceived(const std::string& name, const std::string& source) {
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  const int i = FindAlertIndex(name, source);
  if (i >= 0) {
    ALERT_LOG(LOG_DEBUG, "Set alarm's Confirmation-Received flag, name: >>%s<<, source: >>%s<<, entry: %d",
              name.c_str(), source.c_str(), i);
    if (kAlarms.setConfirmation(1, i) != VM_CFG_OK) {
      ALERT_LOG(LOG_ERR, "Failed to write alarm entry %d", i);
      return -1;
    }
    if (batch.Commit() != VM_CFG_OK) return -1;
    if (SystemAlert* alert = GetSystemAlert(i)) alert->m_confirmationReceived = 1;
    return i;
  }
  int last = -1;
  const std::vector<int> acknowledged = FindEventIndices(name, source);
  for (int e : acknowledged) {
    ALERT_LOG(LOG_DEBUG, "Set event's Confirmation-Received flag, name: >>%s<<, source: >>%s<<, entry: %d",
              name.c_str(), source.c_str(), e);
    if (kEvents.setConfirmation(1, e) != VM_CFG_OK) {
      ALERT_LOG(LOG_ERR, "Failed to write event entry %d", e);
      return -1;
    }
    last = e;
  }
  if (batch.Commit() != VM_CFG_OK) return -1;
  for (int e : acknowledged) {
    if (SystemAlert* event = GetSystemEvent(e)) event->m_confirmationReceived = 1;
  }
  return last;
}

int AlertManager::ClearUiNotification(const std::string& name, const std::string& source) {
  ConfigBatch batch(DM_LOG_SITE);
  if (!batch.Started()) return -1;
  const int i = FindAlertIndex(name, source);
  if (i < 0) return i;
  ALERT_LOG(LOG_DEBUG, "Clear ui_notification for alarm, name: >>%s<<, source: >>%s<< entry: %d", name.c_str(),
            source.c_str(), i);
  const int rc = kAlarms.setUi(VM_UI_NOTIFICATION_CLEARED, i);
  return rc == VM_CFG_OK ? batch.Commit() : rc;
}

int AlertManager::GetUiNotification(const std::string& name, const std::string& source) {
  const int i = FindAlertIndex(name, source);
  return i < 0 ? 0 : kAlarms.ui(i);
}

bool AlertManager::ShouldDisplayNotifications() {
  char screen[2048];
  char wizard[2048];
  std::memset(screen, 0, sizeof screen);
  std::memset(wizard, 0, sizeof wizard);
  const bool screenRead = vmCfgGetParam("status/settings/screen", screen, sizeof screen) == VM_CFG_OK;
  const bool wizardRead = vmCfgGetParam("setup_wizard/state", wizard, sizeof wizard) == VM_CFG_OK;
  if (!screenRead && !wizardRead) return true;
  if (screenRead && std::strcmp(screen, "ConnectInputDevice") == 0) return false;
  return !wizardRead || std::strcmp(wizard, "done") == 0;
}

void AlertManager::UpdateAllNotifications() {
  const bool display = ShouldDisplayNotifications();
  ALERT_LOG(LOG_DEBUG, "Updating all notifications");
  UpdateAllAlerts(display);
  UpdateAllEvents(display);
}

void AlertManager::UpdateAllAlerts(bool display) {
  InitAlertMap();
  for (auto& entry : m_alertMap) {
    SystemAlert& alert = entry.second;
    if (alert.m_name.empty() || alert.m_sourceComponent.empty()) continue;
    if (UpdateCardDelete(&alert) != 0) {
      ALERT_LOG(LOG_DEBUG, "update alarm %s/%s with new delete type %s", alert.m_name.c_str(),
                alert.m_sourceComponent.c_str(), display ? "false" : "true");
      kAlarms.setAddInfo2(alert.m_additionalInfo2.c_str(), entry.first);
    } else if (static_cast<unsigned>(alert.m_uiNotification) > VM_UI_NOTIFICATION_CLEARED) {
      FindAndExecuteAlertCb(&alert);
    }
  }
}

void AlertManager::UpdateAllEvents(bool display) {
  InitEventMap();
  for (auto& entry : m_eventMap) {
    SystemAlert& event = entry.second;
    if (event.m_name.empty() || event.m_sourceComponent.empty()) continue;
    if (UpdateCardDelete(&event) != 0) {
      ALERT_LOG(LOG_DEBUG, "update event %s/%s with new delete type %s", event.m_name.c_str(),
                event.m_sourceComponent.c_str(), display ? "false" : "true");
      // Deliberately the alarm table's slot of the same number.
      kAlarms.setAddInfo2(event.m_additionalInfo2.c_str(), entry.first);
    } else if (static_cast<unsigned>(event.m_uiNotification) > VM_UI_NOTIFICATION_CLEARED) {
      FindAndExecuteEventCb(&event);
    }
  }
}

int AlertManager::OpenRemoteAlertsCb(char** /*paths*/, int /*count*/) {
  GetInstance()->OpenRemoteAlerts();
  return 0;
}

// The remote console replays nothing when it connects.
void AlertManager::OpenRemoteAlerts() {}
