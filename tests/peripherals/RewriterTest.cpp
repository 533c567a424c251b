// The rewriter end to end: the configured and default filter lists, the
// default file's life, and bad filter documents.
#include <gtest/gtest.h>

#include <string>

#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralFixture.h"
#include "platform/uJson.h"

namespace {

using R = PeripheralDeviceRewriter;

std::string Filter(const std::string& in, const std::string& out) {
  return "{\"in\":" + in + ",\"out\":" + out + "}";
}

std::string Document(const std::string& filters) { return "{\"name\":\"test\",\"filters\":[" + filters + "]}"; }

class PeripheralRewriter : public PeripheralTest {
 protected:
  // Rewrites a device; returns the rewriter's result.
  bool Rewrite(const char* name, int vid = -1, int pid = -1, const char* type = nullptr) {
    PeripheralInfo in;
    Describe(in, name, vid, pid, type);
    return R::Instance()->RewritePeripheralInfo(in, m_out);
  }
  PeripheralInfo m_out;
};

TEST_F(PeripheralRewriter, BestScoreWinsAndTiesKeepTheFirstFilter) {
  PeripheralDeviceFiltersJson doc;
  ASSERT_TRUE(R::GetFilterListFromString(
      Document(Filter(R"({"pid":512})", R"({"name":"by pid"})") + "," +
               Filter(R"({"partial_name":"hs2"})", R"({"name":"by partial name"})") + "," +
               Filter(R"({"name":"HS2"})", R"({"name":"by contained name"})")),
      doc));
  PeripheralInfo in;
  Describe(in, "Velmora HS200", 13360, 512);
  PeripheralInfo out;
  ASSERT_TRUE(R::FindFilterInList(in, out, doc.m_filters));
  EXPECT_STREQ("by partial name", out.m_name.GetValue());
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "score of Velmora HS200 is 2"));
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "score of Velmora HS200 is 4"));
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "A compatible filter for peripheral Velmora HS200 with vid: 13360 pid: 512 was found!"));

  PeripheralInfo stranger;
  Describe(stranger, "Mouse", 1, 2);
  PeripheralInfo untouched;
  untouched.m_name.SetValue(std::string("kept"));
  EXPECT_FALSE(R::FindFilterInList(stranger, untouched, doc.m_filters));
  EXPECT_STREQ("kept", untouched.m_name.GetValue());
}

TEST_F(PeripheralRewriter, ConfiguredFilterWinsOverABetterDefaultOne) {
  WriteDefaultFilters(Document(Filter(R"({"name":"Velmora HS200"})", R"({"name":"from default"})")));
  SetConfiguredFilters(Document(Filter(R"({"pid":512})", R"({"name":"from config"})")));
  ASSERT_TRUE(Rewrite("Velmora HS200", 13360, 512));
  EXPECT_STREQ("from config", m_out.m_name.GetValue());
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "A compatible filter was found in config"));

  // No configured match: the default list decides.
  ASSERT_TRUE(Rewrite("Velmora HS200", 13360, 513));
  EXPECT_STREQ("from default", m_out.m_name.GetValue());
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "A compatible filter was found in default filters list"));

  // A changed text applies at the next rewrite, although the last one is kept parsed.
  SetConfiguredFilters(Document(Filter(R"({"pid":513})", R"({"name":"changed"})")));
  ASSERT_TRUE(Rewrite("Velmora HS200", 13360, 513));
  EXPECT_STREQ("changed", m_out.m_name.GetValue());
}

TEST_F(PeripheralRewriter, MalformedConfiguredTextFallsBackToDefaults) {
  WriteDefaultFilters(Document(Filter(R"({"partial_name":"cam"})", R"({"type":"CAMERA"})")));
  SetConfiguredFilters("{\"filters\":[{\"in\":");
  for (int pass = 0; pass < 2; ++pass) {  // the second finds the text already parsed
    ASSERT_TRUE(Rewrite("Webcam"));
    EXPECT_STREQ("CAMERA", m_out.m_type.GetValue());
  }
  int failures = 0;
  for (const CapturedLine& line : m_log.lines()) failures += line.text == "call DeSerialize failed.\n";
  EXPECT_EQ(2, failures);
}

TEST_F(PeripheralRewriter, NoMatchCopiesTheDeviceThroughTheEdits) {
  SetSystemType("DP400");
  SetConfiguredFilters(Document(Filter(R"({"name":"other"})", R"({"name":"x"})")));
  PeripheralInfo in;
  Describe(in, "Velmora Puck", 7, 8, "DP400=SPEAKER;ELSE=OTHER");
  in.m_partialName.SetValue(std::string("not copied"));
  in.m_displayName.SetValue(std::string("Puck"));
  EXPECT_FALSE(R::Instance()->RewritePeripheralInfo(in, m_out));
  EXPECT_STREQ("Velmora Puck", m_out.m_name.GetValue());
  EXPECT_EQ(nullptr, m_out.m_partialName.GetValue());
  EXPECT_STREQ("Puck", m_out.m_displayName.GetValue());
  EXPECT_EQ(7, m_out.m_vid.GetValue());
  EXPECT_EQ(8, m_out.m_pid.GetValue());
  EXPECT_STREQ("SPEAKER", m_out.m_type.GetValue());
  EXPECT_STREQ("Velmora", m_out.m_manufacturer.GetValue());
  EXPECT_TRUE(m_log.Contains(LOG_NOTICE, "to rewrite: name=Velmora Puck vid=7 pid=8"));
}

