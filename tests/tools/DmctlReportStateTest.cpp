#include <string>

#include "platform/vmCfg.h"
#include "state/uSystemState.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, StatusReportIsTheFullDocumentFromTheProfile) {
  ProgramResult result = Run({"--json", "report", "status", "--state", "0"});
  ASSERT_EQ(0, result.status) << result.err;
  rapidjson::Document report = Json(result.out);
  ASSERT_TRUE(report.IsObject());
  EXPECT_EQ(26u, report.MemberCount());
  EXPECT_STREQ("sessionId", report.MemberBegin()->name.GetString());
  EXPECT_EQ(8u, report["sessionId"].GetStringLength());
  EXPECT_EQ(32u, report["emsUserPassword"].GetStringLength());
  EXPECT_STREQ("device-manager", report["emsUserName"].GetString());
  EXPECT_STREQ("DP-400", report["model"].GetString());
  EXPECT_STREQ("started", report["status"].GetString());
  EXPECT_TRUE(report["additionalParams"].HasMember("device/model"));

  result = Run({"report", "status"});  // indented for people, same document
  ASSERT_EQ(0, result.status);
  EXPECT_NE(std::string::npos, result.out.find("\n    \"model\": \"DP-400\""));
}

TEST_F(Dmctl, ConfigurationAndUserKeyReports) {
  ProgramResult result = Run({"--json", "report", "cfg", "--name", "extra", "device/model", "/sip/proxy"});
  ASSERT_EQ(0, result.status) << result.err;
  rapidjson::Document report = Json(result.out);
  ASSERT_TRUE(report["extra"].IsObject());
  auto member = report["extra"].MemberBegin();
  EXPECT_STREQ("device/model", member->name.GetString());
  EXPECT_STREQ("DP-400", member->value.GetString());
  EXPECT_STREQ("sip.example.com", report["extra"]["/sip/proxy"].GetString());
  EXPECT_EQ(2, Run({"report", "cfg"}).status);
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("custom/bytes", "a\xff"));
  result = Run({"--json", "report", "cfg", "custom/bytes"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_NE("invalid", Shape(result.out));  // a bad byte does not make the output invalid JSON

  result = Run({"--json", "report", "user-keys"});
  ASSERT_EQ(0, result.status) << result.err;
  report = Json(result.out);
  EXPECT_STREQ("speed_dial", report["UD_personal_settings/functional_key/1/type"].GetString());
}

TEST_F(Dmctl, SystemStatesByIndexNameOrPath) {
  ASSERT_EQ(0, Run({"state", "set", "network", "--status", "connected", "--result", "success"}).status);
  EXPECT_EQ("connected", GetStatusSystemStateStatus("status/system/state/network"));
  ASSERT_EQ(0, SetStatusSystemStateValue("status/system/state/DNS", "resolving", nullptr, "8.8.8.8"));

  EXPECT_EQ(2, Run({"state", "set", "custom/state", "--status", "x"}).status);
  ASSERT_EQ(0, Run({"state", "set", "custom/state", "--status", "x", "--force"}).status);
  EXPECT_EQ("x", GetStatusSystemStateStatus("custom/state"));

  ProgramResult result = Run({"--json", "state", "get", "14"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("{path:str,status:str,result:str,wasSuccessful:bool,info:str}", Shape(result.out));
  rapidjson::Document state = Json(result.out);
  EXPECT_STREQ("status/system/state/DNS", state["path"].GetString());
  EXPECT_STREQ("resolving", state["status"].GetString());
  EXPECT_STREQ("8.8.8.8", state["info"].GetString());

  result = Run({"--json", "state", "list"});
  ASSERT_EQ(0, result.status);
  rapidjson::Document list = Json(result.out);
  ASSERT_EQ(21u, list.Size());
  EXPECT_EQ(0, list[0]["index"].GetInt());
  EXPECT_TRUE(list[0]["status"].IsNull());  // never stored
  EXPECT_STREQ("connected", list[11]["status"].GetString());
  EXPECT_STREQ("status/system/state/last", list[20]["path"].GetString());

  EXPECT_EQ(1, Run({"state", "get", "pairing/BLE_advertise"}).status);  // never stored
}

}  // namespace
