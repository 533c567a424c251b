#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "platform/vmCfg.h"
#include "state/uSystemState.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

const char kPath[] = "status/system/state/network";

class SystemStateTest : public ::testing::Test {
 protected:
  TempDatabase db_;
  LogCapture log_;

  std::string Stored(const char* path) {
    char value[2048] = {0};
    vmCfgGetParam(path, value, sizeof value);
    return value;
  }
};

TEST_F(SystemStateTest, PathTableCoversTwentyOneEntriesAndRefusesOthers) {
  EXPECT_STREQ("status/system/state/pairing/BLE_discovery", GetStatusSystemStatePath(0));
  EXPECT_STREQ("status/system/state/network", GetStatusSystemStatePath(11));
  EXPECT_STREQ("status/system/state/get_certificate_by_SCEP", GetStatusSystemStatePath(17));
  EXPECT_STREQ("status/system/state/get_certificate_by_HTTP", GetStatusSystemStatePath(18));
  EXPECT_STREQ("status/system/state/last", GetStatusSystemStatePath(20));
  EXPECT_EQ(nullptr, GetStatusSystemStatePath(21));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "tried to get invalid path 21!"));
  EXPECT_EQ(nullptr, GetStatusSystemStatePath(-1));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "tried to get invalid path -1!"));
  for (int i = 0; i < SYSTEM_STATE_PATH_COUNT; ++i) {
    ASSERT_NE(nullptr, GetStatusSystemStatePath(i));
    for (int j = 0; j < i; ++j) EXPECT_STRNE(GetStatusSystemStatePath(i), GetStatusSystemStatePath(j));
  }
  ASSERT_FALSE(log_.lines().empty());
  EXPECT_EQ("uSystemState", log_.lines().front().unit);
  EXPECT_EQ(14, log_.lines().front().module);
}

TEST_F(SystemStateTest, RecordJsonKeepsKeyOrderAndRoundTrips) {
  SystemState record;
  record.Update("running", nullptr, "step 2");
  record.Update(nullptr, "pending", nullptr);  // null arguments keep members
  EXPECT_EQ(R"({"status":"running","result":"pending","wasSuccessful":false,"info":"step 2"})",
            SerializeSystemState(record));

  SystemState back;
  ASSERT_EQ(0, DeSerializeSystemState(R"({"info":"i","wasSuccessful":true,"status":"s"})", back));
  EXPECT_EQ("s", back.m_status.GetString());
  EXPECT_FALSE(back.m_result.IsSet());
  EXPECT_TRUE(back.m_wasSuccessful.GetValue());
  EXPECT_EQ("i", back.m_info.GetString());

  EXPECT_EQ(-1, DeSerializeSystemState("{not json", back));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "jsonDeSerializer.DeSerialize failed!"));
  EXPECT_EQ(-1, GetStatusSystemStateFromBuf(nullptr, back));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Json Buf is NULL!"));
  EXPECT_EQ(0, GetStatusSystemStateFromBuf(R"({"status":"x"})", back));
  EXPECT_EQ("x", back.m_status.GetString());
}

TEST_F(SystemStateTest, OversizedRecordFailsToSerialize) {
  SystemState record;
  record.Update(std::string(3000, 'a').c_str(), "r", "i");
  EXPECT_EQ("", SerializeSystemState(record));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "jsonSerializer.Serialize failed!"));
  EXPECT_EQ(-1, SetStatusSystemState(kPath, record));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to set status/system/state/network!"));
}

