#include <cstdlib>

#include "alerts/AlertTestSupport.h"

namespace {

using AlertTable = AlertTest;

TEST_F(AlertTable, SetAlertWritesEveryFieldInOrderUpdatesInPlaceAndRefusesATwentyFirst) {
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Filler", "net", 1));  // takes slot 0
  Written();
  ASSERT_EQ(0, AlertManager_SetAlert("LinkDown", "net", 3, "Link [AI1] down", "eth0", nullptr, "network", 7, 9, 2));
  EXPECT_TRUE(Logged(LOG_DEBUG, "SetAlert", "Set alert, name: >>LinkDown<<, source: >>net<< to entry: 1"));
  EXPECT_EQ(" name severity time additionalInfo1 additionalInfo2 category description type probable_cause "
            "confirmation_received ui_notification source_component", Written());
  EXPECT_EQ("LinkDown|net|3|Link [AI1] down|eth0||network|7|9|0|device", Slot("alarm", 1));
  EXPECT_EQ(19u, Param("status/alarm/1/time").size());
  // The same pair again keeps its slot; a new source is a new alarm, up to twenty.
  ASSERT_EQ(0, Alarm("LinkDown", "net", 4, 2, nullptr, "up"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "SetAlert", "Update alert, name: >>LinkDown<<, source: >>net<< in entry: 1"));
  EXPECT_EQ("LinkDown|net|4|up||||0|0|0|device", Slot("alarm", 1));
  for (int i = 2; i < AlertManager::kSlots; ++i) ASSERT_EQ(0, Alarm("LinkDown", std::to_string(i).c_str(), 2, 0));
  EXPECT_EQ(-1, AlertManager_SetBasicAlert("LinkDown", "20", 2));
  EXPECT_TRUE(Logged(LOG_ALERT, "SetAlert", "Alarm list already full!!!"));
  EXPECT_EQ(0, AlertManager_SetBasicAlert("LinkDown", "19", 5));  // an update still fits
  EXPECT_EQ("5", Param("status/alarm/19/severity"));
}

TEST_F(AlertTable, MissingIdentityOrAnUnknownUiModeIsRefusedWithoutWriting) {
  Written();
  const struct {
    int result;
    const char *function, *text;
  } refused[] = {
      {Alarm(nullptr, "s", 1, 2) & Event("N", nullptr, 1, 2) & AlertManager_SetBasicAlert("N", nullptr, 1) &
           AlertManager_ClearAlert(nullptr, "s"),
       "AlertManager_ClearAlert", "Null name or source component"},
      {AlertManager_SetBasicAlert("", "s", 1), "SetAlert", "Set alert failed, empty name or source component"},
      {AlertManager_SetBasicEvent("N", "", 1), "SetEvent", "Set event failed, empty name or source component"},
      {Alarm("N", "s", 1, 5), "SetAlert", "Set alert failed, ui notification 5 is not 0-4. Name: >>N<<"},
      {Event("N", "s", 1, -1), "SetEvent", "Set event failed, ui notification -1 is not 0-4. Name: >>N<<"}};
  for (const auto& call : refused) EXPECT_TRUE(call.result == -1 && Logged(LOG_ERR, call.function, call.text));
  EXPECT_EQ("", Written());
}

TEST_F(AlertTable, ClearKeepsTheAlarmAndDeleteFreesItNameLast) {
  ASSERT_EQ(0, AlertManager_SetAlert("Overheat", "fan", 3, "Temp [AI1]", "90", "{}", "hw", 1, 2, 0));
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Panel RC-KMQ lost", "src", 2));  // the mark counts as shown
  EXPECT_TRUE(manager()->IsAnyUIAlertExist());
  Written();
  EXPECT_EQ(1, AlertManager_ClearAlert("Panel RC-KMQ lost", "src"));
  EXPECT_TRUE(
      Logged(LOG_DEBUG, "ClearAlert", "Clear alarm, name: >>Panel RC-KMQ lost<<, source: >>src<< from entry: 1"));
  EXPECT_EQ(" confirmation_received time severity", Written());
  EXPECT_FALSE(manager()->IsAnyUIAlertExist());  // Overheat shows no card
  EXPECT_EQ(-1, AlertManager_ClearAlert("Overheat", "other") & manager()->DeleteAlert("Unknown", "fan"));
  EXPECT_EQ(0, manager()->DeleteAlert("Overheat", "fan"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "DeleteAlert", "Delete alarm, name: >>Overheat<<, source: >>fan<< from entry: 0"));
  EXPECT_EQ(" additionalInfo1 additionalInfo2 category description time type probable_cause severity "
            "confirmation_received ui_notification source_component name", Written());
  EXPECT_EQ("||0|||||0|0|0|disabled", Slot("alarm", 0));
  EXPECT_EQ(-1, manager()->InitAlertManager(nullptr));
  EXPECT_EQ(0, manager()->InitAlertManager(ConfigManager::Instance()));
}

TEST_F(AlertTable, EventsTakeNewSlotsTheTwentyFirstOverwritesTheOldestAndDeleteFreesThePair) {
  Written();
  EXPECT_EQ(0, AlertManager_SetEvent("Boot", "s", 1, "d", "a", nullptr, "c", 0, 0, 4));
  EXPECT_EQ(" name severity additionalInfo1 additionalInfo2 category description time type probable_cause "
            "confirmation_received ui_notification source_component", Written());
  EXPECT_EQ("Boot|s|1|d|a||c|0|0|0|device_and_remote", Slot("event", 0));
  for (int i = 1; i < AlertManager::kSlots; ++i) {
    ASSERT_EQ(i, AlertManager_SetBasicEvent(i % 2 ? "Boot" : "Keep", "s", 1));
  }
  // Slot 7 holds the smallest time: it is the one overwritten, its name emptied first.
  ASSERT_EQ(VM_CFG_OK, s2492("2001-01-01T00:00:00", 7));
  Written();
  EXPECT_EQ(7, AlertManager_SetBasicEvent("Boot", "s", 2));
  EXPECT_EQ(" name name severity additionalInfo1 additionalInfo2 category description time type probable_cause "
            "confirmation_received ui_notification source_component", Written());
  EXPECT_EQ(19, manager()->DeleteEvent("Boot", "s"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "DeleteEvent", "Delete event, name: >>Boot<<, source: >>s<< from entry: 17"));
  EXPECT_EQ(Texts({"||0|||||0|0|0|disabled", "Keep"}), Texts({Slot("event", 19), Param("status/event/18/name")}));
  EXPECT_EQ(18, manager()->DeleteEvent("Keep", "s"));
  EXPECT_EQ(-1, manager()->DeleteEvent("Keep", "s"));
}

// A replacement that forms the placeholder with the text around it is
// replaced as well; a value holding its own placeholder is inserted once.
TEST(AlertDescription, PlaceholdersAreFilledFromCommaSeparatedValues) {
  const char* const cases[][3] = {{"[AI1] of [AI1] on [AI2]", "3,eth0", "3 of 3 on eth0"}, {"[AI1]", "", "[AI1]"},
                                  {"[AI1]-[AI2]-[AI3]", ",b,", "-b-[AI3]"}, {"abcde[AI[AI1]", "1]", "abcde1]"},
                                  {"[AI1][AI10]", " ,2,3,4,5,6,7,8,9,J", " J"},
                                  {"[AI2] [AI1]", "[AI1],x[AI2]x", "x[AI2]x [AI1]"}};
  for (const auto& c : cases) EXPECT_EQ(c[2], AlertManager::BuildAlertDescription(c[0], c[1])) << c[0];
  // Found by fuzzing: this value forms its placeholder again with the text
  // on both sides, so every replacement makes another one.
  LogCapture log;
  const size_t filled = AlertManager::BuildAlertDescription("[[AI1]]", "AI1]][[AI1").size();
  const size_t bound = 7 + 10 + 16 * 1024;  // the text, each placeholder in it filled once, 16 KiB more
  EXPECT_TRUE(filled <= bound && filled > bound - 16) << filled;
  EXPECT_EQ(std::string(20000, 'x') + "v", AlertManager::BuildAlertDescription(std::string(20000, 'x') + "[AI1]", "v"));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "AlertManager", "BuildAlertDescription",
                         "Placeholder [AI1] keeps reappearing"));
}

