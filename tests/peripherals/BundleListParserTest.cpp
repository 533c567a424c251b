// Bundle texts: reserved words from the schema, entities, rewrites and lists.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "peripherals/BundleListParser.h"
#include "peripherals/PeripheralFixture.h"

namespace {

using P = BundleListParser;

// Name|display name|types|interfaces, words each followed by a comma.
std::string Show(const BundleEntity& e) {
  std::string shown = e.m_name + "|" + e.m_displayName + "|";
  for (const std::string& word : e.m_types) shown += word + ",";
  shown += "|";
  for (const std::string& word : e.m_hwInterfaces) shown += word + ",";
  return shown;
}

class Bundle : public PeripheralTest {
 protected:
  void SetUp() override {
    UseDefaultFilters(DM_SAMPLE_FILTERS);
    Set("system/type", "DP400");
  }
};

// Types and interfaces are the schema's enumeration names, in any case.
TEST_F(Bundle, ParsingSortsWordsIntoNameTypesAndInterfaces) {
  const std::pair<const char*, const char*> cases[] = {
      {"Camera X,VIDEO,USB", "Camera X||VIDEO,|USB,"},
      {"usb,Camera X,hdmi,speaker,headset", "Camera X||SPEAKER,HEADSET,|USB,HDMI,"},
      {"Cam, USB", "Cam|||"},  // " USB" is not reserved, and the name is taken
      {"First Name,Second Name", "First Name|||"},
      {", ,USB", " |||USB,"},
      {",,camera", "||CAMERA,|"},
      {"NONE,none,Display,DisplayPort", "||NONE,NONE,DISPLAY,|DISPLAYPORT,"},  // NONE: value 0, a type first
      {"HEADSETS,USB2", "HEADSETS|||"},
  };
  EXPECT_TRUE(P::IsHwInterface("none"));
  for (const auto& c : cases) EXPECT_EQ(c.second, Show(P::ParseStirngToEntity(c.first))) << c.first;
  EXPECT_TRUE(P::ParseStirngToEntity(" , ,").Empty());
  EXPECT_FALSE(P::ParseStirngToEntity(",,camera").Empty());
  EXPECT_FALSE(P::ParseStirngToEntity("usb").Empty());
  EXPECT_EQ("Velmora Cam", P::ClearReservedWordsFromName("Velmora usb Camera Cam HDMI"));
  EXPECT_EQ("A  B", P::ClearReservedWordsFromName("A  B"));
  EXPECT_EQ("", P::ClearReservedWordsFromName("USB HEADSET"));
  ExpectLogged("BundleListParser",
               {{LOG_DEBUG, "ParseStirngToEntity", "ParseStirngToEntity"},
                {LOG_DEBUG, "ParseStirngToEntity", "log after parsing"},
                {LOG_DEBUG, "LogBundleEntity",
                 "BundleEntity log \n: m_name: Camera X ,\n m_displayName:  ,\nm_hwInterfaces USB  ,\nm_types VIDEO "},
                {LOG_DEBUG, "ClearReservedWordsFromName", "ClearReservedWordsFromName input: Velmora usb Camera"},
                {LOG_DEBUG, "ClearReservedWordsFromName", "ClearReservedWordsFromName output: Velmora Cam"}});
}

TEST_F(Bundle, SourcePathJoinsNameFirstTypeAndFirstInterface) {
  BundleEntity entity;
  EXPECT_EQ("//", entity.GetSource(false));
  EXPECT_EQ("", entity.GetSource(true));
  entity.m_name = "Name";
  entity.m_hwInterfaces = {"USB", "HDMI"};
  EXPECT_EQ("Name//USB", entity.GetSource(false));
  EXPECT_EQ("Name/USB", entity.GetSource(true));
  entity.m_displayName = "Shown";
  entity.m_types = {"CAMERA", "VIDEO"};
  EXPECT_EQ("Shown/CAMERA/USB", entity.GetSource(false));
}

TEST_F(Bundle, RewrittenInfoReplacesTheFirstTypeAndAllInterfaces) {
  BundleEntity entity = P::ParseStirngToEntity("Bar,VIDEO,CAMERA,USB"), bare;
  PeripheralInfo info, blank;
  Parse(info, R"({"type":"SPEAKER","hw_type":"HDMI  USB"})");
  P::UpdateHwTypeAndType(entity, info);
  P::UpdateHwTypeAndType(bare, info);
  P::UpdateHwTypeAndType(entity, Parse(blank, R"({"type":"","name":"x"})"));  // empty or unset: no change
  EXPECT_EQ("Bar||SPEAKER,CAMERA,|HDMI,,USB,", Show(entity));
  EXPECT_EQ("||SPEAKER,|HDMI,,USB,", Show(bare));
}

TEST_F(Bundle, RewriteGivesNamesDisplayNamesAndTheConnectionsTypeAndInterfaces) {
  const std::pair<const char*, const char*> cases[] = {
      {"Velmora HS200,USB", "Velmora HS200|HS200 Headset|HEADSET,|USB,"},
      {"Gizmo,OTHER", "GIZMO|GIZMO|OTHER,|"},  // unknown: upper case, its own display name
      {"Panel,DISPLAYPORT", "PANEL|PANEL|DISPLAY,|DISPLAYPORT,USB,"},
      {"Panel,DISPLAY", "PANEL|PANEL|DISPLAY,|HDMI,"},
      // The room bar's own filter gives "HDMI USB"; the HDMI filter then decides.
      {"Velmora Room Bar,VIDEO", "Velmora Room Bar|Velmora Room Bar|DISPLAY,|HDMI,"},
  };
  for (const auto& c : cases) {
    BundleEntity entity = P::ParseStirngToEntity(c.first);
    P::UpdateEntityWithRewriteInfo(entity);
    EXPECT_EQ(c.second, Show(entity)) << c.first;
  }
  ExpectLogged("BundleListParser", {{LOG_DEBUG, "UpdateEntityWithRewriteInfo", "start update of RewriteInfo"},
                                    {LOG_DEBUG, "UpdateEntityWithRewriteInfo", "log after rewrite1"},
                                    {LOG_DEBUG, "UpdateEntityWithRewriteInfo", "log after rewrite2"}});
}

TEST_F(Bundle, ListsSkipEmptySlotsAndKeepSlotOrder) {
  Set("status/peripheral/bundle/device/0", "Velmora HS200,USB");
  Set("status/peripheral/bundle/device/4", "Panel,HDMI");
  Set("status/peripheral/bundle/device/5", "Desk Keys,keyboard");
  Set("status/peripheral/bundle/host/0", "Host Mic,MICROPHONE");
  Set("status/peripheral/bundle/host/1", "Host Cam,CAMERA,USB");
  std::string shown;
  for (const BundleEntity& e : P::GetDeviceBundleList()) shown += Show(e) + ";";
  for (const BundleEntity& e : P::GetHostBundleList()) shown += Show(e) + ";";
  for (const BundleEntity& e : P::GetDeviceReWrittenBundleList()) shown += Show(e) + ";";
  EXPECT_EQ("Velmora HS200|||USB,;Panel|||HDMI,;Desk Keys||KEYBOARD,|;Host Mic||MICROPHONE,|;Host Cam||CAMERA,|USB,;"
            "Velmora HS200|HS200 Headset|HEADSET,|USB,;PANEL|PANEL|DISPLAY,|HDMI,;DESK KEYS|DESK KEYS|KEYBOARD,|;",
            shown);
}

}  // namespace
