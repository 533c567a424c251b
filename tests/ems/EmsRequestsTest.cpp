#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ems/EmsRequests.h"
#include "ems/EmsTestSupport.h"

namespace {

TEST(EmsIppStatusRequest, UnfilledReportWritesEveryKeyEmptyInOrder) {
  EmsIppStatusRequest request;
  EXPECT_STREQ("EmsIppStatusRequest", request.GetName());
  const rapidjson::Document document = Parse(ToJson(request));
  EXPECT_EQ(StatusReportKeys(), Keys(document));
  for (auto it = document.MemberBegin(); it != document.MemberEnd(); ++it) {
    const std::string key = it->name.GetString();
    if (key == "additionalParams") {
      EXPECT_TRUE(it->value.IsObject());
      EXPECT_EQ(0u, it->value.MemberCount());
    } else {
      ASSERT_TRUE(it->value.IsString()) << key;
      EXPECT_STREQ("", it->value.GetString()) << key;
    }
  }
}

TEST(ReportedParamsList, KeepsPairsInOrderWithRepeatsInItsOwnedList) {
  EmsIppStatusRequest request;
  request.m_additionalParams.AddElement("device/model", "DP-400");
  request.m_additionalParams.AddElement("k", "first");
  request.m_additionalParams.AddElement("k", "second");
  request.m_additionalParams.AddElement("empty", "");
  const std::string text = ToJson(request);
  EXPECT_NE(std::string::npos,
            text.find(R"("additionalParams":{"device/model":"DP-400","k":"first","k":"second","empty":""}})"))
      << text;

  const ParamsList& params = request.m_additionalParams.GetParams();
  EXPECT_STREQ("ParamsList", params.GetName());
  EXPECT_EQ(1003, params.getElementType());
  EXPECT_EQ(4u, params.size());
  EXPECT_EQ(4u, request.m_additionalParams.GetChildCount());
  std::vector<std::string> names;
  for (auto it = params.GetListIteratorBegin(); it != params.GetListIteratorEnd(); ++it) {
    names.emplace_back((*it)->GetName());
  }
  EXPECT_EQ((std::vector<std::string>{"device/model", "k", "k", "empty"}), names);
}

TEST(ReportedParamsList, NameIsTheOneGivenAndListsOnlyGrowOnRequest) {
  static const char kName[] = "configuration";
  ReportedParamsList list(kName);
  EXPECT_EQ(kName, list.GetName());  // kept by pointer
  ParamsList params;
  EXPECT_NE(nullptr, params.CreateChildByIndex(7));
  EXPECT_EQ(1u, params.size());
  // A fresh pair has no name, so only an empty requested name matches it.
  EXPECT_EQ(nullptr, params.CreateChildByName("anything"));
  EXPECT_EQ(1u, params.size());
  UserDataKeysConf::FunctionKeysList keys;
  EXPECT_STREQ("FunctionKeysList", keys.GetName());
  EXPECT_EQ(1002, keys.getElementType());
}

TEST(EmsCfgReportRequest, PutsItsNamedListAfterTheBaseFields) {
  EmsCfgReportRequest request("cfgParams");
  EXPECT_STREQ("EmsCfgReportRequest", request.GetName());
  EXPECT_STREQ("", request.getPath());
  request.m_sessionId.SetValue(std::string("0a0b0c0d"));
  request.m_params.AddElement("sip/proxy", "sip.example.com");
  const rapidjson::Document document = Parse(ToJson(request));
  EXPECT_EQ((std::vector<std::string>{"sessionId", "emsUserName", "emsUserPassword", "ip", "subnet", "mac",
                                      "cfgParams"}),
            Keys(document));
  EXPECT_STREQ("0a0b0c0d", document["sessionId"].GetString());
  EXPECT_STREQ("sip.example.com", document["cfgParams"]["sip/proxy"].GetString());
}

TEST(EmsHttpCmdRequest, PutsItsPairsAtTheTopLevel) {
  EmsHttpCmdRequest request;
  EXPECT_STREQ("EmsHttpCmdRequest", request.GetName());
  request.AddElement("command", "reboot");
  request.AddElement("delay", "5");
  const rapidjson::Document document = Parse(ToJson(request));
  EXPECT_EQ((std::vector<std::string>{"sessionId", "emsUserName", "emsUserPassword", "ip", "subnet", "mac",
                                      "command", "delay"}),
            Keys(document));
  EXPECT_STREQ("reboot", document["command"].GetString());
}

}  // namespace
