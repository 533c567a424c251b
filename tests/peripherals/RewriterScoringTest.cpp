// Scoring, filling and the edits of the rewriter, one filter at a time.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralFixture.h"
#include "platform/uJson.h"

namespace {

using R = PeripheralDeviceRewriter;

PeripheralInfo& Parse(PeripheralInfo& info, const std::string& json) {
  EXPECT_NE(0, uJson::DeSerializer::DeSerialize(info, json)) << json;
  return info;
}

unsigned Score(const PeripheralInfo& device, const std::string& filterIn) {
  PeripheralInfo in;
  return R::CalculateFilterMatchScore(device, Parse(in, filterIn));
}

TEST(PeripheralScore, EachRuleSetsItsBit) {
  PeripheralInfo device;
  Describe(device, "Velmora HS200 Headset", 13360, 512, "headset");
  EXPECT_EQ(16u, Score(device, R"({"name":"velmora hs200 HEADSET"})"));
  EXPECT_EQ(8u, Score(device, R"({"type":"HEADSET"})"));
  EXPECT_EQ(4u, Score(device, R"({"name":"hs200"})"));
  EXPECT_EQ(4u, Score(device, R"({"partial_name":"HEADSET"})"));
  EXPECT_EQ(2u, Score(device, R"({"pid":512})"));
  EXPECT_EQ(3u, Score(device, R"({"vid":13360,"pid":512})"));
  EXPECT_EQ(0u, Score(device, R"({"vid":13360})"));  // the vid counts only with the pid
  EXPECT_EQ(2u, Score(device, R"({"vid":1,"pid":512})"));
  EXPECT_EQ(0u, Score(device, R"({"pid":-1})"));
  EXPECT_EQ(0u, Score(device, R"({"name":"HS300","partial_name":"cam","type":"camera","pid":513})"));
  // Everything but the exact name together still scores below it.
  EXPECT_EQ(15u, Score(device, R"({"partial_name":"hs2","type":"headset","vid":13360,"pid":512})"));
  // An exact name does not also count as contained.
  EXPECT_EQ(16u, Score(device, R"({"name":"Velmora HS200 Headset","partial_name":"HS200"})"));
}

TEST(PeripheralScore, UnknownOrEmptyDeviceFieldsNeverMatch) {
  PeripheralInfo anonymous;
  Describe(anonymous, nullptr);
  EXPECT_EQ(0u, Score(anonymous, R"({})"));
  EXPECT_EQ(0u, Score(anonymous, R"({"name":"","type":"","pid":-1,"vid":-1})"));
  PeripheralInfo blank;
  Describe(blank, "", -1, -1, "");
  EXPECT_EQ(0u, Score(blank, R"({"name":"","partial_name":"","type":""})"));
  EXPECT_EQ(0, R::IsCompatibleName(blank, blank));
  EXPECT_EQ(0, R::IsCompatibleType(blank, blank));
  EXPECT_FALSE(R::IsCompatiblePid(blank, blank));
  EXPECT_FALSE(R::IsCompatibleVid(blank, blank));
  // A named device is not an exact match for a filter without a name.
  PeripheralInfo named;
  Describe(named, "Cam");
  EXPECT_EQ(0u, Score(named, R"({"partial_name":""})"));
}

TEST(PeripheralScore, NameAndTypeTestsReturnTheirBits) {
  PeripheralInfo device;
  Describe(device, "USB Webcam Pro", -1, -1, "Camera");
  PeripheralInfo filter;
  EXPECT_EQ(R::kExactNameBit, R::IsCompatibleName(device, Parse(filter, R"({"name":"usb webcam pro"})")));
  PeripheralInfo contained;
  EXPECT_EQ(R::kPartialNameBit, R::IsCompatibleName(device, Parse(contained, R"({"name":"WEBCAM"})")));
  PeripheralInfo partial;
  EXPECT_EQ(R::kPartialNameBit, R::IsCompatibleName(device, Parse(partial, R"({"name":"other","partial_name":"pro"})")));
  PeripheralInfo type;
  EXPECT_EQ(R::kTypeBit, R::IsCompatibleType(device, Parse(type, R"({"type":"CAMERA"})")));
  EXPECT_EQ(0, R::IsCompatibleType(device, Parse(type, R"({"type":"CAMERAS"})")));
}

class PeripheralFill : public PeripheralTest {};

TEST_F(PeripheralFill, FilterCanBlankAnyFieldButTheName) {
  SetSystemType("DP400");
  PeripheralInfo device;
  Parse(device, R"({"name":"Cam X","partial_name":"x","vid":5,"pid":6,"type":"CAMERA","hw_type":"USB",
                    "additional_info":"info","display_name":"Cam","manufacturer":"Maker"})");
  PeripheralInfo blanks;
  Parse(blanks, R"({"name":"","partial_name":"y","vid":9,"pid":9,"type":"","hw_type":"","additional_info":"",
                    "display_name":"","manufacturer":""})");
  PeripheralInfo out;
  R::FillOutInfo(device, blanks, out);
  EXPECT_STREQ("Cam X", out.m_name.GetValue());
  EXPECT_EQ(nullptr, out.m_partialName.GetValue());  // never copied
  EXPECT_EQ(5, out.m_vid.GetValue());
  EXPECT_EQ(6, out.m_pid.GetValue());
  const IStringElement* blanked[] = {&out.m_type, &out.m_hwType, &out.m_additionalInfo, &out.m_displayName,
                                     &out.m_manufacturer};
  for (const IStringElement* leaf : blanked) {
    ASSERT_NE(nullptr, leaf->GetValue()) << leaf->GetName();
    EXPECT_STREQ("", leaf->GetValue()) << leaf->GetName();
  }

  // A filter that leaves a field out keeps the detected value.
  PeripheralInfo renameOnly;
  Parse(renameOnly, R"({"name":"Camera Ten"})");
  R::FillOutInfo(device, renameOnly, out);
  EXPECT_STREQ("Camera Ten", out.m_name.GetValue());
  EXPECT_STREQ("CAMERA", out.m_type.GetValue());
  EXPECT_STREQ("USB", out.m_hwType.GetValue());
  EXPECT_STREQ("info", out.m_additionalInfo.GetValue());
  EXPECT_STREQ("Cam", out.m_displayName.GetValue());
  EXPECT_STREQ("Maker", out.m_manufacturer.GetValue());
  EXPECT_TRUE(m_log.Contains(LOG_NOTICE, "after rewritten: name=Camera Ten vid=5 pid=6 type=CAMERA hwType=USB "
                                         "additionalInfo=info, manufacturer=Maker"));
}