TEST_F(SystemStateTest, WriteAndReadBackEveryMember) {
  ASSERT_EQ(0, SetStatusSystemState(kPath, "running", "pending", "dhcp"));
  EXPECT_EQ("running", GetStatusSystemStateStatus(kPath));
  EXPECT_EQ("pending", GetStatusSystemStateResult(kPath));
  EXPECT_EQ("dhcp", GetStatusSystemStateInfo(kPath));
  EXPECT_FALSE(GetStatusSystemStateWasSuccessful(kPath));
  // A leading '/' names the same parameter.
  EXPECT_EQ("running", GetStatusSystemStateStatus("/status/system/state/network"));

  // A fresh record replaces the stored one: null members are stored empty.
  ASSERT_EQ(0, SetStatusSystemStateValue(kPath, nullptr, "failed", nullptr));
  EXPECT_EQ("", GetStatusSystemStateStatus(kPath));
  EXPECT_EQ("failed", GetStatusSystemStateResult(kPath));
  EXPECT_EQ("", GetStatusSystemStateInfo(kPath));
}

TEST_F(SystemStateTest, UnreadableRecordsGiveEmptyMembers) {
  const char* missing = "status/system/state/DNS";
  EXPECT_EQ("", GetStatusSystemStateStatus(missing));
  EXPECT_FALSE(GetStatusSystemStateWasSuccessful(missing));
  SystemState record;
  EXPECT_EQ(-1, GetStatusSystemState(missing, record));
  char buffer[16] = "untouched";
  EXPECT_EQ(-1, GetStatusSystemStateResult(missing, buffer, 8));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to get status/system/state/DNS value"));

  // A record longer than the read buffer is stored whole but can't be read.
  ASSERT_EQ(0, SetStatusSystemState(kPath, "s", "r", std::string(300, 'i').c_str()));
  EXPECT_EQ(R"({"status":"s","result":"r","wasSuccessful":false,"info":")" + std::string(300, 'i') + "\"}",
            Stored(kPath));
  EXPECT_EQ("", GetStatusSystemStateStatus(kPath));
  EXPECT_EQ(-1, GetStatusSystemStateInfo(kPath, buffer, 8));

  // An unreadable stored record is a default one for the sticky flag, even
  // when the part that can be read says it succeeded.
  const std::string unreadable[] = {
      R"({"status":"s","result":"success","wasSuccessful":true,"info":")" + std::string(300, 'i') + "\"}",
      R"({"wasSuccessful":true,"status":[)",
  };
  for (const std::string& stored : unreadable) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(kPath, stored.c_str()));
    ASSERT_EQ(0, SetStatusSystemState(kPath, "s", "failed", ""));
    EXPECT_FALSE(GetStatusSystemStateWasSuccessful(kPath)) << stored;
  }
}

TEST_F(SystemStateTest, SuccessIsStickyThroughLaterWrites) {
  ASSERT_EQ(0, SetStatusSystemState(kPath, "done", "failed", ""));
  EXPECT_FALSE(GetStatusSystemStateWasSuccessful(kPath));
  ASSERT_EQ(0, SetStatusSystemState(kPath, "done", "success", ""));
  EXPECT_TRUE(GetStatusSystemStateWasSuccessful(kPath));
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "set status/system/state/network wasSuccessful = true"));
  ASSERT_EQ(0, SetStatusSystemState(kPath, "done", "failed", "again"));
  EXPECT_TRUE(GetStatusSystemStateWasSuccessful(kPath));
  EXPECT_EQ("failed", GetStatusSystemStateResult(kPath));
  ASSERT_EQ(0, SetStatusSystemStateStatus(kPath, "running"));
  EXPECT_TRUE(GetStatusSystemStateWasSuccessful(kPath));

  // Only the exact text counts, and other paths are not affected.
  ASSERT_EQ(0, SetStatusSystemState("status/system/state/NTP", "done", "Success", ""));
  EXPECT_FALSE(GetStatusSystemStateWasSuccessful("status/system/state/NTP"));
  // A caller-set flag is kept even without success.
  SystemState record;
  record.Update("s", "r", "i");
  record.m_wasSuccessful.SetValue(true);
  ASSERT_EQ(0, SetStatusSystemState("status/system/state/DNS", record));
  EXPECT_TRUE(GetStatusSystemStateWasSuccessful("status/system/state/DNS"));
}

