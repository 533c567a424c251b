#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/AlertReporter.h"
#include "alerts/AlertTestSupport.h"
#include "alerts/AlertUINotifier.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

class AlertChanges : public testing::Test {
 protected:
  TempDatabase db_;
  AlertManager* manager() { return AlertManager::GetInstance(); }
};

TEST_F(AlertChanges, ObserversReceiveWhatTheirFiltersMatch) {
  RecordingObserver all;
  RecordingObserver onlyX;
  RecordingObserver xFromB;
  ASSERT_EQ(0, manager()->RegisterToAlert(&all, "ALL", "ALL"));
  ASSERT_EQ(0, manager()->RegisterToAlert(&onlyX, "X", "ALL"));
  ASSERT_EQ(0, manager()->RegisterToAlert(&xFromB, "X", "b"));
  ASSERT_EQ(0, manager()->RegisterToEvent(&all, "ALL", "ALL"));
  LogCapture log;
  EXPECT_EQ(-1, manager()->RegisterToAlert(&onlyX, "ALL", "ALL"));  // the first filters stay
  EXPECT_TRUE(log.Contains(LOG_WARNING, "is already registered"));

  ASSERT_EQ(0, AlertManager_SetBasicAlert("X", "a", 1));
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Y", "b", 1));
  ASSERT_EQ(0, AlertManager_SetBasicAlert("X", "b", 1));
  ASSERT_EQ(0, AlertManager_SetBasicEvent("E", "c", 1));
  Deliver();
  ASSERT_EQ(3u, all.alerts.size());
  EXPECT_EQ("X", all.alerts[0].m_name);  // slot order
  EXPECT_EQ("Y", all.alerts[1].m_name);
  ASSERT_EQ(2u, onlyX.alerts.size());
  EXPECT_EQ("a", onlyX.alerts[0].m_sourceComponent);
  EXPECT_EQ("b", onlyX.alerts[1].m_sourceComponent);
  ASSERT_EQ(1u, xFromB.alerts.size());
  EXPECT_EQ(1, xFromB.alerts[0].m_severity);
  ASSERT_EQ(1u, all.events.size());
  EXPECT_EQ("E", all.events[0].m_name);
  EXPECT_TRUE(onlyX.events.empty());
  for (int i = 0; i < AlertManager::kSlots; ++i) EXPECT_EQ(0, AlertManagerTesting::ChangeAlertFlag(i));
}

TEST_F(AlertChanges, ASlotTakenOverReportsTheOldAlarmClearedFirst) {
  RecordingObserver observer;
  manager()->RegisterToAlert(&observer, "ALL", "ALL");
  for (int i = 0; i < 4; ++i) ASSERT_EQ(0, AlertManager_SetBasicAlert(("A" + std::to_string(i)).c_str(), "s", 2));
  Deliver();
  observer.alerts.clear();
  // Another process writes a different alarm into slot 3.
  ASSERT_EQ(VM_CFG_OK, s2356("Successor", 3));
  ASSERT_EQ(VM_CFG_OK, s2358(4, 3));
  Deliver();
  ASSERT_EQ(2u, observer.alerts.size());
  EXPECT_EQ("A3", observer.alerts[0].m_name);
  EXPECT_EQ(0, observer.alerts[0].m_severity);
  EXPECT_EQ("Successor", observer.alerts[1].m_name);
  EXPECT_EQ(4, observer.alerts[1].m_severity);
  EXPECT_EQ("Successor", manager()->GetSystemAlert(3)->m_name);
}