TEST_F(PeripheralRewriter, DeviceWithoutIdsMatchesOnlyByNameOrType) {
  SetConfiguredFilters(Document(Filter(R"({"pid":-1,"vid":-1})", R"({"name":"by unknown ids"})") + "," +
                                Filter(R"({"type":"HEADSET"})", R"({"name":"by type"})")));
  EXPECT_FALSE(Rewrite("Thing"));
  EXPECT_STREQ("Thing", m_out.m_name.GetValue());
  ASSERT_TRUE(Rewrite("Thing", -1, -1, "headset"));
  EXPECT_STREQ("by type", m_out.m_name.GetValue());
}

TEST_F(PeripheralRewriter, DefaultFileIsReadOnceAtCreation) {
  WriteDefaultFilters(Document(Filter(R"({"name":"Dock"})", R"({"display_name":"Desk Dock"})")));
  EXPECT_EQ(1u, R::Instance()->m_filters.size());
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "fileName: " + m_db.directory() + "/default_filters.json buffer: {"));
  WriteDefaultFilters(Document(""));
  EXPECT_EQ(1u, R::Instance()->m_filters.size());
  EXPECT_EQ("Desk Dock", R::Instance()->GetDisplayName("Dock"));
}

TEST_F(PeripheralRewriter, MissingOrBadDefaultFileLeavesAnEmptyList) {
  for (const char* text : {"", "{\"filters\":[{\"in\":{\"name\":\"A\"}},{\"in\":{\"vid\":true}}]}", "[1,2]"}) {
    PeripheralDeviceFiltersJson doc;
    const std::string path = m_db.directory() + "/bad.json";
    WriteFile(path, text);
    EXPECT_FALSE(R::GetFilterListFromJsonFile(path, doc)) << text;
    EXPECT_EQ(0u, doc.m_filters.size()) << text;  // no half-read list
  }
  PeripheralDeviceFiltersJson doc;
  EXPECT_FALSE(R::GetFilterListFromJsonFile(m_db.directory() + "/absent.json", doc));
  EXPECT_FALSE(R::GetFilterListFromJsonFile(m_db.directory(), doc));  // a directory

  // The fixture's default file does not exist: rewrites still work.
  EXPECT_EQ(0u, R::Instance()->m_filters.size());
  EXPECT_FALSE(Rewrite("Anything"));
  EXPECT_STREQ("Anything", m_out.m_name.GetValue());
}

TEST_F(PeripheralRewriter, DisplayNameLooksOnlyAtExactDefaultNames) {
  WriteDefaultFilters(Document(Filter(R"({"name":"Dock","display_name":"in-name"})", R"({"display_name":"Desk Dock"})") +
                               "," + Filter(R"({"name":"Bare"})", R"({"name":"Bare Renamed"})")));
  SetConfiguredFilters(Document(Filter(R"({"name":"Cfg"})", R"({"display_name":"Configured"})")));
  R* rewriter = R::Instance();
  EXPECT_EQ("Desk Dock", rewriter->GetDisplayName("Dock"));
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "check  Dock display name in-name"));
  EXPECT_TRUE(m_log.Contains(LOG_DEBUG, "found a match! Dock display name is Desk Dock"));
  EXPECT_EQ("", rewriter->GetDisplayName("dock"));  // case-sensitive
  EXPECT_EQ("", rewriter->GetDisplayName("Bare"));  // unset display name
  EXPECT_EQ("", rewriter->GetDisplayName("Cfg"));   // configured filters are not consulted
  EXPECT_EQ("", rewriter->GetDisplayName(""));
}

TEST_F(PeripheralRewriter, ThousandsOfFiltersAndLongNames) {
  const std::string longName(4096, 'N');
  std::string filters;
  for (int i = 0; i < 2000; ++i) {
    if (i) filters += ",";
    filters += Filter("{\"name\":\"device " + std::to_string(i) + "\",\"pid\":" + std::to_string(i) + "}",
                      "{\"name\":\"renamed " + std::to_string(i) + "\"}");
  }
  filters += "," + Filter("{\"partial_name\":\"" + longName.substr(0, 1000) + "\"}", R"({"display_name":"long"})");
  WriteDefaultFilters(Document(filters));
  ASSERT_EQ(2001u, R::Instance()->m_filters.size());
  ASSERT_TRUE(Rewrite("DEVICE 1999", -1, 7));
  EXPECT_STREQ("renamed 1999", m_out.m_name.GetValue());
  ASSERT_TRUE(Rewrite(("x" + longName).c_str()));
  EXPECT_STREQ("long", m_out.m_displayName.GetValue());
  EXPECT_EQ(longName.size() + 1, m_out.m_name.GetString().size());
}

}  // namespace
