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
  // Usable secrets are stored bound to their path; unusable ones are refused
  // and leave the stored value alone.
  const std::string longest(63, 'x');
  const struct {
    std::string input;
    int status;
    std::string plain;  // expected after the call ("" = refused)
    const char* message;
  } cases[] = {
      {"n3w-pa55\n", 0, "n3w-pa55", ""},
      {longest, 0, longest, ""},
      {longest + "y\n", 1, "", "longer than 63"},
      {std::string("ab\0cd\n", 6), 1, "", "NUL"},
      {"", 1, "", "no secret"},
  };
  std::string last;
  for (const auto& c : cases) {
    const ProgramResult result = Run({"config", "set-secret", "ems/server/password"}, c.input);
    EXPECT_EQ(c.status, result.status) << c.input << result.err;
    EXPECT_NE(std::string::npos, result.err.find(c.message)) << result.err;
    if (!c.plain.empty()) last = c.plain;
    EXPECT_EQ(std::string::npos, (result.out + result.err).find(last));
    char stored[256];
    ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("ems/server/password", stored, sizeof stored));
    EXPECT_EQ(0u, std::string(stored).find("enc2:"));
    char plain[64];
    ASSERT_EQ(0, VM_Decrypt_Param(stored, plain, sizeof plain));
    EXPECT_EQ(last, plain);
  }
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
