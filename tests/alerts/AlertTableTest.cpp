#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/AlertTestSupport.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

// Every case runs with the platform's write batches and as on a platform
// without them: the setter calls, their order and values, are the same.
class AlertTable : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (!GetParam()) setenv("DM_CONFIG_BATCH", "off", 1);
  }
  TempDatabase db_;
  AlertManager* manager() { return AlertManager::GetInstance(); }
};

INSTANTIATE_TEST_SUITE_P(Batches, AlertTable, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) { return info.param ? "Batch" : "NoBatch"; });

const std::vector<std::string> kSetAlertOrder = {
    "name",           "severity",    "time", "additionalInfo1", "additionalInfo2",       "category",
    "description",    "type",        "probable_cause",          "confirmation_received", "ui_notification",
    "source_component"};

TEST_P(AlertTable, SetAlertWritesEveryFieldInOrderAndUpdatesInPlace) {
  Journal journal(db_.path());
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Filler", "net", 1));  // takes slot 0
  const long long mark = journal.LastSeq();
  ASSERT_EQ(0, AlertManager_SetAlert("LinkDown", "net", 3, "Link [AI1] down", "eth0", nullptr, "network", 7, 9, 2));
  EXPECT_EQ(SlotPaths("alarm", 1, kSetAlertOrder), journal.PathsAfter(mark));
  const std::vector<std::pair<std::string, std::string>> stored = {
      {"name", "LinkDown"}, {"source_component", "net"}, {"severity", "3"}, {"description", "Link [AI1] down"},
      {"additionalInfo1", "eth0"}, {"additionalInfo2", ""}, {"category", "network"}, {"type", "7"},
      {"probable_cause", "9"}, {"ui_notification", "device"}, {"confirmation_received", "0"}};
  for (const auto& field : stored) EXPECT_EQ(field.second, Param("status/alarm/1/" + field.first)) << field.first;
  EXPECT_EQ(19u, Param("status/alarm/1/time").size());  // "%Y-%m-%dT%H:%M:%S"
  EXPECT_TRUE(manager()->GetSystemAlert(1)->m_name.empty()) << "memory follows the database on delivery";
  Deliver();
  EXPECT_EQ("LinkDown", manager()->GetSystemAlert(1)->m_name);

  // The same pair again keeps its slot; a new source is a new alarm.
  LogCapture log;
  ASSERT_EQ(0, AlertManager_SetAlert("LinkDown", "net", 4, "Link [AI1] down", "eth1", nullptr, nullptr, 0, 0, 2));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Update alert, name: >>LinkDown<<, source: >>net<< in entry: 1"));
  EXPECT_EQ("4", Param("status/alarm/1/severity"));
  EXPECT_EQ("eth1", Param("status/alarm/1/additionalInfo1"));
  EXPECT_EQ(0, AlertManager_SetBasicAlert("LinkDown", "wifi", 2));
  EXPECT_EQ("wifi", Param("status/alarm/2/source_component"));
  EXPECT_EQ(2, manager()->FindAlertIndex("LinkDown", "wifi"));
  EXPECT_EQ(-1, manager()->FindAlertIndex("linkdown", "wifi"));  // exact, case-sensitive
}

TEST_P(AlertTable, TheTwentyFirstAlarmIsRefusedAndChangesNothing) {
  for (int i = 0; i < AlertManager::kSlots; ++i) {
    ASSERT_EQ(0, AlertManager_SetBasicAlert(("A" + std::to_string(i)).c_str(), "src", 2));
  }
  Journal journal(db_.path());
  const long long mark = journal.LastSeq();
  LogCapture log;
  EXPECT_EQ(-1, AlertManager_SetBasicAlert("A20", "src", 2));
  EXPECT_TRUE(log.Contains(LOG_ALERT, "Alarm list already full!!!"));
  EXPECT_TRUE(journal.PathsAfter(mark).empty());
  EXPECT_EQ(0, AlertManager_SetBasicAlert("A19", "src", 5));  // an update still fits
  EXPECT_EQ("5", Param("status/alarm/19/severity"));
}

