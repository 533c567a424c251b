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
  Expect(0, {"alarm", "ack", "LinkDown", "network"});
  Expect(0, {"alarm", "clear", "LinkDown", "network"});
  EXPECT_EQ(0, g678(0));
  Expect(0, {"alarm", "delete", "LinkDown", "network"});
  EXPECT_STREQ("", g676(0));
  Expect(1, {"alarm", "delete", "LinkDown", "network"});
  Expect(0, {"event", "add", "Rebooted", "system", "--ui", "0"});
  EXPECT_EQ(1, Json(Expect(0, {"--json", "event", "add", "Rebooted", "system", "--ui", "0"}).out)["slot"].GetInt());
}

// Slots cut while being written show as such, and the alarm one can be freed.
TEST_F(Dmctl, HalfWrittenSlotsAreShownAndCanBeFreed) {
  ASSERT_EQ(VM_CFG_OK, s2356("CutAlarm", 4));
  ASSERT_EQ(VM_CFG_OK, s2354("left behind", 4));
  ASSERT_EQ(VM_CFG_OK, s2488("CutEvent", 2));
  for (const char* table : {"alarms", "events"}) {
    EXPECT_STREQ("half-written", Json(Expect(0, {"--json", table}).out)[0]["state"].GetString()) << table;
  }
  Expect(0, {"alarm", "delete", "CutAlarm", ""});
  EXPECT_STREQ("", g674(4));
}

TEST_F(Dmctl, WatchPrintsAlarmsAndTheirCardsFromAnotherProcess) {
  // Both stop once nothing more came for 3 s: a card may show twice (below).
  RunningProgram watch(DMCTL_PATH, {"--json", "watch", "--timeout", "3000"});
  RunningProgram plain(DMCTL_PATH, {"watch", "--timeout", "3000"});
  ASSERT_TRUE(watch.WaitForError("watching") && plain.WaitForError("watching"));
  Expect(0, {"alarm", "raise", "LinkDown", "network", "--description", "Link [AI1] down", "--info1", "eth0"});
  Expect(0, {"alarm", "clear", "LinkDown", "network"});
  const ProgramResult result = watch.Wait();
  ASSERT_EQ(0, result.status) << testing::PrintToString(result.err);
  // Records and cards written close together may come in one batch, in path order.
  std::vector<std::string> alarms, cards;
  for (const std::string& line : Lines(result.out)) {
    (line.find(R"("kind":"card")") == std::string::npos ? alarms : cards).push_back(line);
  }
  ASSERT_TRUE(alarms.size() >= 2 && cards.size() >= 2) << testing::PrintToString(result.out);
  EXPECT_EQ("{kind:str,name:str,source:str,severity:int,ui:str,time:str,description:str}", Shape(alarms[0]));
  EXPECT_STREQ("command/card", Json(cards[0])["key"].GetString());
  EXPECT_TRUE(Json(cards.back())["card"]["delete"].GetBool());  // the clear card
  EXPECT_NE(std::string::npos, plain.Wait().out.find("\ncard command/card {")) << "cards as written, for people";
}

}  // namespace
