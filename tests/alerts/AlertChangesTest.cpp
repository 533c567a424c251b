#include "alerts/AlertReporter.h"
#include "alerts/AlertTestSupport.h"
#include "alerts/AlertUINotifier.h"

namespace {

using AlertChanges = AlertTest;
using Texts = std::vector<std::string>;

TEST_F(AlertChanges, ObserversReceiveWhatTheirFiltersMatchAndATakenSlotsOldAlarmCleared) {
  RecordingObserver onlyX, xFromB;
  Observe();
  ASSERT_EQ(0, manager()->RegisterToAlert(&onlyX, "X", "ALL"));
  ASSERT_EQ(0, manager()->RegisterToAlert(&xFromB, "X", "b"));
  EXPECT_EQ(-1, manager()->RegisterToAlert(&onlyX, "ALL", "ALL"));  // the first filters stay
  EXPECT_TRUE(Logged(LOG_WARNING, "RegisterToAlert", "is already registered"));
  for (const char* pair : {"Xa", "Yb", "Xb"}) AlertManager_SetBasicAlert(std::string(1, pair[0]).c_str(), pair + 1, 1);
  Deliver();
  EXPECT_EQ((Texts{"X/a 1", "Y/b 1", "X/b 1"}), Brief(seen_.alerts));
  EXPECT_EQ((Texts{"X/a 1", "X/b 1"}), Brief(onlyX.alerts));
  EXPECT_EQ((Texts{"X/b 1"}), Brief(xFromB.alerts));
  // Another process writes a different alarm into slot 0.
  ASSERT_EQ(VM_CFG_OK, s2356("Successor", 0) | s2358(4, 0));
  seen_.alerts.clear();
  Deliver();
  EXPECT_EQ((Texts{"X/a 0", "Successor/a 4"}), Brief(seen_.alerts));
  for (int i = 0; i < AlertManager::kSlots; ++i) EXPECT_EQ(0, AlertManagerTesting::AlertFlag(i) | AlertManagerTesting::EventFlag(i));
}

// Each watched field: a value written again sets no bit, a new one its own
// bit. An event's ui notification is compared with the alarm table's.
TEST_F(AlertChanges, EachChangedFieldSetsItsOwnBitAndAnUnchangedValueNone) {
  const char* const fields[][2] = {{"name", "n"}, {"source_component", "o"}, {"severity", "5"}, {"additionalInfo1", "1"},
                                   {"additionalInfo2", "2"}, {"category", "c"}, {"description", "d"}, {"probable_cause", "6"},
                                   {"type", "7"}, {"ui_notification", "remote"}};
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(0, AlertManager_SetAlert("A", std::to_string(i).c_str(), 1, "", "", "", "", 0, 0, 2));
    ASSERT_EQ(i, AlertManager_SetEvent("E", "s", 1, "", "", "", "", 0, 0, 2));
  }
  Deliver();
  for (int i = 0; i < 10; ++i) {
    std::string key = fields[i][0];
    for (int changed = 0; changed < 2; ++changed) {
      EXPECT_EQ(0, manager()->HandleChangedAlertConfigPath(i, &key[0]) | manager()->HandleChangedEventConfigPath(i, &key[0]));
      EXPECT_EQ(changed << i, AlertManagerTesting::AlertFlag(i)) << key;
      EXPECT_EQ(changed << i, AlertManagerTesting::EventFlag(i)) << key;
      const std::string slot = "/" + std::to_string(i) + "/" + key;
      ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(("status/alarm" + slot).c_str(), fields[i][1]) | vmCfgSetParam(("status/" + std::string(i == 9 ? "alarm" : "event") + slot).c_str(), fields[i][1]));
    }
    EXPECT_TRUE(Logged(LOG_DEBUG, "HandleChangedEventConfigPath", "m_ChangeEventFlag[" + std::to_string(i) + "] = " + std::to_string(1 << i)));
  }
  std::string time = "time";  // not watched
  EXPECT_EQ(0, manager()->HandleChangedAlertConfigPath(11, &time[0]) + AlertManagerTesting::AlertFlag(11));
  EXPECT_EQ(-1, manager()->HandleChangedAlertConfigPath(20, &time[0]) & manager()->HandleChangedEventConfigPath(-1, &time[0]));
}

