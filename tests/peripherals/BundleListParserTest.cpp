// Bundle texts: reserved words from the schema, entities, rewrites and lists.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "peripherals/BundleListParser.h"
#include "peripherals/PeripheralFixture.h"

namespace {

using Words = std::vector<std::string>;

class Bundle : public PeripheralTest {};

TEST_F(Bundle, ReservedWordsAreTheSchemaEnumerations) {
  for (const char* role : {"HEADSET", "camera", "Display", "EXPANSION_MODULE", "NONE"}) {
    EXPECT_TRUE(BundleListParser::IsRole(role)) << role;
  }
  for (const char* hw : {"USB", "hdmi", "DisplayPort", "BLUETOOTH", "analog"}) {
    EXPECT_TRUE(BundleListParser::IsHwInterface(hw)) << hw;
    EXPECT_FALSE(BundleListParser::IsRole(hw)) << hw;
  }
  for (const char* word : {"", " USB", "USB2", "Camera X", "HEADSETS"}) {
    EXPECT_FALSE(BundleListParser::IsRole(word)) << word;
    EXPECT_FALSE(BundleListParser::IsHwInterface(word)) << word;
  }
}

TEST_F(Bundle, ParsingSortsWordsIntoNameTypesAndInterfaces) {
  BundleEntity camera = BundleListParser::ParseStirngToEntity("Camera X,VIDEO,USB");
  EXPECT_EQ("Camera X", camera.m_name);
  EXPECT_EQ(Words{"VIDEO"}, camera.m_types);
  EXPECT_EQ(Words{"USB"}, camera.m_hwInterfaces);
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "BundleEntity log \n: m_name: Camera X ,\n m_displayName:  ,\n"
                                        "m_hwInterfaces USB  ,\nm_types VIDEO "));

  BundleEntity lower = BundleListParser::ParseStirngToEntity("usb,Camera X,hdmi,speaker,headset");
  EXPECT_EQ("Camera X", lower.m_name);
  EXPECT_EQ((Words{"USB", "HDMI"}), lower.m_hwInterfaces);
  EXPECT_EQ((Words{"SPEAKER", "HEADSET"}), lower.m_types);

  BundleEntity blank = BundleListParser::ParseStirngToEntity("Cam, USB");  // " USB" is not reserved
  EXPECT_EQ("Cam", blank.m_name);
  EXPECT_TRUE(blank.m_hwInterfaces.empty());

  BundleEntity two = BundleListParser::ParseStirngToEntity("First Name,Second Name,USB");
  EXPECT_EQ("First Name", two.m_name);
}

TEST_F(Bundle, CommasAndBlanksOnlyGiveEmptyEntities) {
  for (const char* text : {",", ",,,,", "   ", " , ,", ""}) {
    const BundleEntity entity = BundleListParser::ParseStirngToEntity(text);
    EXPECT_TRUE(entity.Empty()) << "[" << text << "]";
  }
  EXPECT_EQ(" ", BundleListParser::ParseStirngToEntity(", ,USB").m_name);  // the first non-empty word
  EXPECT_FALSE(BundleListParser::ParseStirngToEntity(",,usb").Empty());
  EXPECT_FALSE(BundleListParser::ParseStirngToEntity("camera").Empty());
}

TEST_F(Bundle, ClearingReservedWordsKeepsTheRestAsWritten) {
  EXPECT_EQ("Velmora Cam", BundleListParser::ClearReservedWordsFromName("Velmora usb Camera Cam HDMI"));
  EXPECT_EQ("A  B", BundleListParser::ClearReservedWordsFromName("A  B"));
  EXPECT_EQ("", BundleListParser::ClearReservedWordsFromName("USB HEADSET"));
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "ClearReservedWordsFromName output: Velmora Cam"));
}

TEST_F(Bundle, SourcePathsAndEmptiness) {
  BundleEntity entity;
  EXPECT_TRUE(entity.Empty());
  EXPECT_EQ("//", entity.GetSource(false));
  EXPECT_EQ("", entity.GetSource(true));
  entity.m_name = "Name";
  entity.m_hwInterfaces = {"USB", "HDMI"};
  EXPECT_EQ("Name//USB", entity.GetSource(false));
  EXPECT_EQ("Name/USB", entity.GetSource(true));
  entity.m_displayName = "Shown";
  entity.m_types = {"CAMERA", "VIDEO"};
  EXPECT_EQ("Shown/CAMERA/USB", entity.GetSource(false));
  entity.m_name = " \t";
  entity.m_displayName.clear();
  entity.m_hwInterfaces.clear();
  entity.m_types.clear();
  EXPECT_TRUE(entity.Empty());
}