TEST_P(AlertTable, NullAndEmptyIdentityIsRefusedWithoutWriting) {
  Journal journal(db_.path());
  manager();
  const long long mark = journal.LastSeq();
  LogCapture log;
  EXPECT_EQ(-1, AlertManager_SetBasicAlert("Name", nullptr, 1));
  EXPECT_EQ(-1, AlertManager_SetBasicAlert(nullptr, "src", 1));
  EXPECT_EQ(-1, AlertManager_SetAlert(nullptr, "src", 1, "d", "a", "b", "c", 0, 0, 2));
  EXPECT_EQ(-1, AlertManager_SetEvent("Name", nullptr, 1, "d", "a", "b", "c", 0, 0, 2));
  EXPECT_EQ(-1, AlertManager_SetBasicEvent(nullptr, nullptr, 1));
  EXPECT_EQ(-1, AlertManager_ClearAlert(nullptr, "src"));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "AlertManager", "AlertManager_ClearAlert",
                         "Null name or source component"));
  EXPECT_EQ(-1, AlertManager_SetBasicAlert("", "src", 1));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Set alert failed, empty name or source component. Name: >><<, Source: >>src<<"));
  EXPECT_EQ(-1, AlertManager_SetBasicEvent("Name", "", 1));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Set event failed, empty name or source component. Name: >>Name<<, Source: >><<"));
  // A ui notification the table cannot hold is refused before any write.
  EXPECT_EQ(-1, AlertManager_SetAlert("Name", "src", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, 5));
  EXPECT_EQ(-1, AlertManager_SetEvent("Name", "src", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, -1));
  EXPECT_TRUE(journal.PathsAfter(mark).empty());
}

TEST_P(AlertTable, ClearKeepsTheAlarmAndDeleteFreesItNameLast) {
  ASSERT_EQ(0, AlertManager_SetAlert("Overheat", "fan", 3, "Temp [AI1]", "90", "{}", "hw", 1, 2, 2));
  Deliver();
  Journal journal(db_.path());
  long long mark = journal.LastSeq();
  EXPECT_EQ(0, AlertManager_ClearAlert("Overheat", "fan"));
  EXPECT_EQ(SlotPaths("alarm", 0, {"confirmation_received", "time", "severity"}), journal.PathsAfter(mark));
  EXPECT_EQ("0", Param("status/alarm/0/severity"));
  EXPECT_EQ("Temp [AI1]", Param("status/alarm/0/description"));
  Deliver();
  const std::vector<SystemAlert> active = manager()->GetActiveAlerts();
  ASSERT_EQ(1u, active.size());  // cleared but not deleted
  EXPECT_EQ(0, active[0].m_severity);
  EXPECT_EQ("Overheat", active[0].m_name);

  EXPECT_EQ(-1, AlertManager_ClearAlert("Overheat", "other"));
  EXPECT_EQ(-1, manager()->DeleteAlert("Unknown", "fan"));
  mark = journal.LastSeq();
  EXPECT_EQ(0, manager()->DeleteAlert("Overheat", "fan"));
  EXPECT_EQ(SlotPaths("alarm", 0,
                      {"additionalInfo1", "additionalInfo2", "category", "description", "time", "type",
                       "probable_cause", "severity", "confirmation_received", "ui_notification", "source_component",
                       "name"}),
            journal.PathsAfter(mark));
  EXPECT_EQ("", Param("status/alarm/0/name"));
  EXPECT_EQ("disabled", Param("status/alarm/0/ui_notification"));
  EXPECT_EQ(0, manager()->FindEmptyAlertEntry());
  // Changes of a slot without a name are not delivered, so the memory copy
  // keeps the deleted alarm until the table is rebuilt.
  Deliver();
  EXPECT_EQ(1u, manager()->GetActiveAlerts().size());
  manager()->UpdateAllNotifications();
  EXPECT_TRUE(manager()->GetActiveAlerts().empty());
}