// Paths that do not name a complete slot are ignored; once a slot has a name
// and a source, only the paths delivered then are compared.
TEST_F(AlertChanges, OnlyPathsOfACompleteSlotAreFollowed) {
  Observe();
  ASSERT_EQ(0, AlertManager_SetBasicAlert("A", "s", 2) + AlertManager_SetBasicEvent("E", "s", 2));
  ASSERT_EQ(VM_CFG_OK, s2356("New", 4));  // delivered alone: no source yet
  Deliver();
  ASSERT_EQ(VM_CFG_OK, s2358(3, 0) | s2490(3, 0));
  std::string texts[] = {"status/alarm/20/severity", "status/alarm/-1/severity", "status/alarm/x/severity", "status/alarm/0",
                         "status/alarm/99999999999999999999/severity", "status/alarm/0/", "status/alarm/4/name",
                         "alarm/0/severity", "status/event/20/severity", "status/event/0/", ""};
  std::vector<char*> paths = {nullptr};
  for (std::string& text : texts) paths.push_back(&text[0]);
  EXPECT_EQ(0, AlertManager::HandleAlertConfigPathChange(paths.data(), static_cast<int>(paths.size())));
  EXPECT_EQ(0, AlertManager::HandleEventConfigPathChange(paths.data(), static_cast<int>(paths.size())));
  EXPECT_EQ(2u, seen_.alerts.size() + seen_.events.size());
  ASSERT_EQ(VM_CFG_OK, s2359("s", 4));
  Deliver();
  EXPECT_TRUE(Logged(LOG_DEBUG, "HandleAlertsConfigChange", "m_ChangeAlertFlag[4] = 2"));  // the source alone
  EXPECT_EQ((Texts{"A/s 2", "A/s 3", "New/s 0"}), Brief(seen_.alerts));
  EXPECT_EQ((Texts{"E/s 2", "E/s 3"}), Brief(seen_.events));
}

// After a pass the slot's copy is read again, so what an observer wrote
// meanwhile (the notifier's "card closed") does not come back as a change.
TEST_F(AlertChanges, ClearingAShownAlarmReachesObserversOnceAndOverwrittenEventsNever) {
  AlertUINotifier::GetInstance()->Init();
  Observe();
  ASSERT_EQ(0, AlertManager_SetAlert("Shown", "s", 3, "d", nullptr, nullptr, nullptr, 0, 0, VM_UI_NOTIFICATION_DEVICE));
  for (int i = 0; i < AlertManager::kSlots; ++i) ASSERT_EQ(i, AlertManager_SetBasicEvent("Same", "s", 1));
  Deliver();
  seen_ = RecordingObserver();
  ASSERT_EQ(0, AlertManager_ClearAlert("Shown", "s"));
  ASSERT_EQ(0, AlertManager_SetBasicEvent("Same", "s", 2));  // same name: "-temp" still marks the slot
  Deliver();
  Deliver();
  EXPECT_EQ((Texts{"Shown/s 0"}), Brief(seen_.alerts));
  EXPECT_EQ((Texts{"Same/s 2"}), Brief(seen_.events));
  EXPECT_EQ(VM_UI_NOTIFICATION_CLEARED, manager()->GetSystemAlert(0)->m_uiNotification);
}

TEST_F(AlertChanges, ConfirmationGoesToTheAlarmOrElseToEveryEventOfThePair) {
  AlertReporter reporter;
  ASSERT_EQ(0, AlertManager_SetAlert("Both", "s", 2, nullptr, nullptr, nullptr, nullptr, 0, 0, 4));
  for (const char* name : {"Both", "Ev", "Ev"}) AlertManager_SetBasicEvent(name, "s", 1);
  Deliver();
  EXPECT_EQ((std::vector<int>{0, 2, -1}), (std::vector<int>{reporter.ConfirmationReceived("Both", "s"),
                                                             reporter.ConfirmationReceived("Ev", "s"), reporter.ConfirmationReceived("None", "s")}));
  EXPECT_TRUE(Logged(LOG_DEBUG, "ConfirmationReceived", "Set alarm's Confirmation-Received flag, name: >>Both<<, source: >>s<<, entry: 0"));
  EXPECT_EQ((std::vector<int>{1, 0, 1, 1}), (std::vector<int>{g675(0), g807(0), g807(1), g807(2)}));
  EXPECT_EQ(1, manager()->GetSystemAlert(0)->m_confirmationReceived + manager()->GetSystemEvent(0)->m_confirmationReceived);
  EXPECT_EQ(2, manager()->GetSystemEvent(1)->m_confirmationReceived + manager()->GetSystemEvent(2)->m_confirmationReceived);
  EXPECT_EQ(4, manager()->GetUiNotification("Both", "s"));
  EXPECT_EQ(VM_CFG_OK, manager()->ClearUiNotification("Both", "s"));
  EXPECT_EQ((std::vector<int>{1, 0}), (std::vector<int>{manager()->GetUiNotification("Both", "s"), manager()->GetUiNotification("None", "s")}));
  EXPECT_LT(manager()->ClearUiNotification("None", "s"), 0);
}

