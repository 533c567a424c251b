// The alarm and event tables of the device. The flat functions that raise,
// clear and add entries from any process, C included, are in
// alerts/devmgmt_alerts.h.
//
// Both tables have 20 slots kept in the configuration database, one
// parameter per field ("status/alarm/%d/%s", "status/event/%d/%s"). Each
// process holds an in-memory copy that follows the database through
// ConfigManager change callbacks: a change marks the slot's changed fields,
// and the pass that follows calls the observers registered for the record's
// name and source (or "ALL"). Writers never touch the in-memory copy; it
// catches up when changes are delivered (dispatchPending or a delivery
// thread). No thread is started and no lock is taken here.
#ifndef DEVMGMT_ALERTS_ALERTMANAGER_H_
#define DEVMGMT_ALERTS_ALERTMANAGER_H_

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "alerts/AlertObserver.h"
#include "alerts/SystemAlert.h"
#include "alerts/devmgmt_alerts.h"
#include "platform/DmExport.h"

class ConfigManager;

// Field numbers of the watched keys; a change sets bit (1 << index).
enum AlertConfigPathIndex {
  ALERT_CONFIG_NAME = 0,
  ALERT_CONFIG_SOURCE_COMPONENT = 1,
  ALERT_CONFIG_SEVERITY = 2,
  ALERT_CONFIG_ADDITIONAL_INFO1 = 3,
  ALERT_CONFIG_ADDITIONAL_INFO2 = 4,
  ALERT_CONFIG_CATEGORY = 5,
  ALERT_CONFIG_DESCRIPTION = 6,
  ALERT_CONFIG_PROBABLE_CAUSE = 7,
  ALERT_CONFIG_TYPE = 8,
  ALERT_CONFIG_UI_NOTIFICATION = 9,
};

class DM_EXPORT AlertManager {
 public:
  static constexpr int kSlots = 20;

  static AlertManager* GetInstance();

  // Setup, in the order the constructor runs it. -1 for a null manager.
  int InitAlertManager(ConfigManager* configManager);
  void InitAlertConfigPathIndexMap();
  void InitAlertMap();  // also resets the acknowledgement of raised alarms
  void InitEventMap();
  void InitAlertConfigPath();
  void InitEventConfigPath();

  // Slot records: read from the database (-1 for a null record), refresh
  // the in-memory copy (-1 for an unknown slot), or look it up (null).
  int CopyAlertElementFromCfg(SystemAlert* alert, int index);
  int CopyEventElementFromCfg(SystemAlert* event, int index);
  int UpdateAlertElement(int index);
  int UpdateEventElement(int index);
  SystemAlert* GetSystemAlert(int index);
  SystemAlert* GetSystemEvent(int index);

  // Slot search.
  int FindEmptyAlertEntry();
  int FindEmptyEventEntry();
  int FindOldestEventEntry();
  int FindAlertIndex(const std::string& name, const std::string& source);
  std::vector<int> FindEventIndices(const std::string& name, const std::string& source);

  // Raise or update an alarm: 0, or -1 (empty name or source, full table,
  // ui notification out of range, write failure).
  int SetAlert(SystemAlert& alert);
  // Add an event (the oldest is overwritten when the table is full): the
  // slot used, or a negative value.
  int SetEvent(SystemAlert& event);
  // Severity 0 with a fresh time: the slot, or a negative value.
  int ClearAlert(const std::string& name, const std::string& source);
  // Free the alarm's slot: the slot, or -1.
  int DeleteAlert(const std::string& name, const std::string& source);
  // Free every slot of the pair: the last slot freed, or -1.
  int DeleteEvent(const std::string& name, const std::string& source);

  // Copies of the in-memory records with a name and a source, in slot order
  // (cleared alarms included).
  std::vector<SystemAlert> GetActiveAlerts();
  std::vector<SystemAlert> GetEventHistory();
  // Whether some raised alarm shows a card (or carries the "RC-KMQ" mark).
  bool IsAnyUIAlertExist();

  // Local time "%Y-%m-%dT%H:%M:%S" into `buffer`: 0, or -1 when it does not fit.
  static int GetFormatTimeStr(char* buffer, int size);
  // `description` with [AI1], [AI2], ... replaced by the comma-separated
  // `values`, every occurrence. Filling stops (logged) once it has gone
  // 16 KiB beyond filling each placeholder of the text once, as values can
  // form their placeholder again without end.
  static std::string BuildAlertDescription(const std::string& description, const std::string& values);
  void AppendTempToSystemEventName(int index);
  // Marks the card in additional info 2 for deletion when notifications must
  // not be shown now. Non-zero when the card was parsed and rewritten.
  int UpdateCardDelete(SystemAlert* alert);

  // Observers: 0, or -1 when already registered in that map.
  int RegisterToAlert(AlertObserver* observer, const std::string& name, const std::string& source);
  int RegisterToEvent(AlertObserver* observer, const std::string& name, const std::string& source);

  // Change delivery.
  int RegisterAlertConfigPathChangeCallback();
  int RegisterEventConfigPathChangeCallback();
  int uRegisterAlertConfigPathChangeCallback();
  int uRegisterEventConfigPathChangeCallback();
  static int HandleAlertConfigPathChange(char** paths, int count);
  static int HandleEventConfigPathChange(char** paths, int count);
  int HandleChangedAlertConfigPath(int index, char* key);
  int HandleChangedEventConfigPath(int index, char* key);
  int HandleAlertsConfigChange();
  int HandleEventsConfigChange();
  void FindAndExecuteAlertCb(SystemAlert* alert);
  void FindAndExecuteEventCb(SystemAlert* event);

  // Acknowledge an alarm, or else every event of the pair: the last slot, or -1.
  int ConfirmationReceived(const std::string& name, const std::string& source);
  // Ui notification 1 (card closed): the setter's result, or a negative value.
  int ClearUiNotification(const std::string& name, const std::string& source);
  // The alarm's ui notification in the database, 0 when there is no such alarm.
  int GetUiNotification(const std::string& name, const std::string& source);
  // False while the input-device screen shows or the setup wizard is not done.
  bool ShouldDisplayNotifications();
  void UpdateAllNotifications();
  void UpdateAllAlerts(bool display);
  void UpdateAllEvents(bool display);
  static int OpenRemoteAlertsCb(char** paths, int count);
  void OpenRemoteAlerts();

 private:
  AlertManager();
  ~AlertManager();
  AlertManager(const AlertManager&) = delete;
  AlertManager& operator=(const AlertManager&) = delete;

  std::map<AlertObserver*, std::pair<std::string, std::string>> m_alertObservers;
  std::map<AlertObserver*, std::pair<std::string, std::string>> m_eventObservers;
  ConfigManager* m_configManager = nullptr;
  std::map<std::string, AlertConfigPathIndex> m_alertConfigPathIndexMap;
  std::map<int, SystemAlert> m_alertMap;
  std::map<int, SystemAlert> m_eventMap;
  std::set<std::string> m_alertConfigPaths;
  std::set<std::string> m_eventConfigPaths;
  int m_ChangeAlertFlag[kSlots];
  int m_ChangeEventFlag[kSlots];
};

#endif  // DEVMGMT_ALERTS_ALERTMANAGER_H_