TEST_F(AlertChanges, OneChangedFieldSetsItsBitAndAnUnchangedValueNone) {
  RecordingObserver observer;
  manager()->RegisterToAlert(&observer, "ALL", "ALL");
  for (int i = 0; i < 6; ++i) ASSERT_EQ(0, AlertManager_SetBasicAlert(("A" + std::to_string(i)).c_str(), "s", 2));
  Deliver();
  observer.alerts.clear();

  ASSERT_EQ(VM_CFG_OK, s2358(5, 5));
  char key[] = "severity";
  char path[] = "status/alarm/5/severity";
  char* paths[] = {path};
  EXPECT_EQ(0, manager()->HandleChangedAlertConfigPath(4, key));
  EXPECT_EQ(0, manager()->HandleChangedAlertConfigPath(5, key));
  EXPECT_EQ(0, AlertManagerTesting::ChangeAlertFlag(4));
  EXPECT_EQ(0x4, AlertManagerTesting::ChangeAlertFlag(5));
  EXPECT_EQ(0, AlertManager::HandleAlertConfigPathChange(paths, 1));
  ASSERT_EQ(1u, observer.alerts.size());
  EXPECT_EQ(5, observer.alerts[0].m_severity);
  EXPECT_EQ(0, AlertManagerTesting::ChangeAlertFlag(5));
  EXPECT_EQ(5, manager()->GetSystemAlert(5)->m_severity);
  Deliver();  // the same change delivered again finds nothing new
  EXPECT_EQ(1u, observer.alerts.size());

  ASSERT_EQ(VM_CFG_OK, s2358(5, 5));  // the same value
  ASSERT_EQ(VM_CFG_OK, s2354("text", 2));
  ASSERT_EQ(VM_CFG_OK, s2362(2, 2));
  ASSERT_EQ(VM_CFG_OK, s2360("2030-01-01T00:00:00", 2));  // time is not watched
  char description[] = "description";
  char ui[] = "ui_notification";
  manager()->HandleChangedAlertConfigPath(2, description);
  manager()->HandleChangedAlertConfigPath(2, ui);
  EXPECT_EQ(0x40 | 0x200, AlertManagerTesting::ChangeAlertFlag(2));
  Deliver();
  ASSERT_EQ(2u, observer.alerts.size());
  EXPECT_EQ("text", observer.alerts[1].m_description);
}

// Paths of a slot without a name or a source are ignored; once it has both,
// only the paths delivered then are compared: a name delivered alone, then
// the source, marks the source alone.
TEST_F(AlertChanges, PathsOfAnIncompleteSlotAreIgnored) {
  RecordingObserver observer;
  manager()->RegisterToAlert(&observer, "ALL", "ALL");
  LogCapture log;
  ASSERT_EQ(VM_CFG_OK, s2356("New", 4));
  Deliver();
  EXPECT_TRUE(observer.alerts.empty());
  ASSERT_EQ(VM_CFG_OK, s2359("s", 4));
  Deliver();
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "m_ChangeAlertFlag[4] = 2"));
  EXPECT_FALSE(log.Contains(LOG_DEBUG, "m_ChangeAlertFlag[4] = 3"));
  ASSERT_EQ(1u, observer.alerts.size());
  EXPECT_EQ("New", observer.alerts[0].m_name);
}

// After a pass the slot's copy is read from the database again, so what an
// observer wrote meanwhile (the notifier's "card closed") does not come back
// as a change: observers hear of a clear once.
TEST_F(AlertChanges, ClearingAShownAlarmReachesObserversOnce) {
  AlertUINotifier::GetInstance()->Init();
  RecordingObserver observer;
  manager()->RegisterToAlert(&observer, "ALL", "ALL");
  ASSERT_EQ(0, AlertManager_SetAlert("Shown", "s", 3, "d", nullptr, nullptr, nullptr, 0, 0, VM_UI_NOTIFICATION_DEVICE));
  Deliver();
  observer.alerts.clear();
  ASSERT_EQ(0, AlertManager_ClearAlert("Shown", "s"));
  Deliver();
  Deliver();
  ASSERT_EQ(1u, observer.alerts.size());
  EXPECT_EQ(0, observer.alerts[0].m_severity);
  EXPECT_EQ(VM_UI_NOTIFICATION_CLEARED, manager()->GetSystemAlert(0)->m_uiNotification);
}

