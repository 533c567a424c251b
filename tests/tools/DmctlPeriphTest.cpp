#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, PeripheralRewriteBundlesAndFirmwarePath) {
  // The filters the rewriter reads from the configuration come first.
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("peripheral/filters", R"({"name": "site", "filters": [
      {"in": {"vid": 4660, "pid": 22136},
       "out": {"name": "Desk Headset 20", "type": "HEADSET", "hw_type": "USB", "manufacturer": "Acme"}}]})"));
  setenv("DM_PERIPHERAL_DEFAULT_FILTERS", (db_.directory() + "/no-defaults.json").c_str(), 1);
  rapidjson::Document out = Json(Expect(0, {"--json", "periph", "rewrite", "--name", "HS-20 USB", "--vid", "4660",
      "--pid", "22136"}, "{matched:bool,filters:null,name:str,display_name:str,type:str,hw_type:str,"
      "manufacturer:str,additional_info:str}").out);
  EXPECT_TRUE(out["matched"].GetBool());
  EXPECT_STREQ("Desk Headset 20", out["name"].GetString());
  EXPECT_FALSE(Json(Expect(0, {"--json", "periph", "rewrite", "--name", "Unknown thing"}).out)["matched"].GetBool());
  // The sample filters know a headset that nothing configured matches.
  out = Json(Expect(0, {"--json", "periph", "rewrite", "--name", "VELMORA HS200", "--filters", DM_SAMPLE_FILTERS}).out);
  EXPECT_TRUE(out["matched"].GetBool());
  EXPECT_STREQ(DM_SAMPLE_FILTERS, out["filters"].GetString());

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/0", "Room Camera,CAMERA,USB"));
  EXPECT_STREQ("device", Json(Expect(0, {"--json", "periph", "bundles"}, "[{list:str,name:str,display_name:str,"
      "types:[str],interfaces:[str],source:str}]").out)[0]["list"].GetString());
  Expect(1, {"periph", "fw-path", "3"});  // nothing installed for slot 3
}

}  // namespace
