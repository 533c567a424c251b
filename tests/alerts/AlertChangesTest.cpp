#include "alerts/AlertReporter.h"
#include "alerts/AlertTestSupport.h"
#include "alerts/AlertUINotifier.h"

namespace {

using AlertChanges = AlertTest;

TEST_F(AlertChanges, ObserversReceiveWhatTheirFiltersMatchAndATakenSlotsOldAlarmCleared) {
  RecordingObserver onlyX, xFromB;
  Observe();
  ASSERT_EQ(0, manager()->RegisterToAlert(&onlyX, "X", "ALL") + manager()->RegisterToAlert(&xFromB, "X", "b"));
  EXPECT_EQ(-1, manager()->RegisterToAlert(&onlyX, "ALL", "ALL"));  // the first filters stay
  EXPECT_TRUE(Logged(LOG_WARNING, "RegisterToAlert", "is already registered"));
  for (const char* pair : {"Xa", "Yb", "Xb"}) AlertManager_SetBasicAlert(std::string(1, pair[0]).c_str(), pair + 1, 1);
  Deliver();
  EXPECT_EQ(Texts({"X/a 1", "X/b 1"}), onlyX.alerts);
  EXPECT_EQ(Texts({"X/b 1"}), xFromB.alerts);
  // Another process writes a different alarm into slot 0.
  ASSERT_EQ(VM_CFG_OK, s2356("Successor", 0) | s2358(4, 0));
  Deliver();
  EXPECT_EQ(Texts({"X/a 1", "Y/b 1", "X/b 1", "X/a 0", "Successor/a 4"}), seen_.alerts);
  // The event twin's line names only the observer.
  ASSERT_EQ(0, AlertManager_SetBasicEvent("E", "s", 1));
  Deliver();
  char expected[32];
  std::snprintf(expected, sizeof expected, "reporter = %p", static_cast<void*>(&seen_));
  const CapturedLine* line = log_.Find(LOG_DEBUG, "reporter = ");
  EXPECT_EQ(expected, line != nullptr ? line->text : "<none>");
}

// Each watched field: a value written again reports nothing, a new one a
// change (a new name or source also the old pair's clearing). An event's ui
// notification is compared with the alarm table's, so only the alarm's is.
TEST_F(AlertChanges, AChangedFieldIsReportedAndAValueWrittenAgainIsNot) {
  const char* const fields[][2] = {{"name", "n"},          {"source_component", "o"}, {"severity", "5"},
                                   {"additionalInfo1", "1"}, {"additionalInfo2", "2"},  {"category", "c"},
                                   {"description", "d"},   {"probable_cause", "6"},   {"type", "7"},
                                   {"ui_notification", "remote"}};
  ASSERT_EQ(0, Alarm("A", "s", 1, 2) + Event("E", "s", 1, 2));
  Deliver();
  Observe();
  for (const auto& field : fields) {
    for (const std::string table : {"status/alarm/0/", "status/event/0/"}) {
      if (table[7] == 'e' && field[1] == fields[9][1]) continue;
      for (const std::string& value : {Param(table + field[0]), std::string(field[1])}) {
        seen_ = RecordingObserver();
        ASSERT_EQ(VM_CFG_OK, vmCfgSetParam((table + field[0]).c_str(), value.c_str()));
        Deliver();
        EXPECT_EQ(value == field[1], seen_.alerts.size() + seen_.events.size() > 0) << table << field[0] << value;
      }
    }
  }
  EXPECT_TRUE(Logged(LOG_DEBUG, "HandleAlertsConfigChange", "m_ChangeAlertFlag[0] = 512"));
}

// Paths that do not name a complete slot are ignored; once a slot has a name
// and a source, only the paths delivered then are compared.
TEST_F(AlertChanges, OnlyPathsOfACompleteSlotAreFollowed) {
  Observe();
  ASSERT_EQ(0, AlertManager_SetBasicAlert("A", "s", 2) + AlertManager_SetBasicEvent("E", "s", 2));
  ASSERT_EQ(VM_CFG_OK, s2356("New", 4));  // delivered alone: no source yet
  Deliver();
  ASSERT_EQ(VM_CFG_OK, s2358(3, 0) | s2490(3, 0));
  std::string texts[] = {"status/alarm/20/severity", "status/alarm/-1/severity", "status/alarm/x/severity",
                         "status/alarm/99999999999999999999/severity", "status/alarm/0", "status/alarm/0/",
                         "status/alarm/4/name", "alarm/0/severity", "status/event/20/severity", "status/event/0/", ""};
  std::vector<char*> paths = {nullptr};
  for (std::string& text : texts) paths.push_back(&text[0]);
  EXPECT_EQ(0, AlertManager::HandleAlertConfigPathChange(paths.data(), static_cast<int>(paths.size())));
  EXPECT_EQ(0, AlertManager::HandleEventConfigPathChange(paths.data(), static_cast<int>(paths.size())));
  ASSERT_EQ(VM_CFG_OK, s2359("s", 4));
  Deliver();
  EXPECT_TRUE(Logged(LOG_DEBUG, "HandleAlertsConfigChange", "m_ChangeAlertFlag[4] = 2"));  // the source alone
  EXPECT_EQ(Texts({"A/s 2", "A/s 3", "New/s 0"}), seen_.alerts);
  EXPECT_EQ(Texts({"E/s 2", "E/s 3"}), seen_.events);
}

// After a pass the slot's copy is read again, so what an observer wrote
// meanwhile (the notifier's "card closed") does not come back as a change.
TEST_F(AlertChanges, ClearingAShownAlarmReachesObserversOnceAndOverwrittenEventsNever) {
  AlertUINotifier::GetInstance()->Init();
  Observe();
  ASSERT_EQ(0, Alarm("Shown", "s", 3, VM_UI_NOTIFICATION_DEVICE));
  for (int i = 0; i < AlertManager::kSlots; ++i) ASSERT_EQ(i, AlertManager_SetBasicEvent("Same", "s", 1));
  Deliver();
  seen_ = RecordingObserver();
  ASSERT_EQ(0, AlertManager_ClearAlert("Shown", "s"));
  ASSERT_EQ(0, AlertManager_SetBasicEvent("Same", "s", 2));  // same name: "-temp" still marks the slot
  Deliver();
  Deliver();
  EXPECT_EQ(Texts({"Shown/s 0"}), seen_.alerts);
  EXPECT_EQ(Texts({"Same/s 2"}), seen_.events);
  EXPECT_EQ(VM_UI_NOTIFICATION_CLEARED, manager()->GetSystemAlert(0)->m_uiNotification);
}

TEST_F(AlertChanges, ConfirmationGoesToTheAlarmOrElseToEveryEventOfThePair) {
  AlertReporter reporter;
  ASSERT_EQ(0, Alarm("Both", "s", 2, 4));
  for (const char* name : {"Both", "Ev", "Ev"}) AlertManager_SetBasicEvent(name, "s", 1);
  Deliver();
  EXPECT_EQ(std::vector<int>({0, 2, -1}), std::vector<int>({reporter.ConfirmationReceived("Both", "s"),
                                                            reporter.ConfirmationReceived("Ev", "s"),
                                                            reporter.ConfirmationReceived("None", "s")}));
  EXPECT_TRUE(Logged(LOG_DEBUG, "ConfirmationReceived", "Set alarm's Confirmation-Received flag, name: >>Both<<"));
  EXPECT_EQ(std::vector<int>({1, 0, 1, 1}), std::vector<int>({g675(0), g807(0), g807(1), g807(2)}));
  EXPECT_EQ(VM_CFG_OK, manager()->ClearUiNotification("Both", "s"));
  EXPECT_EQ(1, manager()->GetUiNotification("Both", "s"));
}

// Cards are held back on the input-device screen and while the setup wizard
// runs; a setting that cannot be read (absent) does not hold them back.
TEST_F(AlertChanges, NotificationsAreHeldBackOnTheInputScreenAndDuringSetup) {
  using Setting = std::pair<const char*, const char*>;
  const char* const cases[][3] = {{"home", "done", "shown"},   {"ConnectInputDevice", "done", "held"},
                                  {"home", "running", "held"}, {nullptr, nullptr, "shown"},
                                  {nullptr, "running", "held"}, {nullptr, "done", "shown"},
                                  {"home", nullptr, "shown"},  {"ConnectInputDevice", nullptr, "held"}};
  for (const auto& c : cases) {
    for (const auto& setting : {Setting{"status/settings/screen", c[0]}, Setting{"setup_wizard/state", c[1]}}) {
      vmCfgDeleteParam(setting.first);
      ASSERT_TRUE(setting.second == nullptr || vmCfgSetParam(setting.first, setting.second) == VM_CFG_OK);
    }
    EXPECT_EQ(c[2], std::string(manager()->ShouldDisplayNotifications() ? "shown" : "held")) << c[0] << " " << c[1];
  }
}

// Rebuilding the tables asks for a new acknowledgement of raised alarms only.
TEST_F(AlertChanges, UpdateAllRewritesCardsAndReplaysShownRecordsOnly) {
  for (int ui : {0, 1, 3}) Alarm(("U" + std::to_string(ui)).c_str(), "s", 2, ui);
  ASSERT_EQ(0, Alarm("Carded", "s", 2, 2, R"({"channel":"k"})"));
  ASSERT_EQ(std::vector<int>({0, 1, 2}), std::vector<int>({Event("E2", "s", 1, 2), Event("E1", "s", 1, 1),
                                                           Event("Carded", "s", 1, 2, R"({"channel":"e"})")}));
  ASSERT_EQ(1, AlertManager_ClearAlert("U1", "s"));
  Deliver();
  Observe();
  ASSERT_EQ(VM_CFG_OK, s2355(1, 1) | s2355(1, 2) | vmCfgSetParam("status/settings/screen", "ConnectInputDevice"));
  manager()->UpdateAllNotifications();
  EXPECT_TRUE(Logged(LOG_DEBUG, "UpdateAllAlerts", "update alarm Carded/s with new delete type true"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "UpdateAllEvents", "update event Carded/s with new delete type true"));
  EXPECT_EQ(Texts({"U3/s 2"}), seen_.alerts);
  EXPECT_EQ(Texts({"E2/s 1"}), seen_.events);
  EXPECT_EQ(std::vector<int>({1, 0}), std::vector<int>({g675(1), g675(2)}));
  EXPECT_EQ(CardText("k", true), Param("status/alarm/3/additionalInfo2"));
  // The event's card lands in the alarm table's slot of the same number.
  EXPECT_EQ(CardText("e", true), Param("status/alarm/2/additionalInfo2"));
  EXPECT_EQ(CardText("e"), Param("status/event/2/additionalInfo2"));
}

}  // namespace
