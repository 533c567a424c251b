// The shipped sample default filters document, as a device would use it.
#include <gtest/gtest.h>

#include <string>

#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralFixture.h"

namespace {

using R = PeripheralDeviceRewriter;

struct Expected {
  const char* name;
  const char* displayName;  // null: unset
  const char* type;
  const char* hwType;
  const char* additionalInfo;
  const char* manufacturer;
};

class SampleFilters : public PeripheralTest {
 protected:
  void SetUp() override {
    UseSampleDefaultFilters();
    SetSystemType("DP400");
    ASSERT_GE(R::Instance()->m_filters.size(), 30u);
  }

  // Rewrites the device and compares every output field.
  void Check(const PeripheralInfo& in, bool matched, const Expected& e) {
    PeripheralInfo out;
    EXPECT_EQ(matched, R::Instance()->RewritePeripheralInfo(in, out)) << in.m_name.GetString();
    const std::pair<const IStringElement*, const char*> fields[] = {
        {&out.m_name, e.name},           {&out.m_displayName, e.displayName},
        {&out.m_type, e.type},           {&out.m_hwType, e.hwType},
        {&out.m_additionalInfo, e.additionalInfo}, {&out.m_manufacturer, e.manufacturer}};
    for (const auto& field : fields) {
      if (field.second == nullptr) {
        EXPECT_EQ(nullptr, field.first->GetValue()) << in.m_name.GetString() << " " << field.first->GetName();
      } else {
        EXPECT_STREQ(field.second, field.first->GetValue()) << in.m_name.GetString() << " " << field.first->GetName();
      }
    }
    EXPECT_EQ(in.m_vid.GetValue(), out.m_vid.GetValue());
    EXPECT_EQ(in.m_pid.GetValue(), out.m_pid.GetValue());
  }
  void Check(const char* name, int vid, int pid, bool matched, const Expected& e) {
    PeripheralInfo in;
    Describe(in, name, vid, pid);
    Check(in, matched, e);
  }
};

TEST_F(SampleFilters, ExactNamesIgnoreCaseAndTheFirstFilterWins) {
  Check("velmora hs200", -1, -1, true, {"Velmora HS200", "HS200 Headset", "HEADSET", "USB", nullptr, "Velmora"});
  // The exact name outweighs a matching product id of another filter.
  Check("VELMORA HS300 WIRELESS", -1, 4097, true,
        {"Velmora HS300", "HS300 Wireless", "HEADSET", "USB BLUETOOTH", nullptr, "Velmora"});
  // A filter without an "out" name keeps the detected one.
  Check("Velmora Cam 4K", -1, -1, true, {"Velmora Cam 4K", "Cam 4K", "CAMERA", "USB", nullptr, "Velmora"});
  Check("Analog Handset", -1, -1, true, {"Handset", "Corded Handset", "HANDSET", "ANALOG", nullptr, nullptr});
}

TEST_F(SampleFilters, ContainedAndPartialNames) {
  Check("Office Headset Pro", -1, -1, true, {"Office Headset Pro", nullptr, "HEADSET", "USB", nullptr, nullptr});
  Check("Cordless Handset 2", -1, -1, true, {"Cordless Handset 2", nullptr, "HANDSET", "ANALOG", nullptr, nullptr});
  Check("HD WEBCAM", -1, -1, true, {"HD WEBCAM", nullptr, "CAMERA", "USB", nullptr, nullptr});
  // "speakerphone" and "refurb" tie: the earlier filter wins.
  Check("Refurb Velmora Speakerphone", -1, -1, true,
        {"Refurb Velmora Speakerphone", nullptr, "SPEAKER", "USB", nullptr, "Velmora"});
  Check("Duo Cam", -1, -1, true, {"Duo Cam", "Duo (first filter)", nullptr, nullptr, nullptr, nullptr});
  Check("Unlisted Gadget", -1, -1, false, {"Unlisted Gadget", nullptr, nullptr, nullptr, nullptr, nullptr});
}

TEST_F(SampleFilters, TypesScoreAboveNamesContained) {
  PeripheralInfo plain;
  Describe(plain, "Unbranded", -1, -1, "headset");
  Check(plain, true, {"Unbranded", nullptr, "headset", "USB", "generic headset", nullptr});
  PeripheralInfo family;
  Describe(family, "Velmora Buds", -1, -1, "HEADSET");
  Check(family, true, {"Velmora Buds", nullptr, "HEADSET", nullptr, "velmora headset family", "Velmora"});
  PeripheralInfo bluetooth;
  Describe(bluetooth, "Buds", -1, -1, "BT Headset");
  Check(bluetooth, true, {"Buds", nullptr, "HEADSET", "BLUETOOTH", nullptr, nullptr});
}

TEST_F(SampleFilters, ProductAndVendorIds) {
  Check("Dongle", 1, 4097, true, {"Orvane Dongle", nullptr, "OTHER", "USB", nullptr, nullptr});
  // The vendor id 13360 gives the manufacturer whatever the name.
  Check("Dongle", 13360, 4097, true, {"Orvane Dongle", nullptr, "OTHER", "USB", nullptr, "Velmora"});
  Check("HS", 13360, 512, true, {"Velmora HS200", "HS200 Headset", "HEADSET", "USB", nullptr, "Velmora"});
  Check("HS", 4660, 512, true, {"Tandrel Headset 512", nullptr, "HEADSET", "USB", nullptr, nullptr});
  Check("Cam", 13360, 768, true, {"Velmora Cam 4K", "Cam 4K", "CAMERA", "USB", nullptr, "Velmora"});
  // Equal pid-only scores: the generic filter comes first.
  Check("Cam", 1, 768, true, {"Unknown Camera 768", nullptr, "CAMERA", "USB", nullptr, nullptr});
  Check("Cam", 1, 769, false, {"Cam", nullptr, nullptr, nullptr, nullptr, nullptr});
}

TEST_F(SampleFilters, BlankedFields) {
  PeripheralInfo audio;
  Describe(audio, "USB Audio Device", 1, 2);
  audio.m_displayName.SetValue(std::string("Audio"));
  audio.m_manufacturer.SetValue(std::string("Maker"));
  audio.m_additionalInfo.SetValue(std::string("info"));
  audio.m_type.SetValue(std::string("SPEAKER"));
  // The name cannot be blanked; the other three can.
  Check(audio, true, {"USB Audio Device", "", "SPEAKER", nullptr, "", ""});

  PeripheralInfo hub;
  Describe(hub, "Velmora Hub", -1, -1, "OTHER");
  Check(hub, true, {"Velmora Hub", nullptr, "", "USB", nullptr, "Velmora"});
}

TEST_F(SampleFilters, TypeChoiceListsPerSystemType) {
  Check("Velmora SP10", -1, -1, true, {"Velmora SP10 Speaker", nullptr, "SPEAKER", "USB", nullptr, "Velmora"});
  Check("Velmora Room Bar", -1, -1, true, {"Velmora Room Bar", nullptr, "VIDEO", "HDMI USB", nullptr, "Velmora"});
  Check("Velmora Mic Pod", -1, -1, true, {"Velmora Mic Pod", nullptr, "OTHER", "USB", nullptr, "Velmora"});
  SetSystemType("RM800");
  Check("Velmora SP10", -1, -1, true, {"Velmora SP10 Speaker", nullptr, "MICROPHONE", "USB", nullptr, "Velmora"});
  Check("Velmora Room Bar", -1, -1, true, {"Velmora Room Bar", nullptr, "VIDEO", "HDMI USB", nullptr, "Velmora"});
  Check("Velmora Mic Pod", -1, -1, true, {"Velmora Mic Pod", nullptr, "MICROPHONE", "USB", nullptr, "Velmora"});
  SetSystemType("XT100");
  Check("Velmora SP10", -1, -1, true, {"Velmora SP10 Speaker", nullptr, "SPEAKER", "USB", nullptr, "Velmora"});
  Check("Velmora Mic Pod", -1, -1, true,
        {"Velmora Mic Pod", nullptr, "RM800=MICROPHONE;DP400=OTHER", "USB", nullptr, "Velmora"});
}

TEST_F(SampleFilters, DisplayNamesByExactDefaultName) {
  EXPECT_EQ("HS200 Headset", R::Instance()->GetDisplayName("VELMORA HS200"));
  EXPECT_EQ("Corded Handset", R::Instance()->GetDisplayName("ANALOG HANDSET"));
  EXPECT_EQ("", R::Instance()->GetDisplayName("Velmora HS200"));
  EXPECT_EQ("", R::Instance()->GetDisplayName("HDMI"));
}

}  // namespace
