// The peripheral records as JSON: keys, unset versus empty, ids, lists.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "peripherals/PeripheralDeviceFilter.h"
#include "peripherals/PeripheralInfo.h"
#include "peripherals/ReleaseFWInfo.h"
#include "platform/uJson.h"

namespace {

using Words = std::vector<std::string>;

bool Read(ISerializable& root, const std::string& text) { return uJson::DeSerializer::DeSerialize(root, text) != 0; }

TEST(PeripheralInfo, StartsUnsetWithUnknownIdsAndWritesEveryKeyInOrder) {
  PeripheralInfo info;
  for (size_t i = 0; i < info.GetChildCount(); ++i) EXPECT_TRUE(info.GetChild(i)->IsLeaf());
  EXPECT_EQ(nullptr, info.m_name.GetValue());
  EXPECT_EQ(nullptr, info.m_manufacturer.GetValue());
  EXPECT_EQ(-1, info.m_vid.GetValue());
  EXPECT_EQ(-1, info.m_pid.GetValue());
  std::string json;
  ASSERT_EQ(0, uJson::Serializer::Serialize(info, json));
  EXPECT_EQ(
      "{\"name\":\"\",\"partial_name\":\"\",\"vid\":-1,\"pid\":-1,\"type\":\"\",\"hw_type\":\"\","
      "\"additional_info\":\"\",\"display_name\":\"\",\"manufacturer\":\"\"}",
      json);
}

TEST(PeripheralInfo, ReaderKeepsAbsentUnsetAndEmptyApart) {
  PeripheralInfo info;
  ASSERT_TRUE(Read(info, R"({"name":"Cam","display_name":"","vid":13360,"manufacturer":null,"extra":[1]})"));
  EXPECT_STREQ("Cam", info.m_name.GetValue());
  ASSERT_NE(nullptr, info.m_displayName.GetValue());  // set, empty
  EXPECT_STREQ("", info.m_displayName.GetValue());
  EXPECT_EQ(nullptr, info.m_additionalInfo.GetValue());  // absent
  EXPECT_EQ(nullptr, info.m_manufacturer.GetValue());    // null
  EXPECT_EQ(13360, info.m_vid.GetValue());
  EXPECT_EQ(-1, info.m_pid.GetValue());
}

TEST(PeripheralInfo, CopyFromKeepsUnsetFields) {
  PeripheralInfo from;
  ASSERT_TRUE(Read(from, R"({"name":"A","hw_type":"","pid":7})"));
  PeripheralInfo to;
  ASSERT_TRUE(Read(to, R"({"name":"B","type":"HEADSET","manufacturer":"M","vid":3})"));
  to.CopyFrom(from);
  EXPECT_STREQ("A", to.m_name.GetValue());
  EXPECT_EQ(nullptr, to.m_type.GetValue());
  EXPECT_EQ(nullptr, to.m_manufacturer.GetValue());
  EXPECT_STREQ("", to.m_hwType.GetValue());
  EXPECT_EQ(-1, to.m_vid.GetValue());
  EXPECT_EQ(7, to.m_pid.GetValue());
}

TEST(PeripheralInfo, HwTypeSplitsAtEveryBlank) {
  PeripheralInfo info;
  EXPECT_EQ(Words{""}, info.m_hwType.GetSpacedNameAsVector());  // unset
  info.m_hwType.SetValue(std::string("HDMI  USB"));
  EXPECT_EQ((Words{"HDMI", "", "USB"}), info.m_hwType.GetSpacedNameAsVector());
  info.m_hwType.SetValue(std::string(" USB "));
  EXPECT_EQ((Words{"", "USB", ""}), info.m_hwType.GetSpacedNameAsVector());
  info.m_hwType.SetValue(std::string("BLUETOOTH"));
  EXPECT_EQ(Words{"BLUETOOTH"}, info.m_hwType.GetSpacedNameAsVector());
}

TEST(PeripheralFilters, DocumentReadsFiltersInOrder) {
  PeripheralDeviceFiltersJson doc;
  EXPECT_EQ(1003, doc.m_filters.getElementType());
  ASSERT_TRUE(Read(doc, R"({"name":"site","filters":[
      {"in":{"name":"A"},"out":{"display_name":""}},
      {"out":{"type":"T1=HEADSET;ELSE=SPEAKER"},"in":{"pid":9,"partial_name":"cam"}}]})"));
  EXPECT_STREQ("site", doc.m_name.GetValue());
  ASSERT_EQ(2u, doc.m_filters.size());
  const PeripheralDeviceFilter& first = *doc.m_filters.at(0);
  EXPECT_STREQ("A", first.m_in.m_name.GetValue());
  EXPECT_EQ(-1, first.m_in.m_vid.GetValue());
  EXPECT_EQ(-1, first.m_in.m_pid.GetValue());
  EXPECT_STREQ("", first.m_out.m_displayName.GetValue());
  EXPECT_EQ(nullptr, first.m_out.m_name.GetValue());
  const PeripheralDeviceFilter& second = *doc.m_filters.at(1);
  EXPECT_EQ(9, second.m_in.m_pid.GetValue());
  EXPECT_STREQ("cam", second.m_in.m_partialName.GetValue());
  EXPECT_STREQ("T1=HEADSET;ELSE=SPEAKER", second.m_out.m_type.GetValue());

  // Writing it back and reading that gives the same filters.
  std::string json;
  ASSERT_EQ(0, uJson::Serializer::Serialize(doc, json));
  EXPECT_NE(std::string::npos, json.find("\"filters\":[{\"in\":{\"name\":\"A\""));
  PeripheralDeviceFiltersJson again;
  ASSERT_TRUE(Read(again, json));
  ASSERT_EQ(2u, again.m_filters.size());
  EXPECT_EQ(9, again.m_filters.at(1)->m_in.m_pid.GetValue());
}

TEST(PeripheralFilters, MalformedDocumentsAreRefused) {
  for (const char* text : {"", "not json", "[]", R"({"filters":{}})", R"({"filters":[1]})",
                           R"({"filters":[{"in":{"vid":"twelve"}}]})", R"({"filters":[{"in":{"name":{}}}]})",
                           R"({"filters":[{"in":"VELMORA"}]})", R"({"name":"x","filters":[)"}) {
    PeripheralDeviceFiltersJson doc;
    EXPECT_FALSE(Read(doc, text)) << text;
  }
  PeripheralDeviceFiltersJson empty;
  ASSERT_TRUE(Read(empty, R"({"name":"none","filters":[]})"));
  EXPECT_EQ(0u, empty.m_filters.size());
}

TEST(ReleaseFWInfo, ReadsItsThreeKeys) {
  ReleaseFWInfo info;
  ASSERT_TRUE(Read(info, R"({"firmware_name":"fw.bin","device_name":"Velmora HS200","firmware_version":"1.2.3"})"));
  EXPECT_STREQ("Velmora HS200", info.m_deviceName.GetValue());
  EXPECT_STREQ("1.2.3", info.m_firmwareVersion.GetValue());
  EXPECT_STREQ("fw.bin", info.m_firmwareName.GetValue());
  std::string json;
  ASSERT_EQ(0, uJson::Serializer::Serialize(info, json));
  EXPECT_EQ(R"({"device_name":"Velmora HS200","firmware_version":"1.2.3","firmware_name":"fw.bin"})", json);
}

}  // namespace
