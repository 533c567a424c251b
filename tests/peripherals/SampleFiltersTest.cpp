// The shipped sample default filters document, as a device would use it.
#include <gtest/gtest.h>

#include <string>

#include "peripherals/PeripheralFixture.h"

namespace {

// Name, display name, type, hw_type, additional_info and manufacturer joined
// by '|'; "-" for a field left unset.
std::string Fields(const PeripheralInfo& out) {
  const IStringElement* leaves[] = {&out.m_name,   &out.m_displayName,    &out.m_type,
                                    &out.m_hwType, &out.m_additionalInfo, &out.m_manufacturer};
  std::string joined;
  for (const IStringElement* leaf : leaves) joined += (leaf->IsSet() ? leaf->GetString() : "-") + "|";
  return joined;
}

TEST_F(PeripheralTest, SampleFiltersRewriteAsTheirOutputsSay) {
  UseDefaultFilters(DM_SAMPLE_FILTERS);
  // System type, device as detected, whether a filter matched, the fields.
  const char* cases[][4] = {
      {"DP400", R"({"name":"velmora hs200"})", "1", "Velmora HS200|HS200 Headset|HEADSET|USB|-|Velmora|"},
      // The exact name outweighs a matching product id of another filter.
      {"DP400", R"({"name":"VELMORA HS300 WIRELESS","pid":4097})", "1",
       "Velmora HS300|HS300 Wireless|HEADSET|USB BLUETOOTH|-|Velmora|"},
      {"DP400", R"({"name":"Velmora Cam 4K"})", "1", "Velmora Cam 4K|Cam 4K|CAMERA|USB|-|Velmora|"},
      {"DP400", R"({"name":"Analog Handset"})", "1", "Handset|Corded Handset|HANDSET|ANALOG|-|-|"},
      {"DP400", R"({"name":"Office Headset Pro"})", "1", "Office Headset Pro|-|HEADSET|USB|-|-|"},
      {"DP400", R"({"name":"Refurb Velmora Speakerphone"})", "1",
       "Refurb Velmora Speakerphone|-|SPEAKER|USB|-|Velmora|"},
      {"DP400", R"({"name":"Duo Cam"})", "1", "Duo Cam|Duo (first filter)|-|-|-|-|"},
      {"DP400", R"({"name":"Unlisted Gadget"})", "0", "Unlisted Gadget|-|-|-|-|-|"},
      {"DP400", R"({"name":"Unbranded","type":"headset"})", "1", "Unbranded|-|headset|USB|generic headset|-|"},
      {"DP400", R"({"name":"Velmora Buds","type":"HEADSET"})", "1",
       "Velmora Buds|-|HEADSET|-|velmora headset family|Velmora|"},
      {"DP400", R"({"name":"Buds","type":"BT Headset"})", "1", "Buds|-|HEADSET|BLUETOOTH|-|-|"},
      // The name cannot be blanked; the other fields can.
      {"DP400", R"({"name":"USB Audio Device","display_name":"A","type":"SPEAKER","manufacturer":"M",)"
                R"("additional_info":"i"})", "1", "USB Audio Device||SPEAKER|-|||"},
      {"DP400", R"({"name":"Velmora Hub","type":"OTHER"})", "1", "Velmora Hub|-||USB|-|Velmora|"},
      {"DP400", R"({"name":"Dongle","vid":13360,"pid":4097})", "1", "Orvane Dongle|-|OTHER|USB|-|Velmora|"},
      {"DP400", R"({"name":"HS","vid":13360,"pid":512})", "1", "Velmora HS200|HS200 Headset|HEADSET|USB|-|Velmora|"},
      {"DP400", R"({"name":"HS","vid":4660,"pid":512})", "1", "Tandrel Headset 512|-|HEADSET|USB|-|-|"},
      // Equal pid-only scores: the generic filter comes first.
      {"DP400", R"({"name":"Cam","vid":1,"pid":768})", "1", "Unknown Camera 768|-|CAMERA|USB|-|-|"},
      {"DP400", R"({"name":"Cam","vid":1,"pid":769})", "0", "Cam|-|-|-|-|-|"},
      {"DP400", R"({"name":"Velmora Room Bar"})", "1", "Velmora Room Bar|-|VIDEO|HDMI USB|-|Velmora|"},
      {"RM800", R"({"name":"Velmora SP10"})", "1", "Velmora SP10 Speaker|-|MICROPHONE|USB|-|Velmora|"},
      {"XT100", R"({"name":"Velmora SP10"})", "1", "Velmora SP10 Speaker|-|SPEAKER|USB|-|Velmora|"},
      {"XT100", R"({"name":"Velmora Mic Pod"})", "1", "Velmora Mic Pod|-|RM800=MICROPHONE;DP400=OTHER|USB|-|Velmora|"},
  };
  for (const auto& c : cases) {
    Set("system/type", c[0]);
    PeripheralInfo in, out;
    EXPECT_EQ(c[2][0] == '1', Rewriter::Instance()->RewritePeripheralInfo(Parse(in, c[1]), out)) << c[1];
    EXPECT_EQ(c[3], Fields(out)) << c[1];
  }
  EXPECT_EQ("HS200 Headset", Rewriter::Instance()->GetDisplayName("VELMORA HS200"));
}

}  // namespace
