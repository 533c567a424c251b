#include <sstream>

#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, AlarmsAreRaisedAcknowledgedClearedAndDeletedEventsTakeNewSlots) {
  Expect(0, {"alarm", "raise", "LinkDown", "network", "--description", "Link [AI1] down", "--info1", "eth0",
             "--category", "net", "--ui", "0"});
  Expect(0, {"alarm", "raise", "FanSlow", "hw", "--severity", "2", "--ui", "0", "--card", R"({"title": "Fan"})"});
  rapidjson::Document table = Json(Expect(0, {"--json", "alarms"}, "[{slot:int,name:str,source:str,severity:int,"
      "ui:str,confirmed:bool,time:str,category:str,description:str,state:str}]").out);
  ASSERT_EQ(2u, table.Size());
  EXPECT_STREQ("Link eth0 down", table[0]["description"].GetString());
  EXPECT_EQ(3, table[0]["severity"].GetInt());
  EXPECT_EQ(1, table[1]["slot"].GetInt());
  Expect(0, {"alarm", "ack", "LinkDown", "network"});
  EXPECT_TRUE(Json(Run({"--json", "alarms"}).out)[0]["confirmed"].GetBool());
  Expect(0, {"alarm", "clear", "LinkDown", "network"});
  EXPECT_EQ(0, g678(0));
  EXPECT_STREQ("LinkDown", g676(0));  // cleared, not deleted
  EXPECT_EQ(0u, Run({"alarms"}).out.find("SLOT"));
  Expect(0, {"alarm", "delete", "LinkDown", "network"});
  EXPECT_STREQ("", g676(0));
  Expect(1, {"alarm", "delete", "LinkDown", "network"});
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(i, Json(Expect(0, {"--json", "event", "add", "Rebooted", "system", "--ui", "0"}).out)["slot"].GetInt());
  }
  EXPECT_STREQ("whole", Json(Run({"--json", "events"}).out)[1]["state"].GetString());
}

// Slots cut while being written show as such, and the alarm one can be freed.
TEST_F(Dmctl, HalfWrittenSlotsAreShownAndCanBeFreed) {
  ASSERT_EQ(VM_CFG_OK, s2356("CutAlarm", 4));
  ASSERT_EQ(VM_CFG_OK, s2354("left behind", 4));
  ASSERT_EQ(VM_CFG_OK, s2488("CutEvent", 2));
  for (const char* table : {"alarms", "events"}) {
    const rapidjson::Document rows = Json(Expect(0, {"--json", table}).out);
    ASSERT_EQ(1u, rows.Size()) << table;
    EXPECT_STREQ("half-written", rows[0]["state"].GetString()) << table;
    EXPECT_STREQ("", rows[0]["source"].GetString()) << table;
  }
  Expect(0, {"alarm", "delete", "CutAlarm", ""});
  EXPECT_STREQ("", g674(4));
  EXPECT_EQ(0u, Json(Run({"--json", "alarms"}).out).Size());
}

TEST_F(Dmctl, WatchPrintsAlarmsAndTheirCardsFromAnotherProcess) {
  // Both stop once nothing more came for 3 s: a card may show twice (below).
  RunningProgram watch(DMCTL_PATH, {"--json", "watch", "--timeout", "3000"});
  RunningProgram plain(DMCTL_PATH, {"watch", "--timeout", "3000"});
  ASSERT_TRUE(watch.WaitForError("watching"));
  ASSERT_TRUE(plain.WaitForError("watching"));
  Expect(0, {"alarm", "raise", "LinkDown", "network", "--description", "Link [AI1] down", "--info1", "eth0"});
  Expect(0, {"alarm", "clear", "LinkDown", "network"});
  const ProgramResult result = watch.Wait();
  ASSERT_EQ(0, result.status) << testing::PrintToString(result.err);
  // Records and cards written close together may come in one batch, in path order.
  std::vector<std::string> alarms, cards;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    (line.find(R"("kind":"card")") == std::string::npos ? alarms : cards).push_back(line);
  }
  ASSERT_GE(alarms.size(), 2u) << testing::PrintToString(result.out);  // a card read again as the next one is written
  ASSERT_GE(cards.size(), 2u) << testing::PrintToString(result.out);
  EXPECT_EQ("{kind:str,name:str,source:str,severity:int,ui:str,time:str,description:str}", Shape(alarms[0]));
  EXPECT_STREQ("device", Json(alarms[0])["ui"].GetString());
  EXPECT_STREQ("Link eth0 down", Json(alarms[0])["description"].GetString());
  EXPECT_EQ(0, Json(alarms.back())["severity"].GetInt());
  EXPECT_STREQ("command/card", Json(cards[0])["key"].GetString());
  EXPECT_STREQ("LinkDown/network", Json(cards[0])["card"]["channel"].GetString());
  EXPECT_FALSE(Json(cards[0])["card"]["delete"].GetBool());
  EXPECT_TRUE(Json(cards.back())["card"]["delete"].GetBool());  // the clear card
  EXPECT_NE(std::string::npos, plain.Wait().out.find("\ncard command/card {")) << "cards as written, for people";
}

}  // namespace
