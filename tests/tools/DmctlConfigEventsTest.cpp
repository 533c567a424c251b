#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, ConfigGetSetAndListAsTablesAndJson) {
  ProgramResult result = Run({"config", "get", "device/model"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_NE(std::string::npos, result.out.find("DP-400"));

  ASSERT_EQ(0, Run({"config", "set", "/custom/a", "first value"}).status);
  ASSERT_EQ(0, Run({"config", "set", "custom/b", "second"}).status);
  result = Run({"--json", "config", "get", "custom/a"});
  ASSERT_EQ(0, result.status);
  rapidjson::Document one = Json(result.out);
  EXPECT_STREQ("first value", one["value"].GetString());

  result = Run({"config", "list", "custom/"});
  ASSERT_EQ(0, result.status);
  std::istringstream lines(result.out);
  std::string header, first, second;
  std::getline(lines, header);
  std::getline(lines, first);
  std::getline(lines, second);
  EXPECT_EQ(0u, header.find("PATH"));
  EXPECT_EQ(0u, first.find("custom/a"));
  EXPECT_NE(std::string::npos, first.find("first value"));
  EXPECT_EQ(0u, second.find("custom/b"));

  result = Run({"--json", "config", "list", "custom/"});
  rapidjson::Document list = Json(result.out);
  ASSERT_TRUE(list.IsArray());
  ASSERT_EQ(2u, list.Size());
  EXPECT_STREQ("custom/b", list[1]["path"].GetString());
  EXPECT_STREQ("second", list[1]["value"].GetString());
}

TEST_F(Dmctl, SecretsAreStoredEncryptedAndNeverPrinted) {
  const ProgramResult result = Run({"config", "set-secret", "ems/server/password"}, "n3w-pa55\n");
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ(std::string::npos, (result.out + result.err).find("n3w-pa55"));
  char stored[256];
  ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("ems/server/password", stored, sizeof stored));
  EXPECT_EQ(0, std::string(stored).find("enc1:"));
  char plain[64];
  ASSERT_EQ(0, VM_Decrypt_Param(stored, plain, sizeof plain));
  EXPECT_STREQ("n3w-pa55", plain);
  EXPECT_EQ(1, Run({"config", "set-secret", "ems/server/password"}, "").status);
}

TEST_F(Dmctl, BadUsageExitsTwoAndFailuresExitOneWithOneLine) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{}, {"config"}, {"config", "get"}, {"--no-such-option", "config"},
                                             {"send", "ipp-status", "seven"}}) {
    const ProgramResult result = Run(args);
    EXPECT_EQ(2, result.status) << (args.empty() ? "" : args[0]);
    EXPECT_NE(std::string::npos, result.err.find("dmctl --help"));
  }
  ProgramResult result = Run({"config", "get", "no/such/path"});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("dmctl: no value for no/such/path\n", result.err);
  result = Run({"--db", db_.directory() + "/missing.db", "config", "get", "device/model"});
  EXPECT_EQ(1, result.status);
  EXPECT_NE(std::string::npos, result.err.find("does not exist"));
  EXPECT_EQ(1, Run({"config", "set", "status/alarm/0/severity", "high"}).status);
  // A damaged page: reads of it and the list fail with one line, no crash.
  const std::string damaged = db_.directory() + "/damaged.db";
  ASSERT_TRUE(MakeSampleDatabase(damaged, 400));
  ASSERT_TRUE(DamageMiddlePage(damaged));
  ASSERT_EQ(VM_CFG_OK, vmCfgUseDatabase(damaged.c_str()));
  std::string unreadable;
  char value[128];
  for (int i = 0; i < 400 && unreadable.empty(); ++i) {
    char path[16];
    std::snprintf(path, sizeof path, "p/%04d", i);
    if (vmCfgGetParam(path, value, sizeof value) == VM_CFG_ERROR) unreadable = path;
  }
  ASSERT_FALSE(unreadable.empty());
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"config", "get", unreadable}, {"config", "list", "p/"}}) {
    result = Run([&] {
      std::vector<std::string> all = {"--db", damaged};
      all.insert(all.end(), args.begin(), args.end());
      return all;
    }());
    EXPECT_EQ(1, result.status) << args[1] << ": " << result.err;
    EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  }
  result = Run({"--help"});
  EXPECT_EQ(0, result.status);
  for (const char* command : {"config", "alarm", "event", "alarms", "events", "watch", "report", "send", "listen",
                              "cert", "sig", "periph", "state"}) {
    EXPECT_NE(std::string::npos, result.out.find(command)) << command;
  }
  EXPECT_EQ(0, Run({"config", "list", "--help"}).status);
}

TEST_F(Dmctl, SentEventsAreDecodedByTheListener) {
  EXPECT_EQ(1, Run({"send", "ipp-status", "7"}).status);  // nothing listening yet
  RunningProgram listener(DMCTL_PATH, {"--json", "listen", "--count", "3", "--timeout", "20000"});
  ASSERT_TRUE(listener.WaitForError("listening"));
  ASSERT_TRUE(QueueAppears());
  ASSERT_EQ(0, Run({"send", "ipp-status", "7"}).status);
  ASSERT_EQ(0, Run({"send", "raw", "0"}).status);
  ASSERT_EQ(0, Run({"send", "raw", "36", "00ff"}).status);  // first byte zero: no payload
  const ProgramResult result = listener.Wait();
  ASSERT_EQ(0, result.status) << result.err;
  std::istringstream lines(result.out);
  std::string line;
  std::vector<rapidjson::Document> events;
  while (std::getline(lines, line)) events.push_back(Json(line));
  ASSERT_EQ(3u, events.size()) << result.out;
  EXPECT_STREQ("SendIppStatusEv", events[0]["event"].GetString());
  EXPECT_EQ(7, events[0]["payload"]["BasicSerializableInteger"].GetInt());
  EXPECT_STREQ("GetLocalCertEv", events[1]["event"].GetString());
  EXPECT_STREQ("8", events[2]["bytes"].GetString());
  EXPECT_STREQ("36", events[2]["type"].GetString());
}

}  // namespace