TEST_P(AlertTable, EventsTakeNewSlotsAndTheTwentyFirstOverwritesTheOldest) {
  Journal journal(db_.path());
  manager();
  long long mark = journal.LastSeq();
  EXPECT_EQ(0, AlertManager_SetEvent("Boot", "sys", 1, "d", "a", nullptr, "c", 0, 0, 0));
  EXPECT_EQ(SlotPaths("event", 0,
                      {"name", "severity", "additionalInfo1", "additionalInfo2", "category", "description", "time",
                       "type", "probable_cause", "confirmation_received", "ui_notification", "source_component"}),
            journal.PathsAfter(mark));
  for (int i = 1; i < AlertManager::kSlots; ++i) ASSERT_EQ(i, AlertManager_SetBasicEvent("Boot", "sys", 1));
  Deliver();
  EXPECT_EQ(20u, manager()->GetEventHistory().size());

  // Slot 7 holds the smallest time: it is the one overwritten.
  ASSERT_EQ(VM_CFG_OK, s2492("2001-01-01T00:00:00", 7));
  Deliver();
  LogCapture log;
  mark = journal.LastSeq();
  EXPECT_EQ(7, AlertManager_SetBasicEvent("Boot", "sys", 2));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Find oldest entry in: 7"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "System Event 7 changed to: Boot-temp"));
  const std::vector<std::string> written = journal.PathsAfter(mark);
  ASSERT_EQ(13u, written.size());
  EXPECT_EQ("status/event/7/name", written[0]);  // emptied before the new event is written
  EXPECT_EQ("Boot-temp", manager()->GetSystemEvent(7)->m_name);
  EXPECT_EQ("2", Param("status/event/7/severity"));

  // With every time equal the first taken slot goes.
  for (int i = 0; i < AlertManager::kSlots; ++i) ASSERT_EQ(VM_CFG_OK, s2492("2020-05-05T05:05:05", i));
  EXPECT_EQ(0, AlertManager_SetBasicEvent("Other", "sys", 1));
  EXPECT_EQ("Other", Param("status/event/0/name"));
}

TEST_P(AlertTable, DeleteEventFreesEverySlotOfThePair) {
  ASSERT_EQ(0, AlertManager_SetBasicEvent("Sync", "ems", 1));
  ASSERT_EQ(1, AlertManager_SetBasicEvent("Keep", "ems", 1));
  ASSERT_EQ(2, AlertManager_SetBasicEvent("Sync", "ems", 1));
  ASSERT_EQ(3, AlertManager_SetBasicEvent("Sync", "ems", 1));
  EXPECT_EQ((std::vector<int>{0, 2, 3}), manager()->FindEventIndices("Sync", "ems"));
  EXPECT_EQ(3, manager()->DeleteEvent("Sync", "ems"));
  EXPECT_EQ(-1, manager()->DeleteEvent("Sync", "ems"));
  for (int slot : {0, 2, 3}) EXPECT_EQ("", Param("status/event/" + std::to_string(slot) + "/name"));
  EXPECT_EQ("Keep", Param("status/event/1/name"));
  EXPECT_EQ(0, manager()->FindEmptyEventEntry());
  // Slots after the first taken one compare whatever their names: the
  // emptied slot 2 has the smallest (empty) time.
  EXPECT_EQ(2, manager()->FindOldestEventEntry());
  manager()->DeleteEvent("Keep", "ems");
  LogCapture log;
  EXPECT_EQ(-1, manager()->FindOldestEventEntry());
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Event list is empty"));
}