// Cards are held back on the input-device screen and while the setup wizard
// runs; a setting that cannot be read (absent) does not hold them back.
TEST_F(AlertChanges, NotificationsAreHeldBackOnTheInputScreenAndDuringSetup) {
  const char* const cases[][3] = {{"home", "done", "shown"},   {"ConnectInputDevice", "done", "held"}, {"home", "running", "held"},
                                  {nullptr, nullptr, "shown"}, {nullptr, "running", "held"},           {nullptr, "done", "shown"},
                                  {"home", nullptr, "shown"},  {"ConnectInputDevice", nullptr, "held"}};
  for (const auto& c : cases) {
    for (const auto& setting : {std::make_pair("status/settings/screen", c[0]), std::make_pair("setup_wizard/state", c[1])}) {
      vmCfgDeleteParam(setting.first);
      ASSERT_TRUE(setting.second == nullptr || vmCfgSetParam(setting.first, setting.second) == VM_CFG_OK);
      ASSERT_EQ(setting.second ? setting.second : "<missing>", Param(setting.first));  // absent: the read fails
    }
    EXPECT_EQ(c[2], std::string(manager()->ShouldDisplayNotifications() ? "shown" : "held")) << (c[0] ? c[0] : "-") << " " << (c[1] ? c[1] : "-");
  }
}

// Rebuilding the tables asks for a new acknowledgement of raised alarms only.
TEST_F(AlertChanges, UpdateAllRewritesCardsAndReplaysShownRecordsOnly) {
  Observe();
  for (int ui : {0, 1, 3}) AlertManager_SetAlert(("U" + std::to_string(ui)).c_str(), "s", 2, nullptr, nullptr, nullptr, nullptr, 0, 0, ui);
  ASSERT_EQ(0, AlertManager_SetAlert("Carded", "s", 2, nullptr, nullptr, R"({"channel":"k"})", nullptr, 0, 0, 2));
  for (int ui : {2, 1}) AlertManager_SetEvent(("E" + std::to_string(ui)).c_str(), "s", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, ui);
  ASSERT_EQ(2, AlertManager_SetEvent("Carded", "s", 1, nullptr, nullptr, R"({"channel":"e"})", nullptr, 0, 0, 2));
  ASSERT_EQ(1, AlertManager_ClearAlert("U1", "s"));
  Deliver();
  seen_ = RecordingObserver();
  ASSERT_EQ(VM_CFG_OK, s2355(1, 1) | s2355(1, 2) | vmCfgSetParam("status/settings/screen", "ConnectInputDevice"));
  manager()->UpdateAllNotifications();
  EXPECT_TRUE(Logged(LOG_DEBUG, "UpdateAllNotifications", "Updating all notifications"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "UpdateAllAlerts", "update alarm Carded/s with new delete type true"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "UpdateAllEvents", "update event Carded/s with new delete type true"));
  EXPECT_EQ((Texts{"U3/s 2"}), Brief(seen_.alerts));
  EXPECT_EQ((Texts{"E2/s 1"}), Brief(seen_.events));
  EXPECT_EQ((std::vector<int>{1, 0}), (std::vector<int>{g675(1), g675(2)}));
  EXPECT_EQ(CardText("k", true), Param("status/alarm/3/additionalInfo2"));
  // The event's card lands in the alarm table's slot of the same number.
  EXPECT_EQ(CardText("e", true) + CardText("e"), Param("status/alarm/2/additionalInfo2") + Param("status/event/2/additionalInfo2"));
}

TEST_F(AlertChanges, UnhandledCallbacksAreLoggedAsTheManager) {
  AlertObserver base;
  base.AlertCallback(&seen_.alerts.emplace_back());
  base.EventCallback(&seen_.alerts.back());
  EXPECT_TRUE(Logged(LOG_DEBUG, "AlertCallback", "unhandled AlertCallback"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "EventCallback", "unhandled EventCallback"));
}

}  // namespace