TEST_F(SystemStateTest, StatusOnlyWriteClearsResultAndInfo) {
  ASSERT_EQ(0, SetStatusSystemState(kPath, "done", "failed", "timeout"));
  ASSERT_EQ(0, SetStatusSystemStateStatus(kPath, "running"));
  EXPECT_EQ("running", GetStatusSystemStateStatus(kPath));
  EXPECT_EQ("", GetStatusSystemStateResult(kPath));
  EXPECT_EQ("", GetStatusSystemStateInfo(kPath));
  EXPECT_EQ(-1, SetStatusSystemStateStatus(nullptr, "x"));
  EXPECT_EQ(-1, SetStatusSystemStateStatus(kPath, nullptr));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "param path or status value are null!"));
  EXPECT_EQ("running", GetStatusSystemStateStatus(kPath));
}

TEST_F(SystemStateTest, BufferGettersCutAtSizeAndTerminateAtIt) {
  ASSERT_EQ(0, SetStatusSystemState(kPath, "running", "ok", "abcdefgh"));
  char buffer[16];
  std::memset(buffer, 'x', sizeof buffer);
  ASSERT_EQ(0, GetStatusSystemStateStatus(kPath, buffer, 4));
  EXPECT_EQ(0, std::memcmp(buffer, "runn\0", 5));
  EXPECT_EQ('x', buffer[5]);

  std::memset(buffer, 'x', sizeof buffer);
  ASSERT_EQ(0, GetStatusSystemStateResult(kPath, buffer, 10));
  EXPECT_STREQ("ok", buffer);
  EXPECT_EQ('x', buffer[3]);

  std::memset(buffer, 'x', sizeof buffer);
  ASSERT_EQ(0, GetStatusSystemStateInfo(kPath, buffer, 8));  // exactly the length
  EXPECT_STREQ("abcdefgh", buffer);

  // Each getter's failures are its own lines: its name, its own source line.
  const struct {
    int (*get)(const char*, char*, size_t);
    const char* function;
    const char* nullMessage;
  } getters[] = {{GetStatusSystemStateStatus, "GetStatusSystemStateStatus", "param path or status value are null!"},
                 {GetStatusSystemStateResult, "GetStatusSystemStateResult", "param path or result are null!"},
                 {GetStatusSystemStateInfo, "GetStatusSystemStateInfo", "param path or info are null!"}};
  std::set<int> lines;
  for (const auto& getter : getters) {
    EXPECT_EQ(-1, getter.get(kPath, buffer, 0));
    EXPECT_EQ(-1, getter.get(nullptr, buffer, 4));
    EXPECT_EQ(-1, getter.get(kPath, nullptr, 4));
    EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "uSystemState", getter.function, getter.nullMessage));
    EXPECT_EQ(-1, getter.get("status/system/state/DNS", buffer, 4));
    EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "uSystemState", getter.function,
                            "Failed to get status/system/state/DNS value"));
    lines.insert(log_.Find(LOG_ERR, "Failed to get status/system/state/DNS value")->line);
  }
  EXPECT_EQ(3u, lines.size());
}

TEST_F(SystemStateTest, OrderedListSplitsTheConfiguredTextAtBlanks) {
  // The shipped order first, then a text with a double blank and edges.
  const auto defaults = GetSystemStateOrderedList();
  ASSERT_FALSE(defaults.empty());
  EXPECT_EQ("/status/system/state/network", defaults.front());

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/system/state/display_order", "a  b"));
  EXPECT_EQ((std::vector<std::string>{"/status/system/state/a", "/status/system/state/b"}),
            GetSystemStateOrderedList());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/system/state/display_order", " DNS NTP "));
  EXPECT_EQ((std::vector<std::string>{"/status/system/state/DNS", "/status/system/state/NTP"}),
            GetSystemStateOrderedList());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/system/state/display_order", ""));
  EXPECT_TRUE(GetSystemStateOrderedList().empty());
}

}  // namespace
