// The peripheral records and the rewriter: scores, filling, the type choice,
// the configured and default filter lists, and who logs what.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <tuple>

#include "peripherals/PeripheralFixture.h"
#include "platform/vmFile.h"
#include "support/JsonText.h"

namespace {

const char kUnit[] = "PeripheralDeviceRewriter";

TEST(PeripheralRecords, WriteEveryKeyInOrderAndKeepUnsetApartFromEmpty) {
  const std::string full = R"({"name":"A","partial_name":"p","vid":1,"pid":2,"type":"T","hw_type":"H",)"
                           R"("additional_info":"I","display_name":"D","manufacturer":"M"})";
  PeripheralInfo info, from, to;
  Parse(info, R"({"name":"Cam","display_name":"","manufacturer":null,"extra":[1]})");
  EXPECT_TRUE(info.m_displayName.IsSet() && !info.m_manufacturer.IsSet());  // "" is set, null is not
  Parse(to, R"({"name":"B","type":"X","vid":3})").CopyFrom(Parse(from, full));
  EXPECT_EQ(full, ToJson(to));
  to.CopyFrom(PeripheralInfo());
  EXPECT_EQ(nullptr, to.m_type.GetValue());  // unset travels as unset
  EXPECT_EQ(std::vector<std::string>{""}, to.m_hwType.GetSpacedNameAsVector());
}

class PeripheralRewriter : public PeripheralTest {
 protected:
  bool Rewrite(const std::string& device) {  // into m_out
    PeripheralInfo in;
    return Rewriter::Instance()->RewritePeripheralInfo(Parse(in, device), m_out);
  }
  PeripheralInfo m_out;
};

TEST_F(PeripheralRewriter, EachRuleSetsItsScoreBit) {
  const std::string dev = R"({"name":"Velmora HS200 Headset","vid":13360,"pid":512,"type":"headset"})";
  const std::tuple<std::string, const char*, unsigned> cases[] = {
      {dev, R"({"name":"velmora hs200 HEADSET","partial_name":"HS200"})", 16},  // exact, not also contained
      {dev, R"({"type":"HEADSET"})", 8},
      {dev, R"({"name":"hs200"})", 4},
      {dev, R"({"vid":13360,"pid":512})", 3},
      {dev, R"({"partial_name":"hs2","type":"headset","vid":1,"pid":512})", 14},
      {dev, R"({"name":"Velmora HS200 Headset!","type":"HEADSETS","pid":513,"partial_name":"cam"})", 0},
  };
  for (const auto& c : cases) {
    PeripheralInfo d, f;
    EXPECT_EQ(std::get<2>(c), Rewriter::CalculateFilterMatchScore(Parse(d, std::get<0>(c)), Parse(f, std::get<1>(c))));
  }
  ExpectLogged(kUnit, {{LOG_DEBUG, "IsCompatibleName", "A compatible filter with the exact name velmora hs200 HEAD"},
                       {LOG_DEBUG, "IsCompatibleName",
                        "A compatible filter with partial name: hs2 was found for peripheral Velmora HS200 Head"},
                       {LOG_DEBUG, "IsCompatibleType", "A compatible filter with the exact type HEADSET was found!"}});
}

TEST_F(PeripheralRewriter, FilterCanBlankAnyFieldButTheName) {
  PeripheralInfo device, blanks, out;
  Parse(device, R"({"name":"Cam X","partial_name":"x","vid":5,"pid":6,"type":"CAMERA","hw_type":"USB",
                    "additional_info":"info","display_name":"Cam","manufacturer":"Maker"})");
  Parse(blanks, R"({"name":"","partial_name":"y","vid":9,"pid":9,"type":"","hw_type":"","additional_info":"",
                    "display_name":"","manufacturer":""})");
  Rewriter::FillOutInfo(device, blanks, out);
  EXPECT_EQ(R"({"name":"Cam X","partial_name":"","vid":5,"pid":6,"type":"","hw_type":"","additional_info":"",)"
            R"("display_name":"","manufacturer":""})", ToJson(out));
}