TEST_F(Bundle, RewrittenInfoReplacesTheFirstTypeAndAllInterfaces) {
  BundleEntity entity = BundleListParser::ParseStirngToEntity("Bar,VIDEO,CAMERA,USB");
  PeripheralInfo info;
  info.m_type.SetValue(std::string("SPEAKER"));
  info.m_hwType.SetValue(std::string("HDMI  USB"));
  BundleListParser::UpdateHwTypeAndType(entity, info);
  EXPECT_EQ((Words{"SPEAKER", "CAMERA"}), entity.m_types);
  EXPECT_EQ((Words{"HDMI", "", "USB"}), entity.m_hwInterfaces);

  BundleEntity bare = BundleListParser::ParseStirngToEntity("Bar");
  BundleListParser::UpdateHwTypeAndType(bare, info);
  EXPECT_EQ(Words{"SPEAKER"}, bare.m_types);

  PeripheralInfo blank;  // unset and empty fields change nothing
  blank.m_type.SetValue(std::string(""));
  BundleListParser::UpdateHwTypeAndType(entity, blank);
  EXPECT_EQ((Words{"SPEAKER", "CAMERA"}), entity.m_types);
  EXPECT_EQ((Words{"HDMI", "", "USB"}), entity.m_hwInterfaces);
}

class BundleWithSample : public PeripheralTest {
 protected:
  void SetUp() override {
    UseSampleDefaultFilters();
    SetSystemType("DP400");
  }
};

TEST_F(BundleWithSample, RewriteGivesNamesDisplayNamesAndTypes) {
  BundleEntity headset = BundleListParser::ParseStirngToEntity("Velmora HS200,USB");
  BundleListParser::UpdateEntityWithRewriteInfo(headset);
  EXPECT_EQ("Velmora HS200", headset.m_name);
  EXPECT_EQ("HS200 Headset", headset.m_displayName);
  EXPECT_EQ(Words{"HEADSET"}, headset.m_types);
  EXPECT_EQ(Words{"USB"}, headset.m_hwInterfaces);
  EXPECT_EQ("HS200 Headset/HEADSET/USB", headset.GetSource(true));

  // Unknown names come back upper case and are their own display name.
  BundleEntity unknown = BundleListParser::ParseStirngToEntity("Gizmo,OTHER");
  BundleListParser::UpdateEntityWithRewriteInfo(unknown);
  EXPECT_EQ("GIZMO", unknown.m_name);
  EXPECT_EQ("GIZMO", unknown.m_displayName);
  EXPECT_EQ(Words{"OTHER"}, unknown.m_types);
  EXPECT_TRUE(unknown.m_hwInterfaces.empty());
}

TEST_F(BundleWithSample, DisplaysTakeTheirConnectionsFilter) {
  BundleEntity dp = BundleListParser::ParseStirngToEntity("Panel,DISPLAYPORT");
  BundleListParser::UpdateEntityWithRewriteInfo(dp);
  EXPECT_EQ("PANEL", dp.m_name);
  EXPECT_EQ(Words{"DISPLAY"}, dp.m_types);
  EXPECT_EQ((Words{"DISPLAYPORT", "USB"}), dp.m_hwInterfaces);

  BundleEntity display = BundleListParser::ParseStirngToEntity("Panel,DISPLAY");
  BundleListParser::UpdateEntityWithRewriteInfo(display);
  EXPECT_EQ(Words{"DISPLAY"}, display.m_types);
  EXPECT_EQ(Words{"HDMI"}, display.m_hwInterfaces);

  // The room bar's own filter gives "HDMI USB"; the HDMI filter then decides.
  BundleEntity bar = BundleListParser::ParseStirngToEntity("Velmora Room Bar,VIDEO");
  BundleListParser::UpdateEntityWithRewriteInfo(bar);
  EXPECT_EQ("Velmora Room Bar", bar.m_name);
  EXPECT_EQ(Words{"DISPLAY"}, bar.m_types);
  EXPECT_EQ(Words{"HDMI"}, bar.m_hwInterfaces);
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "log after rewrite2"));
}

TEST_F(BundleWithSample, ListsSkipEmptySlotsAndKeepSlotOrder) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/1", "Velmora HS200,USB"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/4", "Panel,HDMI"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/device/5", "Desk Keys,keyboard"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/peripheral/bundle/host/1", "Host Cam,CAMERA,USB"));

  const std::vector<BundleEntity> device = BundleListParser::GetDeviceBundleList();
  ASSERT_EQ(3u, device.size());
  EXPECT_EQ("Velmora HS200", device[0].m_name);
  EXPECT_EQ("Panel", device[1].m_name);
  EXPECT_EQ("Desk Keys", device[2].m_name);
  EXPECT_EQ(Words{"KEYBOARD"}, device[2].m_types);

  const std::vector<BundleEntity> host = BundleListParser::GetHostBundleList();
  ASSERT_EQ(1u, host.size());
  EXPECT_EQ("Host Cam/CAMERA/USB", host[0].GetSource(false));

  const std::vector<BundleEntity> rewritten = BundleListParser::GetDeviceReWrittenBundleList();
  ASSERT_EQ(3u, rewritten.size());
  EXPECT_EQ("HS200 Headset", rewritten[0].m_displayName);
  EXPECT_EQ(Words{"DISPLAY"}, rewritten[1].m_types);
  EXPECT_EQ("PANEL/DISPLAY/HDMI", rewritten[1].GetSource(true));
  EXPECT_EQ("DESK KEYS", rewritten[2].m_name);
}

}  // namespace