TEST_F(AlertChanges, PathsThatDoNotNameAWrittenSlotAreIgnored) {
  RecordingObserver observer;
  manager()->RegisterToAlert(&observer, "ALL", "ALL");
  manager()->RegisterToEvent(&observer, "ALL", "ALL");
  ASSERT_EQ(0, AlertManager_SetBasicAlert("A", "s", 2));
  Deliver();
  observer.alerts.clear();
  ASSERT_EQ(VM_CFG_OK, s2358(3, 0));
  ASSERT_EQ(VM_CFG_OK, s2356("OnlyName", 1));  // no source yet
  std::vector<std::string> texts = {"status/alarm/20/severity", "status/alarm/-1/severity",
                                    "status/alarm/99999999999999999999/severity", "status/alarm/x/severity",
                                    "status/alarm/0", "status/alarm/0/", "status/event/0/severity",
                                    "alarm/0/severity", "status/alarm/1/severity", ""};
  std::vector<char*> paths;
  for (std::string& text : texts) paths.push_back(&text[0]);
  paths.push_back(nullptr);
  EXPECT_EQ(0, AlertManager::HandleAlertConfigPathChange(paths.data(), static_cast<int>(paths.size())));
  EXPECT_TRUE(observer.alerts.empty());
  EXPECT_EQ(0, AlertManager::HandleEventConfigPathChange(paths.data(), static_cast<int>(paths.size())));
  EXPECT_TRUE(observer.events.empty());
  char key[] = "severity";
  EXPECT_EQ(-1, manager()->HandleChangedAlertConfigPath(20, key));
  EXPECT_EQ(-1, manager()->HandleChangedEventConfigPath(-1, key));
  char unknown[] = "time";
  EXPECT_EQ(0, manager()->HandleChangedAlertConfigPath(0, unknown));
  EXPECT_EQ(0, AlertManagerTesting::ChangeAlertFlag(0));
}

TEST_F(AlertChanges, OverwrittenEventsAreNotReportedClearedAndEventUiIsReadFromTheAlarmTable) {
  RecordingObserver observer;
  manager()->RegisterToEvent(&observer, "ALL", "ALL");
  for (int i = 0; i < AlertManager::kSlots; ++i) ASSERT_EQ(i, AlertManager_SetBasicEvent("Same", "s", 1));
  Deliver();
  ASSERT_EQ(20u, observer.events.size());
  observer.events.clear();
  LogCapture log;
  ASSERT_EQ(0, AlertManager_SetBasicEvent("Same", "s", 1));  // same name: "-temp" still marks the slot
  Deliver();
  ASSERT_EQ(1u, observer.events.size());
  EXPECT_EQ("Same", observer.events[0].m_name);
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "m_ChangeEventFlag[0] = 1"));

  // The event's ui notification is compared with alarm slot 0's.
  ASSERT_EQ(VM_CFG_OK, s2362(3, 0));
  char key[] = "ui_notification";
  manager()->HandleChangedEventConfigPath(0, key);
  EXPECT_EQ(0x200, AlertManagerTesting::ChangeEventFlag(0));
  manager()->HandleEventsConfigChange();
  EXPECT_EQ(0, AlertManagerTesting::ChangeEventFlag(0));
}

TEST_F(AlertChanges, ConfirmationGoesToTheAlarmOrElseToEveryEventOfThePair) {
  AlertReporter reporter;
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Both", "s", 2));
  ASSERT_EQ(0, AlertManager_SetBasicEvent("Both", "s", 1));
  ASSERT_EQ(1, AlertManager_SetBasicEvent("Ev", "s", 1));
  ASSERT_EQ(2, AlertManager_SetBasicEvent("Ev", "s", 1));
  Deliver();
  EXPECT_EQ(0, reporter.ConfirmationReceived("Both", "s"));
  EXPECT_EQ(1, g675(0));
  EXPECT_EQ(0, g807(0));  // the alarm took it
  EXPECT_EQ(1, manager()->GetSystemAlert(0)->m_confirmationReceived);
  EXPECT_EQ(2, reporter.ConfirmationReceived("Ev", "s"));
  EXPECT_EQ(1, g807(1));
  EXPECT_EQ(1, g807(2));
  EXPECT_EQ(1, manager()->GetSystemEvent(2)->m_confirmationReceived);
  EXPECT_EQ(-1, reporter.ConfirmationReceived("None", "s"));
  EXPECT_EQ(0, reporter.DeleteAlert("Both", "s"));
  EXPECT_EQ(-1, reporter.DeleteAlert("Both", "s"));

  ASSERT_EQ(0, AlertManager_SetAlert("Ui", "s", 2, nullptr, nullptr, nullptr, nullptr, 0, 0, 4));
  EXPECT_EQ(4, manager()->GetUiNotification("Ui", "s"));
  EXPECT_EQ(VM_CFG_OK, manager()->ClearUiNotification("Ui", "s"));
  EXPECT_EQ(1, manager()->GetUiNotification("Ui", "s"));
  EXPECT_EQ(0, manager()->GetUiNotification("None", "s"));
  EXPECT_LT(manager()->ClearUiNotification("None", "s"), 0);
}