TEST(AlertTableStartUp, RaisedAlarmsLoseTheirAcknowledgementClearedOnesKeepIt) {
  TempDatabase db;
  for (int slot : {0, 4}) {
    ASSERT_EQ(VM_CFG_OK, s2356(slot == 0 ? "Raised" : "Cleared", slot));
    ASSERT_EQ(VM_CFG_OK, s2359("src", slot));
    ASSERT_EQ(VM_CFG_OK, s2355(1, slot));
  }
  ASSERT_EQ(VM_CFG_OK, s2358(2, 0));
  ASSERT_EQ(VM_CFG_OK, s2358(0, 4));
  AlertManager* manager = AlertManager::GetInstance();
  EXPECT_EQ(0, g675(0));
  EXPECT_EQ(1, g675(4));
  EXPECT_EQ("Raised", manager->GetSystemAlert(0)->m_name);
  EXPECT_EQ(1, manager->GetSystemAlert(4)->m_confirmationReceived);
  for (int i = 0; i < AlertManager::kSlots; ++i) EXPECT_NE(nullptr, manager->GetSystemAlert(i));
  EXPECT_EQ(nullptr, manager->GetSystemAlert(20));
  EXPECT_EQ(-1, manager->InitAlertManager(nullptr));
  EXPECT_EQ(-1, manager->CopyAlertElementFromCfg(nullptr, 0));
  EXPECT_EQ(-1, manager->UpdateEventElement(-1));
}

TEST_P(AlertTable, UiAlertsCountWhenRaisedAndShownOrMarked) {
  EXPECT_FALSE(manager()->IsAnyUIAlertExist());
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Quiet", "src", 2));  // ui 0
  EXPECT_FALSE(manager()->IsAnyUIAlertExist());
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Panel RC-KMQ lost", "src", 2));
  EXPECT_TRUE(manager()->IsAnyUIAlertExist());
  ASSERT_EQ(1, manager()->ClearAlert("Panel RC-KMQ lost", "src"));
  EXPECT_FALSE(manager()->IsAnyUIAlertExist());
  ASSERT_EQ(0, AlertManager_SetAlert("Shown", "src", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, 1));
  EXPECT_TRUE(manager()->IsAnyUIAlertExist());
}

TEST(AlertDescription, PlaceholdersAreFilledFromCommaSeparatedValues) {
  EXPECT_EQ("3 of 3 on eth0", AlertManager::BuildAlertDescription("[AI1] of [AI1] on [AI2]", "3,eth0"));
  EXPECT_EQ("[AI1] of [AI2]", AlertManager::BuildAlertDescription("[AI1] of [AI2]", ""));
  EXPECT_EQ("3x[AI4]", AlertManager::BuildAlertDescription("[AI1][AI2][AI3][AI4]", "3,,x"));
  EXPECT_EQ("-b-[AI3]", AlertManager::BuildAlertDescription("[AI1]-[AI2]-[AI3]", ",b,"));  // no trailing empty token
  EXPECT_EQ("[AI3]  ", AlertManager::BuildAlertDescription("[AI3] [AI1]", " "));  // no trimming
  EXPECT_EQ("ten: J", AlertManager::BuildAlertDescription("ten: [AI10]", "a,b,c,d,e,f,g,h,i,J"));
  // A replacement that forms the placeholder with the text around it is
  // replaced as well, as a search from the start would find it.
  EXPECT_EQ("1]", AlertManager::BuildAlertDescription("[AI[AI1]", "1]"));
}

TEST(AlertDescription, AValueHoldingItsOwnPlaceholderIsInsertedOnce) {
  LogCapture log;
  EXPECT_EQ("<[AI1]> and <[AI1]>", AlertManager::BuildAlertDescription("[AI1] and [AI1]", "<[AI1]>"));
  EXPECT_EQ("x[AI2]x [AI1]", AlertManager::BuildAlertDescription("[AI2] [AI1]", "[AI1],x[AI2]x"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "filledDescription: x[AI2]x [AI1]"));
}

