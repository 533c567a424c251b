#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "support/TestPki.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, ConfigGetSetDeleteAndListAsTablesAndJson) {
  ASSERT_EQ(0, Run({"config", "set", "/custom/a", "first value", "--force"}).status);
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("custom/b", "old"));
  ASSERT_EQ(0, Run({"config", "set", "custom/b", "x\xff"}).status);  // stored already: no --force needed
  ASSERT_EQ(0, Run({"config", "set", "network/vlan/id", "12"}).status);
  ProgramResult result = Run({"--json", "config", "get", "network/vlan/id"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("{path:str,value:int}", Shape(result.out));
  EXPECT_EQ(12, Json(result.out)["value"].GetInt());

  result = Run({"config", "list", "custom/"});
  EXPECT_EQ("PATH      VALUE\ncustom/a  first value\ncustom/b  x\xff\n", result.out);
  result = Run({"--json", "config", "list", "custom/"});
  EXPECT_EQ("[{path:str,value:str}]", Shape(result.out));  // the bad byte went out replaced
  EXPECT_STREQ("x\xEF\xBF\xBD", Json(result.out)[1]["value"].GetString());

  ASSERT_EQ(0, Run({"config", "delete", "network/vlan/id"}).status);
  EXPECT_EQ(0, Json(Run({"--json", "config", "get", "network/vlan/id"}).out)["value"].GetInt());  // the default
  result = Run({"config", "delete", "network/vlan/id"});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("dmctl: nothing stored at network/vlan/id\n", result.err);
}

TEST_F(Dmctl, SchemaListsDeclaredParametersWithTheDatabaseNames) {
  ProgramResult result = Run({"--json", "config", "schema", "/status/alarm/7"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("[{path:str,type:str,slots:int,default:str,values:null}]", Shape(result.out));
  rapidjson::Document schema = Json(result.out);
  ASSERT_EQ(12u, schema.Size());
  const rapidjson::Value& ui = schema[11];
  EXPECT_STREQ("status/alarm/%d/ui_notification", ui["path"].GetString());
  EXPECT_EQ(20, ui["slots"].GetInt());
  ASSERT_EQ(5u, ui["values"].Size());
  // dmctl alarms names a setting as the database stores it.
  ASSERT_EQ(0, Run({"alarm", "raise", "LinkDown", "network", "--ui", "4"}).status);
  char stored[64];
  ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("status/alarm/0/ui_notification", stored, sizeof stored));
  EXPECT_STREQ(stored, ui["values"][4].GetString());
  EXPECT_STREQ(stored, Json(Run({"--json", "alarms"}).out)[0]["ui"].GetString());
  EXPECT_EQ(1, Run({"config", "schema", "no/such/"}).status);
}

TEST_F(Dmctl, ExportImportRoundTripAllOrNothing) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/vlan/id", "7"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("sip/proxy", "old.example"));
  ProgramResult result = Run({"config", "export", "network/vlan/"});
  EXPECT_EQ("{network/vlan/id:int}", Shape(result.out));
  const std::string file = db_.directory() + "/backup.json";
  const std::string bad = db_.directory() + "/bad.json";
  ASSERT_TRUE(testpki::WriteFile(file, R"({"network/vlan/id": 9, "sip/proxy": "new.example",
                                 "status/alarm/3/ui_notification": "remote"})"));
  result = Run({"--json", "config", "import", "--dry-run", file});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("{file:str,parameters:int,changed:int,written:bool}", Shape(result.out));
  EXPECT_EQ(3, Json(result.out)["changed"].GetInt());
  EXPECT_EQ(7, g476());

  // One bad member refuses the whole file, and says which and why.
  ASSERT_TRUE(testpki::WriteFile(bad, R"({"network/vlan/id": 9, "sip/proxy": 5, "status/alarm/25/name": "x"})"));
  result = Run({"config", "import", bad});
  EXPECT_EQ(2, result.status);
  EXPECT_NE(std::string::npos, result.err.find("2 refused: sip/proxy: not a string; status/alarm/25/name: slot 25"));
  EXPECT_EQ(7, g476());

  ASSERT_EQ(0, Run({"config", "import", file}).status);
  EXPECT_EQ(9, g476());
  EXPECT_STREQ("new.example", g1601());
  EXPECT_EQ(VM_UI_NOTIFICATION_REMOTE, g682(3));
}

TEST_F(Dmctl, ConfigWatchPrintsChangesOfOtherProcesses) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/interface", "eth1"));
  RunningProgram watch(DMCTL_PATH, {"config", "watch", "--json", "network/", "sip/", "--count", "3",
                                    "--timeout", "20000"});
  ASSERT_TRUE(watch.WaitForError("watching"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("sip/proxy", "a.example"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("device/name", "not watched"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/vlan/id", "3"));
  ASSERT_EQ(0, Run({"config", "delete", "network/interface"}).status);
  const ProgramResult result = watch.Wait();
  ASSERT_EQ(0, result.status) << result.err;
  // Changes close together may come in one batch, in path order.
  std::map<std::string, std::string> seen;
  for (const rapidjson::Document& line : JsonLines(result.out)) {
    const rapidjson::Value& value = line["value"];
    seen[line["path"].GetString()] = value.IsNull() ? "null" : value.IsInt() ? std::to_string(value.GetInt())
                                                                             : value.GetString();
  }
  EXPECT_EQ((std::map<std::string, std::string>{{"network/interface", "null"}, {"network/vlan/id", "3"},
                                                {"sip/proxy", "a.example"}}),
            seen)
      << result.out;
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

// A damaged page: reads of it and the list fail with one line, no crash.
TEST_F(Dmctl, DamagedPageFailsWithOneLine) {
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
    const ProgramResult result = Run([&] {
      std::vector<std::string> all = {"--db", damaged};
      all.insert(all.end(), args.begin(), args.end());
      return all;
    }());
    EXPECT_EQ(1, result.status) << args[1] << ": " << result.err;
    EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  }
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
  const std::vector<rapidjson::Document> events = JsonLines(result.out);
  ASSERT_EQ(3u, events.size()) << result.out;
  EXPECT_EQ("{queue:int,family:int,type:int,event:str,bytes:int,payload:{BasicSerializableInteger:int}}",
            Shape(result.out.substr(0, result.out.find('\n'))));
  EXPECT_STREQ("SendIppStatusEv", events[0]["event"].GetString());
  EXPECT_EQ(7, events[0]["payload"]["BasicSerializableInteger"].GetInt());
  EXPECT_STREQ("GetLocalCertEv", events[1]["event"].GetString());
  EXPECT_EQ(8, events[2]["bytes"].GetInt());
  EXPECT_EQ(36, events[2]["type"].GetInt());
}

// Whatever the command, bad input gets its exit status and one line that
// says what was wrong; nothing is changed.
struct Refusal {
  std::vector<std::string> args;
  int status;
  const char* message;  // a fragment of the one stderr line
};

// Names the case by its words in test listings.
void PrintTo(const Refusal& refusal, std::ostream* out) {
  *out << "dmctl";
  for (std::string arg : refusal.args) {
    std::replace(arg.begin(), arg.end(), ' ', '_');  // listings split at spaces
    *out << '_' << arg;
  }
}

class DmctlRefuses : public Dmctl, public testing::WithParamInterface<Refusal> {};

TEST_P(DmctlRefuses, WithItsStatusAndOneLine) {
  const ProgramResult result = Run(GetParam().args);
  EXPECT_EQ(GetParam().status, result.status) << result.err;
  EXPECT_NE(std::string::npos, result.err.find(GetParam().message)) << result.err;
  // Listeners say on stderr that they started; the failure is one line after that.
  const size_t line = result.err.rfind("dmctl: ");
  EXPECT_TRUE(line == 0 || (line != std::string::npos && result.err[line - 1] == '\n')) << result.err;
  EXPECT_EQ(result.err.size() - 1, result.err.find('\n', line)) << result.err;
  EXPECT_EQ("", result.out);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, DmctlRefuses,
    testing::Values(
        Refusal{{}, 2, "subcommand is required"}, Refusal{{"bogus"}, 2, "no command 'bogus' (commands: config,"},
        Refusal{{"--json", "config", "bogus"}, 2, "'config' has no command 'bogus'"},
        Refusal{{"help", "config", "nope"}, 2, "'config' has no command 'nope'"},
        Refusal{{"config", "get"}, 2, "dmctl --help"}, Refusal{{"--no-such-option", "config"}, 2, "no-such-option"},
        Refusal{{"config", "get", "no/such/path"}, 1, "no value for no/such/path"},
        Refusal{{"--db", "/nonexistent/x.db", "config", "list"}, 1, "database /nonexistent/x.db does not exist"},
        Refusal{{"config", "set", "status/alarm/25/name", "x"}, 2, "slot 25 does not exist (status/alarm/%d/name"},
        Refusal{{"config", "set", "status/alarm/3", "x"}, 2, "status/alarm/3 is a group of parameters"},
        Refusal{{"config", "set", "device/model/x", "x"}, 2, "under the parameter device/model"},
        Refusal{{"config", "set", "custom/new", "x"}, 2, "not a declared parameter"},
        Refusal{{"config", "set", "status/alarm/0/severity", "high"}, 1, "not a value of its type"},
        Refusal{{"config", "import", "/nonexistent.json"}, 1, "cannot read /nonexistent.json"},
        Refusal{{"state", "set", "nosuch"}, 2, "no system state nosuch"},
        Refusal{{"state", "get", "21"}, 2, "no system state 21"},
        Refusal{{"alarm", "raise", "X", "y", "--card", "notjson"}, 2, "--card is not a JSON object"},
        Refusal{{"alarm", "raise", "X", "y", "--ui", "7"}, 2, "--ui"},
        Refusal{{"alarm", "clear", "Nothing", "here"}, 1, "no alarm Nothing/here"},
        Refusal{{"send", "raw", "1", "zz"}, 2, "payload is not hex: zz"},
        Refusal{{"listen", "--timeout", "100"}, 3, "no message within 100 ms"},
        Refusal{{"watch", "--timeout", "100"}, 3, "no record within 100 ms"},
        Refusal{{"config", "watch", "--timeout", "100"}, 3, "no change within 100 ms"},
        Refusal{{"periph", "fw-path", "11"}, 2, "Value 11 not in range 0 to 10"},
        Refusal{{"periph", "rewrite", "--name", "x", "--filters", "/nonexistent.json"}, 1,
                "cannot read /nonexistent.json"},
        Refusal{{"report", "cfg", "no/such/path"}, 1, "no value for no/such/path"},
        Refusal{{"sig", "verify", "a", "b"}, 2, "takes CERTIFICATE FILE SIGNATURE"},
        Refusal{{"cert", "info", "/nonexistent.crt"}, 1, "cannot read /nonexistent.crt"}));

TEST_F(Dmctl, HelpManPageSourceAndCompletionNameEveryCommand) {
  const ProgramResult help = Run({"--help-all"});
  const ProgramResult completion = Run({"--bash-completion"});
  ASSERT_EQ(0, help.status);
  ASSERT_EQ(0, completion.status);
  for (const char* command : {"config", "schema", "import", "alarm", "alarms", "watch", "report", "listen", "cert",
                              "sign", "periph", "state", "help"}) {
    EXPECT_NE(std::string::npos, help.out.find(command)) << command;
    EXPECT_NE(std::string::npos, completion.out.find(std::string(" ") + command)) << command;
  }
  EXPECT_NE(std::string::npos, completion.out.find("\" config import\") words=\" --help -h --help-all --dry-run"));
  const ProgramResult one = Run({"help", "config", "import"});
  EXPECT_EQ(0, one.status);
  EXPECT_EQ(0u, one.out.find("Write the parameters of a JSON object"));
}

}  // namespace