TEST_F(AlertChanges, NotificationsAreHeldBackOnTheInputScreenAndDuringSetup) {
  // The default profile: screen "home", wizard "done".
  EXPECT_TRUE(manager()->ShouldDisplayNotifications());
  vmCfgSetParam("status/settings/screen", "ConnectInputDevice");
  EXPECT_FALSE(manager()->ShouldDisplayNotifications());
  vmCfgSetParam("setup_wizard/state", "running");
  vmCfgSetParam("status/settings/screen", "home");
  EXPECT_FALSE(manager()->ShouldDisplayNotifications());
  vmCfgSetParam("setup_wizard/state", "done");
  EXPECT_TRUE(manager()->ShouldDisplayNotifications());
}

TEST_F(AlertChanges, UpdateAllRewritesCardsAndReplaysShownRecordsOnly) {
  RecordingObserver observer;
  manager()->RegisterToAlert(&observer, "ALL", "ALL");
  manager()->RegisterToEvent(&observer, "ALL", "ALL");
  ASSERT_EQ(0, AlertManager_SetAlert("Off", "s", 2, nullptr, nullptr, nullptr, nullptr, 0, 0, 0));
  ASSERT_EQ(0, AlertManager_SetAlert("Closed", "s", 2, nullptr, nullptr, nullptr, nullptr, 0, 0, 1));
  ASSERT_EQ(0, AlertManager_SetAlert("Shown", "s", 2, nullptr, nullptr, nullptr, nullptr, 0, 0, 3));
  ASSERT_EQ(0, AlertManager_SetAlert("Carded", "s", 2, nullptr, nullptr, R"({"channel":"k"})", nullptr, 0, 0, 2));
  ASSERT_EQ(0, AlertManager_SetBasicEvent("Ev0", "s", 1));
  ASSERT_EQ(1, AlertManager_SetEvent("Ev1", "s", 1, nullptr, nullptr, R"({"channel":"e"})", nullptr, 0, 0, 2));
  Deliver();
  observer.alerts.clear();
  observer.events.clear();
  s2355(1, 2);  // acknowledged: rebuilding the table asks again

  vmCfgSetParam("status/settings/screen", "ConnectInputDevice");
  LogCapture log;
  manager()->UpdateAllNotifications();
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "update alarm Carded/s with new delete type true"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "update event Ev1/s with new delete type true"));
  ASSERT_EQ(1u, observer.alerts.size());
  EXPECT_EQ("Shown", observer.alerts[0].m_name);
  EXPECT_TRUE(observer.events.empty());
  EXPECT_EQ(0, g675(2));
  EXPECT_NE(std::string::npos, Param("status/alarm/3/additionalInfo2").find("\"delete\":true"));
  // The event's card lands in the alarm table's slot of the same number.
  EXPECT_NE(std::string::npos, Param("status/alarm/1/additionalInfo2").find("\"channel\":\"e\""));
  EXPECT_NE(std::string::npos, Param("status/event/1/additionalInfo2").find("\"delete\":false"));
}

TEST(AlertObserverBase, UnhandledCallbacksAreLogged) {
  TempDatabase db;
  AlertObserver base;
  SystemAlert record;
  LogCapture log;
  base.AlertCallback(&record);
  base.EventCallback(&record);
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "unhandled AlertCallback"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "unhandled EventCallback"));
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ("AlertManager", log.lines()[0].unit);
}

}  // namespace
