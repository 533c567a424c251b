#include "state/uSystemState.h"
#include "tools/DmctlFixture.h"

namespace {

// The request documents themselves; their fields are the builder's, tested with it.
TEST_F(Dmctl, ReportsOfStatusConfigurationAndUserKeys) {
  EXPECT_STREQ("started", Json(Expect(0, {"--json", "report", "status", "--state", "0"}).out)["status"].GetString());
  // Indented for people, the same document.
  EXPECT_NE(std::string::npos, Expect(0, {"report", "status"}).out.find("\n    \"model\": \"DP-400\""));
  const rapidjson::Document report = Json(Expect(0, {"--json", "report", "cfg", "--name", "extra", "device/model", "/sip/proxy"}).out);
  EXPECT_STREQ("DP-400", report["extra"]["device/model"].GetString());
  EXPECT_STREQ("sip.example.com", report["extra"]["/sip/proxy"].GetString());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("custom/bytes", "a\xff"));
  EXPECT_NE("invalid", Shape(Expect(0, {"--json", "report", "cfg", "custom/bytes"}).out));  // a bad byte is replaced
  EXPECT_TRUE(Json(Expect(0, {"--json", "report", "user-keys"}).out).HasMember("UD_personal_settings/functional_key/1/type"));
}

TEST_F(Dmctl, SystemStatesByIndexNameOrPath) {
  Expect(0, {"state", "set", "network", "--status", "connected", "--result", "success"});
  EXPECT_EQ("connected", GetStatusSystemStateStatus("status/system/state/network"));
  Expect(2, {"state", "set", "custom/state", "--status", "x"});
  Expect(0, {"state", "set", "custom/state", "--status", "x", "--force"});
  EXPECT_EQ("x", GetStatusSystemStateStatus("custom/state"));
  ASSERT_EQ(0, SetStatusSystemStateValue("status/system/state/DNS", "resolving", nullptr, "8.8.8.8"));
  const rapidjson::Document state =
      Json(Expect(0, {"--json", "state", "get", "14"}, "{path:str,status:str,result:str,wasSuccessful:bool,info:str}").out);
  EXPECT_STREQ("8.8.8.8", state["info"].GetString());
  const rapidjson::Document list = Json(Expect(0, {"--json", "state", "list"}).out);
  ASSERT_EQ(21u, list.Size());
  EXPECT_TRUE(list[0]["status"].IsNull());  // never stored
  Expect(1, {"state", "get", "pairing/BLE_advertise"});  // never stored
}

TEST_F(Dmctl, PeripheralRewriteBundlesAndFirmwarePath) {
  setenv("DM_PERIPHERAL_DEFAULT_FILTERS", (db_.directory() + "/no-defaults.json").c_str(), 1);
  EXPECT_FALSE(Json(Expect(0, {"--json", "periph", "rewrite", "--name", "VELMORA HS200"}).out)["matched"].GetBool());
  // The sample filters know a headset by its numbers.
  const rapidjson::Document out = Json(Expect(0, {"--json", "periph", "rewrite", "--name", "HS", "--vid", "4660", "--pid",
      "512", "--filters", DM_SAMPLE_FILTERS}, "{matched:bool,filters:str,name:str,display_name:str,type:str,hw_type:str,"
      "manufacturer:str,additional_info:str}").out);
  EXPECT_STREQ("Tandrel Headset 512", out["name"].GetString());
  EXPECT_STREQ(DM_SAMPLE_FILTERS, out["filters"].GetString());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/0", "Room Camera,CAMERA,USB"));
  Expect(0, {"--json", "periph", "bundles"}, "[{list:str,name:str,display_name:str,types:[str],interfaces:[str],source:str}]");
  Expect(1, {"periph", "fw-path", "3"});  // nothing installed for slot 3
}

}  // namespace
