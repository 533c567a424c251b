#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, AlarmsAreRaisedClearedAcknowledgedAndDeleted) {
  ASSERT_EQ(0, Run({"alarm", "raise", "LinkDown", "network", "--description", "Link [AI1] down", "--info1", "eth0",
                    "--category", "net", "--ui", "0"}).status);
  ASSERT_EQ(0, Run({"alarm", "raise", "FanSlow", "hw", "--severity", "2", "--ui", "0",
                    "--card", R"({"title": "Fan"})"}).status);
  ProgramResult result = Run({"--json", "alarms"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("[{slot:int,name:str,source:str,severity:int,ui:str,confirmed:bool,time:str,category:str,"
            "description:str,state:str}]",
            Shape(result.out));
  rapidjson::Document table = Json(result.out);
  ASSERT_EQ(2u, table.Size());
  EXPECT_STREQ("LinkDown", table[0]["name"].GetString());
  EXPECT_STREQ("Link eth0 down", table[0]["description"].GetString());
  EXPECT_EQ(3, table[0]["severity"].GetInt());
  EXPECT_EQ(1, table[1]["slot"].GetInt());

  ASSERT_EQ(0, Run({"alarm", "ack", "LinkDown", "network"}).status);
  EXPECT_TRUE(Json(Run({"--json", "alarms"}).out)[0]["confirmed"].GetBool());
  ASSERT_EQ(0, Run({"alarm", "clear", "LinkDown", "network"}).status);
  EXPECT_EQ(0, g678(0));
  EXPECT_STREQ("LinkDown", g676(0));  // cleared, not deleted
  result = Run({"alarms"});
  EXPECT_EQ(0u, result.out.find("SLOT"));
  EXPECT_NE(std::string::npos, result.out.find("FanSlow"));
  ASSERT_EQ(0, Run({"alarm", "delete", "LinkDown", "network"}).status);
  EXPECT_STREQ("", g676(0));
  EXPECT_EQ(1, Run({"alarm", "delete", "LinkDown", "network"}).status);
}

TEST_F(Dmctl, EventsTakeNewSlots) {
  for (int i = 0; i < 2; ++i) {
    const ProgramResult result = Run({"--json", "event", "add", "Rebooted", "system", "--ui", "0"});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ(i, Json(result.out)["slot"].GetInt());
  }
  const ProgramResult result = Run({"--json", "events"});
  EXPECT_EQ(2u, Json(result.out).Size());
  EXPECT_STREQ("whole", Json(result.out)[0]["state"].GetString());
}

// Slots cut while being written show as such, and the alarm one can be freed.
TEST_F(Dmctl, HalfWrittenSlotsAreShownAndCanBeFreed) {
  ASSERT_EQ(VM_CFG_OK, s2356("CutAlarm", 4));
  ASSERT_EQ(VM_CFG_OK, s2354("left behind", 4));
  ASSERT_EQ(VM_CFG_OK, s2488("CutEvent", 2));
  for (const char* table : {"alarms", "events"}) {
    const ProgramResult result = Run({"--json", table});
    ASSERT_EQ(0, result.status) << result.err;
    const rapidjson::Document rows = Json(result.out);
    ASSERT_EQ(1u, rows.Size()) << table;
    EXPECT_STREQ("half-written", rows[0]["state"].GetString()) << table;
    EXPECT_STREQ("", rows[0]["source"].GetString()) << table;
  }
  ASSERT_EQ(0, Run({"alarm", "delete", "CutAlarm", ""}).status);
  EXPECT_STREQ("", g676(4));
  EXPECT_STREQ("", g674(4));
  EXPECT_EQ(0u, Json(Run({"--json", "alarms"}).out).Size());
}

TEST_F(Dmctl, WatchPrintsAlarmsAndTheirCardsFromAnotherProcess) {
  RunningProgram watch(DMCTL_PATH, {"--json", "watch", "--count", "4", "--timeout", "20000"});
  ASSERT_TRUE(watch.WaitForError("watching"));
  ASSERT_EQ(0, Run({"alarm", "raise", "LinkDown", "network", "--description", "Link [AI1] down", "--info1",
                    "eth0"}).status);
  ASSERT_EQ(0, Run({"alarm", "clear", "LinkDown", "network"}).status);
  const ProgramResult result = watch.Wait();
  ASSERT_EQ(0, result.status) << result.err;
  const std::vector<rapidjson::Document> lines = JsonLines(result.out);
  ASSERT_GE(lines.size(), 4u) << result.out;
  EXPECT_EQ("{kind:str,name:str,source:str,severity:int,ui:str,time:str,description:str}",
            Shape(result.out.substr(0, result.out.find('\n'))));
  EXPECT_STREQ("device", lines[0]["ui"].GetString());
  EXPECT_STREQ("Link eth0 down", lines[0]["description"].GetString());
  EXPECT_STREQ("card", lines[1]["kind"].GetString());
  EXPECT_STREQ("command/card", lines[1]["key"].GetString());
  EXPECT_STREQ("LinkDown/network", lines[1]["card"]["channel"].GetString());
  EXPECT_FALSE(lines[1]["card"]["delete"].GetBool());
  EXPECT_EQ(0, lines[2]["severity"].GetInt());
  EXPECT_TRUE(lines[3]["card"]["delete"].GetBool());  // the clear card
}

}  // namespace
