#include "state/uSystemState.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, ReportsOfStatusConfigurationAndUserKeys) {
  rapidjson::Document report = Json(Expect(0, {"--json", "report", "status", "--state", "0"}).out);
  ASSERT_TRUE(report.IsObject());
  EXPECT_EQ(26u, report.MemberCount());
  EXPECT_STREQ("sessionId", report.MemberBegin()->name.GetString());
  EXPECT_EQ(8u, report["sessionId"].GetStringLength());
  EXPECT_EQ(32u, report["emsUserPassword"].GetStringLength());
  EXPECT_STREQ("device-manager", report["emsUserName"].GetString());
  EXPECT_STREQ("started", report["status"].GetString());
  EXPECT_TRUE(report["additionalParams"].HasMember("device/model"));
  // Indented for people, the same document.
  EXPECT_NE(std::string::npos, Expect(0, {"report", "status"}).out.find("\n    \"model\": \"DP-400\""));

  report = Json(Expect(0, {"--json", "report", "cfg", "--name", "extra", "device/model", "/sip/proxy"}).out);
  EXPECT_STREQ("device/model", report["extra"].MemberBegin()->name.GetString());
  EXPECT_STREQ("DP-400", report["extra"].MemberBegin()->value.GetString());
  EXPECT_STREQ("sip.example.com", report["extra"]["/sip/proxy"].GetString());
  Expect(2, {"report", "cfg"});
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("custom/bytes", "a\xff"));
  EXPECT_NE("invalid", Shape(Expect(0, {"--json", "report", "cfg", "custom/bytes"}).out));  // a bad byte is replaced
  report = Json(Expect(0, {"--json", "report", "user-keys"}).out);
  EXPECT_STREQ("speed_dial", report["UD_personal_settings/functional_key/1/type"].GetString());
}

TEST_F(Dmctl, SystemStatesByIndexNameOrPath) {
  Expect(0, {"state", "set", "network", "--status", "connected", "--result", "success"});
  EXPECT_EQ("connected", GetStatusSystemStateStatus("status/system/state/network"));
  ASSERT_EQ(0, SetStatusSystemStateValue("status/system/state/DNS", "resolving", nullptr, "8.8.8.8"));
  Expect(2, {"state", "set", "custom/state", "--status", "x"});
  Expect(0, {"state", "set", "custom/state", "--status", "x", "--force"});
  EXPECT_EQ("x", GetStatusSystemStateStatus("custom/state"));

  rapidjson::Document state =
      Json(Expect(0, {"--json", "state", "get", "14"}, "{path:str,status:str,result:str,wasSuccessful:bool,info:str}").out);
  EXPECT_STREQ("status/system/state/DNS", state["path"].GetString());
  EXPECT_STREQ("resolving", state["status"].GetString());
  EXPECT_STREQ("8.8.8.8", state["info"].GetString());
  const rapidjson::Document list = Json(Expect(0, {"--json", "state", "list"}).out);
  ASSERT_EQ(21u, list.Size());
  EXPECT_TRUE(list[0]["status"].IsNull());  // never stored
  EXPECT_STREQ("connected", list[11]["status"].GetString());
  EXPECT_STREQ("status/system/state/last", list[20]["path"].GetString());
  Expect(1, {"state", "get", "pairing/BLE_advertise"});  // never stored
}

}  // namespace
