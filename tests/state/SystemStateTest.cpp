#include <cstring>

#include "state/StateFixture.h"
#include "state/uSystemState.h"

namespace {

const char kPath[] = "status/system/state/network";
const char kMissing[] = "status/system/state/DNS";
const char kUnit[] = "uSystemState";
const std::string kHead = R"({"status":"s","result":"r","wasSuccessful":false,"info":")";

// The info text, and the stored record holding it, that make a record of exactly `size` characters.
std::string Info(size_t size) { return std::string(size - kHead.size() - 2, 'i'); }
std::string Record(size_t size) { return kHead + Info(size) + "\"}"; }

using SystemStateTest = StateFixture;

TEST_F(SystemStateTest, AFreshRecordReplacesTheStoredOne) {
  ASSERT_EQ(0, SetStatusSystemState(kPath, "running", "pending", "dhcp"));
  EXPECT_EQ("running|pending|dhcp", GetStatusSystemStateStatus("/status/system/state/network") + "|" +
                                        GetStatusSystemStateResult(kPath) + "|" + GetStatusSystemStateInfo(kPath));
  ASSERT_EQ(0, SetStatusSystemStateValue(kPath, nullptr, "failed", nullptr));
  EXPECT_EQ(R"({"status":"","result":"failed","wasSuccessful":false,"info":""})", Stored(kPath));
  ASSERT_EQ(0, SetStatusSystemStateStatus(kPath, "running"));
  EXPECT_EQ(R"({"status":"running","result":"","wasSuccessful":false,"info":""})", Stored(kPath));
  EXPECT_EQ(-2, SetStatusSystemStateStatus(nullptr, "x") + SetStatusSystemStateStatus(kPath, nullptr));
  ExpectLogged(kUnit, {{LOG_ERR, "SetStatusSystemStateStatus", "param path or status value are null!"}});
}

TEST_F(SystemStateTest, SuccessIsStickyThroughEveryLaterWrite) {
  const struct { const char *path, *result; bool flag; } writes[] = {
      {kPath, "failed", false}, {kPath, "success", true}, {kPath, "failed", true}, {kPath, nullptr, true},
      {kMissing, "Success", false}, {kMissing, "success ", false}};
  for (const auto& w : writes) {
    ASSERT_EQ(0, SetStatusSystemState(w.path, "done", w.result, "x"));
    EXPECT_EQ(w.flag, GetStatusSystemStateWasSuccessful(w.path)) << w.path << " " << (w.result ? w.result : "-");
  }
  ExpectLogged(kUnit, {{LOG_DEBUG, "SetWasSuccessfulValue", "set status/system/state/network wasSuccessful = true"}});
  // A stored record that can't be read counts as a default one, even when the part that can be read succeeded.
  const std::string unreadable = R"({"status":"s","result":"success","wasSuccessful":true,"info":")" + Info(300);
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(kPath, (unreadable + "\"}").c_str()));
  ASSERT_EQ(0, SetStatusSystemState(kPath, "s", "failed", ""));
  EXPECT_FALSE(GetStatusSystemStateWasSuccessful(kPath));
}

TEST_F(SystemStateTest, RecordsAreReadThrough256AndWrittenThrough2048Bytes) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(kPath, Record(255).c_str()));
  EXPECT_EQ(Info(255), GetStatusSystemStateInfo(kPath));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(kPath, Record(256).c_str()));
  EXPECT_EQ("|", GetStatusSystemStateStatus(kPath) + "|" + GetStatusSystemStateInfo(kPath));
  ASSERT_EQ(0, SetStatusSystemState(kPath, "s", "r", Info(2047).c_str()));
  EXPECT_EQ(Record(2047), Stored(kPath));
  EXPECT_EQ(-1, SetStatusSystemState(kPath, "s", "r", Info(2048).c_str()));
  EXPECT_EQ(Record(2047), Stored(kPath));
  ExpectLogged(kUnit, {{LOG_ERR, "DeSerializeSystemState", "jsonDeSerializer.DeSerialize failed!"},
                       {LOG_ERR, "SerializeSystemState", "jsonSerializer.Serialize failed!"},
                       {LOG_ERR, "SetStatusSystemState", "Failed to set status/system/state/network!"}});
}

TEST_F(SystemStateTest, BufferGettersCutAtSizeTerminateThereAndLogFailuresAsTheirOwn) {
  ASSERT_EQ(0, SetStatusSystemState(kPath, "running", "ok", "abcdefgh"));
  const struct { int (*get)(const char*, char*, size_t); const char *function, *nullMessage; size_t size; } cases[] = {
      {GetStatusSystemStateStatus, "GetStatusSystemStateStatus", "param path or status value are null!", 4},
      {GetStatusSystemStateResult, "GetStatusSystemStateResult", "param path or result are null!", 10},
      {GetStatusSystemStateInfo, "GetStatusSystemStateInfo", "param path or info are null!", 8}};
  std::string copied;  // each buffer's first 10 bytes afterwards; '-' untouched
  for (const auto& c : cases) {
    char out[10];
    std::memset(out, '-', sizeof out);
    ASSERT_EQ(0, c.get(kPath, out, c.size)) << c.function;
    copied += std::string(out, 10) + "|";
    EXPECT_EQ(-4, c.get(nullptr, out, 4) + c.get(kPath, nullptr, 4) + c.get(kPath, out, 0) + c.get(kMissing, out, 4));
    ExpectLogged(kUnit, {{LOG_ERR, c.function, c.nullMessage},
                         {LOG_ERR, c.function, "Failed to get status/system/state/DNS value"}});
  }
  EXPECT_EQ(std::string("runn\0-----|ok\0-------|abcdefgh\0-|", 33), copied);
}

TEST_F(SystemStateTest, OrderedListSplitsTheConfiguredTextAtSingleBlanks) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"a  b", {"a", "b"}}, {" DNS NTP ", {"DNS", "NTP"}}, {"x", {"x"}}, {"", {}}};
  for (const auto& [text, names] : cases) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/system/state/display_order", text));
    std::vector<std::string> expected;
    for (const std::string& name : names) expected.push_back("/status/system/state/" + name);
    EXPECT_EQ(expected, GetSystemStateOrderedList()) << "'" << text << "'";
  }
}

}  // namespace