// A card is marked for deletion while notifications are held back; one that
// does not parse, belongs to a cleared record or does not fit 2047 bytes is kept.
TEST_F(AlertTable, ACardIsMarkedForDeletionWhileNotificationsAreHeldBack) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("setup_wizard/state", "running"));
  ASSERT_EQ(0, Alarm("Setup", "wiz", 2, 2, R"({"channel":"c","onOff":true})") + Alarm("Bad", "src", 2, 2, "no json"));
  EXPECT_EQ(CardText("c", true, "", "", "", "", true) + "|no json",
            Param("status/alarm/0/additionalInfo2") + "|" + Param("status/alarm/1/additionalInfo2"));
  EXPECT_TRUE(Logged(LOG_ERR, "UpdateCardDelete", "uJson::DeSerializer failed"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("setup_wizard/state", "done"));
  const size_t room = 2047 - CardText("").size();
  for (const auto& sized : {std::make_pair(1, room), std::make_pair(0, room), std::make_pair(1, room + 1)}) {
    SystemAlert record;
    record.m_severity = sized.first;
    record.m_additionalInfo2 = R"({"content":{"text":")" + std::string(sized.second, 'x') + R"("},"delete":true})";
    const std::string given = record.m_additionalInfo2;
    const bool rewritten = sized.first == 1 && sized.second == room;
    EXPECT_EQ(rewritten ? 1 : 0, manager()->UpdateCardDelete(&record));
    EXPECT_EQ(rewritten ? CardText("", false, std::string(room, 'x')) : given, record.m_additionalInfo2);
  }
  EXPECT_TRUE(Logged(LOG_ERR, "UpdateCardDelete", "uJson::Serializer failed to serialize card"));
}

// Another connection holds the write lock: every write fails after the busy
// timeout, set before the first database use.
TEST_F(AlertTable, ALockedDatabaseFailsTheCallAndLeavesTheTableAsItWas) {
  setenv("VM_CFG_BUSY_TIMEOUT_MS", "50", 1);
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Kept", "src", 3) + AlertManager_SetBasicEvent("Old", "src", 1));
  const std::string tables = Slot("alarm", 0) + Slot("event", 0);
  sqlite3* other = nullptr;
  sqlite3_open(db_.path().c_str(), &other);
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
  EXPECT_EQ(-1, AlertManager_SetBasicAlert("New", "src", 3));
  EXPECT_TRUE(Logged(LOG_ERR, "SetAlert", "Cannot start a write batch"));
  EXPECT_EQ(std::vector<int>(6, -1),
            (std::vector<int>{AlertManager_ClearAlert("Kept", "src"), AlertManager_SetBasicEvent("Ev", "src", 1),
                              manager()->DeleteAlert("Kept", "src"), manager()->DeleteEvent("Old", "src"),
                              manager()->ConfirmationReceived("Kept", "src"),
                              manager()->ConfirmationReceived("Old", "src")}));
  sqlite3_close(other);
  EXPECT_EQ(tables + "|", Slot("alarm", 0) + Slot("event", 0) + "|" + Param("status/alarm/1/name"));
}

}  // namespace
