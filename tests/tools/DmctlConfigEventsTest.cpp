#include <algorithm>
#include <set>

#include "platform/vmDevice.h"
#include "support/TestPki.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, ConfigGetSetDeleteAndListAsTablesAndJson) {
  Expect(0, {"config", "set", "/custom/a", "first value", "--force"});
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("custom/b", "old"));
  Expect(0, {"config", "set", "custom/b", "x\xff"});  // stored already: no --force needed
  Expect(0, {"config", "set", "network/vlan/id", "12"});
  EXPECT_EQ(12, Json(Expect(0, {"--json", "config", "get", "network/vlan/id"}, "{path:str,value:int}").out)["value"]);
  EXPECT_EQ("PATH      VALUE\ncustom/a  first value\ncustom/b  x\xff\n", Run({"config", "list", "custom/"}).out);
  const ProgramResult list = Expect(0, {"--json", "config", "list", "custom/"}, "[{path:str,value:str}]");
  EXPECT_STREQ("x\xEF\xBF\xBD", Json(list.out)[1]["value"].GetString());  // the bad byte went out replaced
  Expect(0, {"config", "delete", "network/vlan/id"});
  EXPECT_EQ("dmctl: nothing stored at network/vlan/id\n", Expect(1, {"config", "delete", "network/vlan/id"}).err);
}

TEST_F(Dmctl, SchemaListsDeclaredParametersWithTheNamesTablesShow) {
  const rapidjson::Document schema = Json(Expect(0, {"--json", "config", "schema", "/status/alarm/7"},
                                                 "[{path:str,type:str,slots:int,default:str,values:null}]").out);
  ASSERT_EQ(12u, schema.Size());
  EXPECT_STREQ("status/alarm/%d/ui_notification", schema[11]["path"].GetString());
  Expect(0, {"alarm", "raise", "LinkDown", "network", "--ui", "4"});
  EXPECT_STREQ(schema[11]["values"][4].GetString(), Json(Run({"--json", "alarms"}).out)[0]["ui"].GetString());
}

TEST_F(Dmctl, ExportImportRoundTripAllOrNothing) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/vlan/id", "7"));
  Expect(0, {"config", "export", "network/vlan/"}, "{network/vlan/id:int}");
  const std::string file = db_.directory() + "/backup.json", bad = db_.directory() + "/bad.json";
  ASSERT_TRUE(testpki::WriteFile(file, R"({"network/vlan/id": 9, "sip/proxy": "new.example",
                                 "status/alarm/3/ui_notification": "remote", "custom/new": "x"})"));
  Expect(2, {"config", "import", file});  // an undeclared path needs --force
  EXPECT_EQ(4, Json(Expect(0, {"--json", "config", "import", "--dry-run", "--force", file},
                           "{file:str,parameters:int,changed:int,written:bool}").out)["changed"]);
  EXPECT_EQ(7, g476());
  // One bad member refuses the whole file, and says which and why.
  ASSERT_TRUE(testpki::WriteFile(bad, R"({"network/vlan/id": 9, "sip/proxy": 5, "status/alarm/25/name": "x"})"));
  EXPECT_NE(std::string::npos, Expect(2, {"config", "import", bad})
                                   .err.find("2 refused: sip/proxy: not a string; status/alarm/25/name: slot 25"));
  EXPECT_EQ(7, g476());
  Expect(0, {"config", "import", "--force", file});
  EXPECT_EQ(9, g476());
  EXPECT_STREQ("new.example", g1601());
  EXPECT_EQ(VM_UI_NOTIFICATION_REMOTE, g682(3));
}

