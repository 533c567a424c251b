#include <string>

#include "platform/vmCfg.h"
#include "tools/DmctlFixture.h"

namespace {

TEST_F(Dmctl, PeripheralRewriteBundlesAndFirmwarePath) {
  // The filters the rewriter reads from the configuration come first.
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("peripheral/filters", R"({"name": "site", "filters": [
      {"in": {"vid": 4660, "pid": 22136},
       "out": {"name": "Desk Headset 20", "type": "HEADSET", "hw_type": "USB", "manufacturer": "Acme"}}]})"));
  setenv("DM_PERIPHERAL_DEFAULT_FILTERS", (db_.directory() + "/no-defaults.json").c_str(), 1);
  ProgramResult result = Run({"--json", "periph", "rewrite", "--name", "HS-20 USB", "--vid", "4660", "--pid", "22136"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("{matched:bool,filters:null,name:str,display_name:str,type:str,hw_type:str,manufacturer:str,"
            "additional_info:str}",
            Shape(result.out));
  rapidjson::Document out = Json(result.out);
  EXPECT_TRUE(out["matched"].GetBool());
  EXPECT_STREQ("Desk Headset 20", out["name"].GetString());
  EXPECT_STREQ("HEADSET", out["type"].GetString());
  result = Run({"--json", "periph", "rewrite", "--name", "Unknown thing"});
  ASSERT_EQ(0, result.status);
  EXPECT_FALSE(Json(result.out)["matched"].GetBool());
  // The sample filters know a headset that nothing configured matches.
  result = Run({"--json", "periph", "rewrite", "--name", "Unknown thing", "--filters", DM_SAMPLE_FILTERS});
  EXPECT_STREQ(DM_SAMPLE_FILTERS, Json(result.out)["filters"].GetString());
  result = Run({"--json", "periph", "rewrite", "--name", "VELMORA HS200", "--filters", DM_SAMPLE_FILTERS});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_TRUE(Json(result.out)["matched"].GetBool()) << result.out;

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/0", "Room Camera,CAMERA,USB"));
  result = Run({"--json", "periph", "bundles"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("[{list:str,name:str,display_name:str,types:[str],interfaces:[str],source:str}]", Shape(result.out));
  EXPECT_STREQ("device", Json(result.out)[0]["list"].GetString());
  EXPECT_EQ(1, Run({"periph", "fw-path", "3"}).status);  // nothing installed for slot 3
}

}  // namespace