TEST_F(PeripheralRewriter, TypeChoiceFollowsTheSystemTypeReadIntoThirtyTwoBytes) {
  Set("device/hw_type", "RM800");
  const std::string s31(31, 'S'), s32 = s31 + "2";
  const std::string cases[][3] = {
      {"T1", "ELSE=speaker;T1=headset", "speaker"},  {"t1", "T1=headset;RM800=mic", "T1=headset;RM800=mic"},
      {"T1", "broken;T1;T1=a=b;ELSE=c", "a"},        {"T1", "T1=;ELSE=x", ""},
      {"", "DP400=HEADSET;RM800=MICROPHONE", "MICROPHONE"},  // no system type: the hardware type
      {s31, s31 + "=a;ELSE=b", "a"},                 {s32, s32 + "=a;ELSE=b", "b"},  // read cut to 31
      {s32, s31 + "=a;ELSE=b", "a"},
  };
  for (const auto& c : cases) {
    Set("system/type", c[0]);
    PeripheralInfo out;
    out.m_type.SetValue(c[1]);
    Rewriter::EditFilteredOutInfoType(out);
    EXPECT_EQ(c[2], out.m_type.GetString()) << c[0] << " " << c[1];
  }
}

TEST_F(PeripheralRewriter, BestScoreWinsTiesKeepTheFirstAndNoMatchLeavesOutAlone) {
  PeripheralDeviceFiltersJson doc;
  ASSERT_TRUE(Rewriter::GetFilterListFromString(
      Document(Filter(R"({"pid":512})", R"({"name":"by pid"})") + "," +
               Filter(R"({"partial_name":"hs2"})", R"({"name":"by partial name"})") + "," +
               Filter(R"({"name":"HS2"})", R"({"name":"by contained name"})")), doc));
  PeripheralInfo in, out, stranger, untouched;
  ASSERT_TRUE(Rewriter::FindFilterInList(Parse(in, R"({"name":"Velmora HS200","vid":13360,"pid":512})"), out,
                                         doc.m_filters));
  EXPECT_STREQ("by partial name", out.m_name.GetValue());
  untouched.m_name.SetValue(std::string("kept"));
  EXPECT_FALSE(Rewriter::FindFilterInList(Parse(stranger, R"({"name":"Mouse","pid":2})"), untouched, doc.m_filters));
  EXPECT_STREQ("kept", untouched.m_name.GetValue());
  // A bad text leaves no filter behind, even in a document that held some.
  EXPECT_FALSE(Rewriter::GetFilterListFromString(R"({"filters":[{"in":{"name":"A"}},{"in":{"vid":true}}]})", doc) ||
               doc.m_filters.size() != 0);
  ExpectLogged(kUnit, {{LOG_NOTICE, "GetFilterListFromString", "call DeSerialize successed.\n"},
                       {LOG_ERR, "GetFilterListFromString", "call DeSerialize failed.\n"},
                       {LOG_NOTICE, "PrintPeripheralInfo", "out: name=by contained name vid=-1 pid=-1"},
                       {LOG_DEBUG, "FindFilterInList", "score of Velmora HS200 is 4"},
                       {LOG_DEBUG, "FindFilterInList",
                        "A compatible filter for peripheral Velmora HS200 with vid: 13360 pid: 512 was found!"}});
}