TEST_F(Dmctl, ConfigWatchPrintsChangesOfOtherProcesses) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/interface", "eth1"));
  RunningProgram watch(DMCTL_PATH, {"config", "watch", "--json", "network/", "sip/", "--count", "3", "--timeout", "20000"});
  ASSERT_TRUE(watch.WaitForError("watching"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("sip/proxy", "a.example"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("device/name", "not watched"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/vlan/id", "3"));
  Expect(0, {"config", "delete", "network/interface"});
  const ProgramResult result = watch.Wait();
  ASSERT_EQ(0, result.status) << testing::PrintToString(result.err);
  // Changes close together may come in one batch, in path order.
  const std::vector<std::string> lines = Lines(result.out);
  EXPECT_EQ((std::set<std::string>{R"({"path":"network/interface","value":null})", R"({"path":"network/vlan/id","value":3})",
                                   R"({"path":"sip/proxy","value":"a.example"})"}),
            std::set<std::string>(lines.begin(), lines.end())) << testing::PrintToString(result.out);
}

// A secret comes from stdin, is stored encrypted and never printed; bad
// input is refused and leaves the stored one alone.
TEST_F(Dmctl, SecretsAreStoredEncryptedAndNeverPrinted) {
  const std::string longest(63, 'x');
  const struct { std::string input; int status; std::string stored; const char* message; } cases[] = {
      {"n3w-pa55\n", 0, "n3w-pa55", ""}, {longest, 0, longest, ""}, {longest + "y\n", 1, longest, "longer than 63"},
      {std::string("ab\0cd\n", 6), 1, longest, "NUL"}, {"", 1, longest, "no secret"}};
  for (const auto& c : cases) {
    const ProgramResult result = Run({"config", "set-secret", "ems/server/password"}, c.input);
    EXPECT_EQ(c.status, result.status) << testing::PrintToString(c.input) << testing::PrintToString(result.err);
    EXPECT_NE(std::string::npos, result.err.find(c.message)) << testing::PrintToString(result.err);
    EXPECT_EQ(std::string::npos, (result.out + result.err).find(c.stored));
    char stored[256], plain[64];
    ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("ems/server/password", stored, sizeof stored));
    ASSERT_EQ(0, VM_Decrypt_Param(stored, plain, sizeof plain));
    EXPECT_EQ(c.stored, plain);
  }
}

// A damaged page fails with one line, no crash; a good --db is used.
TEST_F(Dmctl, DamagedPageFailsWithOneLine) {
  const std::string damaged = db_.directory() + "/damaged.db";
  ASSERT_TRUE(MakeSampleDatabase(damaged, 400) && DamageMiddlePage(damaged));
  const ProgramResult result = Expect(1, {"--db", damaged, "config", "list", "p/"});
  EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << testing::PrintToString(result.err);
  Expect(0, {"--db", db_.path(), "config", "list"});
}

TEST_F(Dmctl, SentEventsAreDecodedByTheListener) {
  Expect(1, {"send", "ipp-status", "7"});  // nothing listening yet
  RunningProgram listener(DMCTL_PATH, {"--json", "listen", "--count", "3", "--timeout", "20000"});
  ASSERT_TRUE(listener.WaitForError("listening"));  // its queue is made first
  Expect(0, {"send", "ipp-status", "7"});
  Expect(0, {"send", "raw", "0"});
  Expect(0, {"send", "raw", "36", "00ff"});  // first byte zero: no payload
  const ProgramResult result = listener.Wait();
  ASSERT_EQ(0, result.status) << testing::PrintToString(result.err);
  EXPECT_EQ("{queue:int,family:int,type:int,event:str,bytes:int,payload:{BasicSerializableInteger:int}}",
            Shape(result.out));
  const std::vector<std::string> events = Lines(result.out);
  ASSERT_EQ(3u, events.size()) << testing::PrintToString(result.out);
  EXPECT_EQ(7, Json(events[0])["payload"]["BasicSerializableInteger"].GetInt());
  EXPECT_EQ(8, Json(events[2])["bytes"].GetInt());
}

// Whatever the command, bad input gets its exit status and one line that
// says what was wrong (a fragment of it below); nothing is changed.
struct Refusal {
  std::vector<std::string> args;
  int status;
  const char* message;
};

class DmctlRefuses : public Dmctl, public testing::WithParamInterface<Refusal> {};

TEST_P(DmctlRefuses, WithItsStatusAndOneLine) {
  const ProgramResult result = Expect(GetParam().status, GetParam().args);
  EXPECT_NE(std::string::npos, result.err.find(GetParam().message)) << testing::PrintToString(result.err);
  // Listeners say on stderr that they started; the failure is one line after that.
  const size_t line = result.err.rfind("dmctl: ");
  EXPECT_TRUE(line == 0 || (line != std::string::npos && result.err[line - 1] == '\n')) << testing::PrintToString(result.err);
  EXPECT_EQ(result.err.size() - 1, result.err.find('\n', line)) << testing::PrintToString(result.err);
  EXPECT_EQ("", result.out);
}

INSTANTIATE_TEST_SUITE_P(Commands, DmctlRefuses, testing::Values(
    Refusal{{}, 2, "subcommand is required"}, Refusal{{"state"}, 2, "A subcommand is required"},
    Refusal{{"bogus"}, 2, "no command 'bogus' (commands: config,"}, Refusal{{"config", "get"}, 2, "dmctl --help"},
    Refusal{{"--json", "config", "bogus"}, 2, "'config' has no command 'bogus'"},
    Refusal{{"help", "config", "nope"}, 2, "'config' has no command 'nope'"},
    Refusal{{"--no-such-option", "config"}, 2, "no-such-option"}, Refusal{{"config", "schema", "no/such/"}, 1, "no/such/"},
    Refusal{{"config", "get", "no/such/path"}, 1, "no value for no/such/path"},
    Refusal{{"--db", "/nonexistent/x.db", "config", "list"}, 1, "database /nonexistent/x.db does not exist"},
    Refusal{{"config", "set", "status/alarm/25/name", "x"}, 2, "slot 25 does not exist (status/alarm/%d/name"},
    Refusal{{"config", "set", "status/alarm/3", "x"}, 2, "status/alarm/3 is a group of parameters"},
    Refusal{{"config", "set", "device/model/x", "x"}, 2, "under the parameter device/model"},
    Refusal{{"config", "set", "custom/new", "x"}, 2, "not a declared parameter"},
    Refusal{{"config", "set", "status/alarm/0/severity", "high"}, 1, "not a value of its type"},
    Refusal{{"config", "import", "/nonexistent.json"}, 1, "cannot read /nonexistent.json"},
    Refusal{{"state", "set", "nosuch"}, 2, "no system state nosuch"}, Refusal{{"state", "get", "21"}, 2, "no system state 21"},
    Refusal{{"alarm", "raise", "X", "y", "--card", "notjson"}, 2, "--card is not a JSON object"},
    Refusal{{"alarm", "raise", "X", "y", "--ui", "7"}, 2, "--ui"}, Refusal{{"alarm", "clear", "No", "here"}, 1, "no alarm No/here"},
    Refusal{{"send", "raw", "1", "zz"}, 2, "payload is not hex: zz"},
    Refusal{{"listen", "--timeout", "100"}, 3, "no message within 100 ms"},
    Refusal{{"watch", "--timeout", "0"}, 3, "no record within 0 ms"},
    Refusal{{"config", "watch", "--timeout", "100"}, 3, "no change within 100 ms"},
    Refusal{{"periph", "fw-path", "11"}, 2, "Value 11 not in range 0 to 10"},
    Refusal{{"periph", "rewrite", "--name", "x", "--filters", "/nonexistent.json"}, 1, "cannot read /nonexistent.json"},
    Refusal{{"report", "cfg", "no/such/path"}, 1, "no value for no/such/path"}, Refusal{{"report", "cfg"}, 2, "paths"},
    Refusal{{"sig", "verify", "a", "b"}, 2, "takes CERTIFICATE FILE SIGNATURE"},
    Refusal{{"cert", "info", "/nonexistent.crt"}, 1, "cannot read /nonexistent.crt"}));

TEST_F(Dmctl, HelpAndCompletionNameEveryCommand) {
  const std::string completion = Expect(0, {"--bash-completion"}).out;
  for (const char* command : {"config", "schema", "import", "alarms", "watch", "report", "listen", "cert", "sign",
                              "periph", "state", "help"}) {
    EXPECT_NE(std::string::npos, completion.find(std::string(" ") + command)) << command;
  }
  EXPECT_NE(std::string::npos, completion.find("\" config import\") words=\" --help -h --help-all --dry-run"));
  EXPECT_EQ(0u, Expect(0, {"help", "config", "import"}).out.find("Write the parameters of a JSON object"));
}

}  // namespace
