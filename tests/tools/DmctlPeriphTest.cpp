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
  rapidjson::Document out = Json(result.out);
  EXPECT_STREQ("true", out["matched"].GetString());
  EXPECT_STREQ("Desk Headset 20", out["name"].GetString());
  EXPECT_STREQ("HEADSET", out["type"].GetString());
  result = Run({"--json", "periph", "rewrite", "--name", "Unknown thing"});
  ASSERT_EQ(0, result.status);
  EXPECT_STREQ("false", Json(result.out)["matched"].GetString());
  EXPECT_EQ(2, Run({"periph", "rewrite"}).status);

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/0", "Room Camera,CAMERA,USB"));
  result = Run({"--json", "periph", "bundles"});
  ASSERT_EQ(0, result.status) << result.err;
  rapidjson::Document bundles = Json(result.out);
  ASSERT_TRUE(bundles.IsArray());
  ASSERT_GE(bundles.Size(), 1u);
  EXPECT_STREQ("device", bundles[0]["list"].GetString());

  EXPECT_EQ(1, Run({"periph", "fw-path", "3"}).status);  // nothing installed for slot 3
  EXPECT_EQ(2, Run({"periph", "fw-path", "11"}).status);
}

}  // namespace