TEST_F(PeripheralFill, OutputMayBeTheDeviceItself) {
  SetSystemType("DP400");
  PeripheralInfo device;
  Parse(device, R"({"name":"Cam","type":"CAMERA","vid":1,"pid":2})");
  PeripheralInfo source;
  Parse(source, R"({"name":"Camera","hw_type":"USB"})");
  R::FillOutInfo(device, source, device);
  EXPECT_STREQ("Camera", device.m_name.GetValue());
  EXPECT_STREQ("CAMERA", device.m_type.GetValue());
  EXPECT_STREQ("USB", device.m_hwType.GetValue());
  EXPECT_EQ(1, device.m_vid.GetValue());
}

TEST_F(PeripheralFill, TypeChoiceFollowsTheSystemType) {
  struct Case {
    const char* system;
    const char* type;
    const char* expected;
  };
  const Case cases[] = {
      {"T1", "T1=headset;ELSE=speaker", "headset"},
      {"T2", "T1=headset;ELSE=speaker", "speaker"},
      {"T1", "ELSE=speaker;T1=headset", "speaker"},  // order breaks ties
      {"t1", "T1=headset;RM800=mic", "T1=headset;RM800=mic"},  // case-sensitive, no ELSE: unchanged
      {"T1", "headset", "headset"},
      {"T1", "broken;T1;T1=a=b;ELSE=c", "a"},  // short entries skipped, extra parts ignored
      {"T1", "T1=;ELSE=x", ""},
      {"T1", "", ""},
  };
  for (const Case& c : cases) {
    SetSystemType(c.system);
    PeripheralInfo out;
    out.m_type.SetValue(std::string(c.type));
    R::EditFilteredOutInfoType(out);
    EXPECT_STREQ(c.expected, out.m_type.GetValue()) << c.system << " " << c.type;
  }
  PeripheralInfo unset;
  R::EditFilteredOutInfoType(unset);
  EXPECT_EQ(nullptr, unset.m_type.GetValue());
}

TEST_F(PeripheralFill, EmptySystemTypeFallsBackToTheHardwareType) {
  SetSystemType("");
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("device/hw_type", "RM800"));
  PeripheralInfo out;
  out.m_type.SetValue(std::string("DP400=HEADSET;RM800=MICROPHONE"));
  R::EditFilteredOutInfoType(out);
  EXPECT_STREQ("MICROPHONE", out.m_type.GetValue());
}

TEST_F(PeripheralFill, ManufacturerComesFromTheNameOrTheVendorId) {
  PeripheralInfo byName;
  Describe(byName, "Velmora Speaker X", 0);
  R::EditManufacturer(byName);
  EXPECT_STREQ("Velmora", byName.m_manufacturer.GetValue());
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "Velmora Speaker X manufacturer = Velmora"));

  PeripheralInfo byVid;
  Describe(byVid, "Speaker", 13360);
  byVid.m_manufacturer.SetValue(std::string("Someone"));
  R::EditManufacturer(byVid);
  EXPECT_STREQ("Velmora", byVid.m_manufacturer.GetValue());

  PeripheralInfo other;
  Describe(other, "velmora speaker", 13361);  // the name test is case-sensitive
  R::EditManufacturer(other);
  EXPECT_EQ(nullptr, other.m_manufacturer.GetValue());
}

TEST(PeripheralStrSplit, KeepsEveryPiece) {
  using Words = std::vector<std::string>;
  Words out;
  strSplit("", ';', out);
  EXPECT_EQ(Words{""}, out);
  out.clear();
  strSplit("a;;b;", ';', out);
  EXPECT_EQ((Words{"a", "", "b", ""}), out);
  strSplit("c", ';', out);  // appends
  EXPECT_EQ((Words{"a", "", "b", "", "c"}), out);
}

}  // namespace
