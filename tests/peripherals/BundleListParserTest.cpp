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
std::string Show(const std::vector<BundleEntity>& list) {
  std::string shown;
  for (const BundleEntity& e : list) shown += Show(e) + ";";
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
      {", ,USB", " |||USB,"},
      {",,camera", "||CAMERA,|"},
      {"NONE,none,Display,DisplayPort", "||NONE,NONE,DISPLAY,|DISPLAYPORT,"},  // NONE: value 0, a type first
  };
  for (const auto& c : cases) EXPECT_EQ(c.second, Show(P::ParseStirngToEntity(c.first))) << c.first;
  EXPECT_TRUE(P::ParseStirngToEntity(" , ,").Empty() && !P::ParseStirngToEntity("usb").Empty());
  EXPECT_EQ("Velmora Cam|", P::ClearReservedWordsFromName("Velmora usb Camera Cam HDMI") + "|" +
                                P::ClearReservedWordsFromName("USB HEADSET"));
  ExpectLogged("BundleListParser",
               {{LOG_DEBUG, "ParseStirngToEntity", "ParseStirngToEntity"},
                {LOG_DEBUG, "ParseStirngToEntity", "log after parsing"},
                {LOG_DEBUG, "LogBundleEntity",
                 "BundleEntity log \n: m_name: Camera X ,\n m_displayName:  ,\nm_hwInterfaces USB  ,\nm_types VIDEO "},
                {LOG_DEBUG, "ClearReservedWordsFromName", "ClearReservedWordsFromName input: Velmora usb Camera"},
                {LOG_DEBUG, "ClearReservedWordsFromName", "ClearReservedWordsFromName output: Velmora Cam"}});
}

TEST_F(Bundle, SourcePathJoinsNameFirstTypeAndFirstInterface) {
  BundleEntity entity = P::ParseStirngToEntity("Name,USB,HDMI");
  EXPECT_EQ("// Name//USB Name/USB", BundleEntity().GetSource(false) + BundleEntity().GetSource(true) + " " +
                                         entity.GetSource(false) + " " + entity.GetSource(true));
  entity.m_displayName = "Shown";
  entity.m_types = {"CAMERA", "VIDEO"};
  EXPECT_EQ("Shown/CAMERA/USB", entity.GetSource(false));
}

// Device slots 0 to 5 and host slots 0 and 1; a rewrite gives names, display
// names, and for a display the type and interfaces of its connection's filter.
TEST_F(Bundle, ListsSkipEmptySlotsKeepSlotOrderAndRewriteEachEntity) {
  const char* device[] = {"Velmora HS200,USB", "Panel,DISPLAYPORT", "Panel,DISPLAY", "Velmora Room Bar,VIDEO", "",
                          "Gizmo,keyboard"};
  for (int slot = 0; slot < 6; ++slot) Set("status/peripheral/bundle/device/" + std::to_string(slot), device[slot]);
  Set("status/peripheral/bundle/host/0", "Host Mic,MICROPHONE");
  Set("status/peripheral/bundle/host/1", "Host Cam,CAMERA,USB");
  EXPECT_EQ("Velmora HS200|||USB,;Panel|||DISPLAYPORT,;Panel||DISPLAY,|;Velmora Room Bar||VIDEO,|;Gizmo||KEYBOARD,|;",
            Show(P::GetDeviceBundleList()));
  EXPECT_EQ("Host Mic||MICROPHONE,|;Host Cam||CAMERA,|USB,;", Show(P::GetHostBundleList()));
  // The room bar's own filter gives "HDMI USB"; the HDMI filter then decides.
  EXPECT_EQ("Velmora HS200|HS200 Headset|HEADSET,|USB,;PANEL|PANEL|DISPLAY,|DISPLAYPORT,USB,;"
            "PANEL|PANEL|DISPLAY,|HDMI,;Velmora Room Bar|Velmora Room Bar|DISPLAY,|HDMI,;GIZMO|GIZMO|KEYBOARD,|;",
            Show(P::GetDeviceReWrittenBundleList()));
  ExpectLogged("BundleListParser", {{LOG_DEBUG, "UpdateEntityWithRewriteInfo", "start update of RewriteInfo"},
                                    {LOG_DEBUG, "UpdateEntityWithRewriteInfo", "log after rewrite1"},
                                    {LOG_DEBUG, "UpdateEntityWithRewriteInfo", "log after rewrite2"}});
}

}  // namespace