// Found by fuzzing: this value forms its placeholder again with the text
// on both sides, so every replacement makes another one.
TEST(AlertDescription, AValueThatRebuildsItsPlaceholderStopsAtTheBound) {
  LogCapture log;
  const std::string filled = AlertManager::BuildAlertDescription("[[AI1]]", "AI1]][[AI1");
  EXPECT_LE(filled.size(), 16u * 1024u);
  EXPECT_GT(filled.size(), 1024u);  // it was filled, as far as the bound
  EXPECT_TRUE(log.Contains(LOG_ERR, "Placeholder [AI1] keeps reappearing"));
  // The next token is still not reached, but ordinary text fills as before.
  EXPECT_EQ("up", AlertManager::BuildAlertDescription("[AI1]", "up"));
}

TEST_P(AlertTable, ACardInAdditionalInfoIsMarkedForDeletionWhileNotificationsAreHeldBack) {
  const std::string card = R"({"channel":"c","delete":false,"onOff":true})";
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("setup_wizard/state", "running"));
  ASSERT_EQ(0, AlertManager_SetAlert("Setup", "wiz", 2, nullptr, nullptr, card.c_str(), nullptr, 0, 0, 2));
  const std::string stored = Param("status/alarm/0/additionalInfo2");
  EXPECT_NE(std::string::npos, stored.find("\"delete\":true")) << stored;
  EXPECT_NE(std::string::npos, stored.find("\"channel\":\"c\"")) << stored;

  SystemAlert record;
  record.m_additionalInfo2 = card;
  record.m_severity = 0;  // a cleared record is left alone
  EXPECT_EQ(0, manager()->UpdateCardDelete(&record));
  EXPECT_EQ(card, record.m_additionalInfo2);
  record.m_severity = 1;
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("setup_wizard/state", "done"));
  EXPECT_NE(0, manager()->UpdateCardDelete(&record));
  EXPECT_NE(std::string::npos, record.m_additionalInfo2.find("\"delete\":false"));
}

TEST_P(AlertTable, ACardThatDoesNotParseOrFitIsKeptAsGiven) {
  LogCapture log;
  ASSERT_EQ(0, AlertManager_SetAlert("Bad", "src", 2, nullptr, nullptr, "not json", nullptr, 0, 0, 2));
  EXPECT_TRUE(log.Contains(LOG_ERR, "uJson::DeSerializer failed"));
  EXPECT_EQ("not json", Param("status/alarm/0/additionalInfo2"));

  const std::string big = R"({"content":{"text":")" + std::string(2100, 'x') + R"("}})";
  SystemAlert record;
  record.m_additionalInfo2 = big;
  record.m_severity = 3;
  EXPECT_EQ(0, manager()->UpdateCardDelete(&record));
  EXPECT_TRUE(log.Contains(LOG_ERR, "uJson::Serializer failed to serialize card"));
  EXPECT_EQ(big, record.m_additionalInfo2);
}

TEST_P(AlertTable, ALockedDatabaseFailsTheCallAndLeavesTheTableAsItWas) {
  setenv("VM_CFG_BUSY_TIMEOUT_MS", "50", 1);
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Kept", "src", 3));
  sqlite3* other = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(db_.path().c_str(), &other));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
  LogCapture log;
  EXPECT_EQ(-1, AlertManager_SetBasicAlert("New", "src", 3));
  EXPECT_TRUE(log.Contains(LOG_ERR, GetParam() ? "Cannot start a write batch" : "Failed to write alarm entry 1 (write 1 of 12"));
  EXPECT_EQ(-1, AlertManager_ClearAlert("Kept", "src"));
  EXPECT_EQ(-1, AlertManager_SetBasicEvent("Ev", "src", 1));
  EXPECT_EQ(-1, manager()->DeleteAlert("Kept", "src"));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr));
  sqlite3_close(other);
  EXPECT_EQ("", Param("status/alarm/1/name"));
  EXPECT_EQ("3", Param("status/alarm/0/severity"));
  EXPECT_EQ("Kept", Param("status/alarm/0/name"));
  EXPECT_EQ("", Param("status/event/0/name"));
}

}  // namespace