TEST_F(PeripheralRewriter, ConfiguredFiltersComeFirstAndAreReadEachTime) {
  WriteDefaultFilters(Document(Filter(R"({"name":"Velmora HS200"})", R"({"name":"from default"})")));
  Set("peripheral/filters", Document(Filter(R"({"pid":512})", R"({"name":"from config"})")));
  ASSERT_TRUE(Rewrite(R"({"name":"Velmora HS200","pid":512})"));
  EXPECT_STREQ("from config", m_out.m_name.GetValue());
  ASSERT_TRUE(Rewrite(R"({"name":"Velmora HS200","pid":513})"));
  EXPECT_STREQ("from default", m_out.m_name.GetValue());
  Set("peripheral/filters", Document(Filter(R"({"pid":513})", R"({"name":"changed"})")));
  ASSERT_TRUE(Rewrite(R"({"name":"Velmora HS200","pid":513})"));
  EXPECT_STREQ("changed", m_out.m_name.GetValue());
  Set("peripheral/filters", "{\"filters\":[{\"in\":");  // bad each time, also when already parsed
  for (int pass = 0; pass < 2; ++pass) EXPECT_TRUE(Rewrite(R"({"name":"Velmora HS200","pid":513})"));
  EXPECT_STREQ("from default", m_out.m_name.GetValue());
  const std::string file = m_db.directory() + "/default.json";
  ExpectLogged(kUnit, {{LOG_DEBUG, "GetFilterListFromJsonFile", "fileName: " + file + " buffer: {\"name\":\"t\""},
                       {LOG_NOTICE, "PrintPeripheralInfo", "to rewrite: name=Velmora HS200 vid=-1 pid=513"},
                       {LOG_DEBUG, "RewritePeripheralInfo", "A compatible filter was found in config"},
                       {LOG_DEBUG, "RewritePeripheralInfo", "A compatible filter was found in default filters list"}});
}

TEST_F(PeripheralRewriter, NoMatchCopiesTheDeviceThroughTheEdits) {
  Set("system/type", "DP400");
  Set("peripheral/filters", Document(Filter(R"({"name":"other"})", R"({"name":"x"})")));
  EXPECT_FALSE(Rewrite(R"({"name":"Velmora Puck","vid":7,"pid":8,"type":"DP400=SPEAKER;ELSE=OTHER",
                          "partial_name":"not copied","display_name":"Puck"})"));
  EXPECT_EQ(R"({"name":"Velmora Puck","partial_name":"","vid":7,"pid":8,"type":"SPEAKER","hw_type":"",)"
            R"("additional_info":"","display_name":"Puck","manufacturer":"Velmora"})", ToJson(m_out));
  ExpectLogged(kUnit, {{LOG_DEBUG, "EditManufacturer", "Velmora Puck manufacturer = Velmora"}});
}

TEST_F(PeripheralRewriter, DefaultFileIsReadOnceAndOnlyWhenWholeAndRegular) {
  const std::string dir = m_db.directory();
  ASSERT_EQ(0, mkfifo((dir + "/fifo").c_str(), 0600));
  WriteFile(dir + "/big.json", Document(Filter(R"({"name":")" + std::string(VM_FILE_CAP_JSON, 'n') + "\"}", "{}")));
  for (const std::string& path : {dir + "/fifo", dir + "/absent.json", dir, dir + "/big.json"}) {
    PeripheralDeviceFiltersJson doc;
    EXPECT_FALSE(Rewriter::GetFilterListFromJsonFile(path, doc)) << path;
  }
  WriteDefaultFilters(Document(Filter(R"({"name":"Dock","display_name":"in"})", R"({"display_name":"Desk Dock"})") +
                               "," + Filter(R"({"name":"Bare"})", R"({"name":"Bare Renamed"})")));
  Set("peripheral/filters", Document(Filter(R"({"name":"Cfg"})", R"({"display_name":"Configured"})")));
  Rewriter* rewriter = Rewriter::Instance();
  WriteDefaultFilters(Document(""));
  EXPECT_EQ("Desk Dock", rewriter->GetDisplayName("Dock"));
  for (const char* other : {"dock", "Bare", "Cfg", ""}) EXPECT_EQ("", rewriter->GetDisplayName(other)) << other;
  ExpectLogged(kUnit, {{LOG_DEBUG, "GetDisplayName", "check  Dock display name in"},
                       {LOG_DEBUG, "GetDisplayName", "found a match! Dock display name is Desk Dock"}});
}

}  // namespace
