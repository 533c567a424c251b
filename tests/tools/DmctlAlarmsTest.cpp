#include <sstream>
#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "tools/DmctlFixture.h"

namespace {

std::vector<rapidjson::Document> JsonLines(const std::string& text) {
  std::vector<rapidjson::Document> lines;
  std::istringstream stream(text);
  std::string line;
  while (std::getline(stream, line)) {
    lines.emplace_back();
    lines.back().Parse(line.c_str());
    EXPECT_FALSE(lines.back().HasParseError()) << line;
  }
  return lines;
}

TEST_F(Dmctl, AlarmsAreRaisedClearedAcknowledgedAndDeleted) {
  ASSERT_EQ(0, Run({"alarm", "raise", "LinkDown", "network", "--description", "Link [AI1] down", "--info1", "eth0",
                    "--category", "net", "--ui", "0"}).status);
  ASSERT_EQ(0, Run({"alarm", "raise", "FanSlow", "hw", "--severity", "2", "--ui", "0"}).status);
  ProgramResult result = Run({"--json", "alarms"});
  ASSERT_EQ(0, result.status) << result.err;
  rapidjson::Document table = Json(result.out);
  ASSERT_EQ(2u, table.Size());
  EXPECT_STREQ("LinkDown", table[0]["name"].GetString());
  EXPECT_STREQ("Link eth0 down", table[0]["description"].GetString());
  EXPECT_STREQ("3", table[0]["severity"].GetString());
  EXPECT_STREQ("1", table[1]["slot"].GetString());

  ASSERT_EQ(0, Run({"alarm", "ack", "LinkDown", "network"}).status);
  EXPECT_EQ(1, g675(0));
  ASSERT_EQ(0, Run({"alarm", "clear", "LinkDown", "network"}).status);
  EXPECT_EQ(0, g678(0));
  EXPECT_STREQ("LinkDown", g676(0));  // cleared, not deleted
  result = Run({"alarms"});
  EXPECT_EQ(0u, result.out.find("SLOT"));
  EXPECT_NE(std::string::npos, result.out.find("FanSlow"));
  ASSERT_EQ(0, Run({"alarm", "delete", "LinkDown", "network"}).status);
  EXPECT_STREQ("", g676(0));

  EXPECT_EQ(1, Run({"alarm", "clear", "LinkDown", "network"}).status);
  EXPECT_EQ(1, Run({"alarm", "delete", "Nothing", "here"}).status);
  EXPECT_EQ(2, Run({"alarm", "raise", "X", "y", "--ui", "7"}).status);
  EXPECT_EQ(2, Run({"alarm", "raise", "OnlyName"}).status);
}

TEST_F(Dmctl, EventsTakeNewSlots) {
  for (int i = 0; i < 2; ++i) {
    const ProgramResult result = Run({"--json", "event", "add", "Rebooted", "system", "--ui", "0"});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ(std::to_string(i), Json(result.out)["slot"].GetString());
  }
  ProgramResult result = Run({"--json", "events"});
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
  EXPECT_STREQ("alarm", lines[0]["kind"].GetString());
  EXPECT_STREQ("Link eth0 down", lines[0]["description"].GetString());
  EXPECT_STREQ("card", lines[1]["kind"].GetString());
  EXPECT_STREQ("command/card", lines[1]["key"].GetString());
  EXPECT_STREQ("LinkDown/network", lines[1]["card"]["channel"].GetString());
  EXPECT_FALSE(lines[1]["card"]["delete"].GetBool());
  EXPECT_STREQ("0", lines[2]["severity"].GetString());
  EXPECT_TRUE(lines[3]["card"]["delete"].GetBool());  // the clear card
}

}  // namespace
