#include <openssl/evp.h>
#include <rapidjson/document.h>

#include <cstring>
#include <vector>

#include "ems/EMSMessageBuilderSfb.h"
#include "ems/EmsAuthorization.h"
#include "ems/EmsTestSupport.h"

namespace {

using BuilderHolder = SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>;
const char kEmpty[] = R"({"sessionId":"","emsUserName":"","emsUserPassword":"","ip":"","subnet":"","mac":"",)";

std::string Md5(const std::string& data) {  // OpenSSL's MD5 directly, not the library's hash
  unsigned char out[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  EVP_Digest(data.data(), data.size(), out, &size, EVP_md5(), nullptr);
  return std::string(reinterpret_cast<char*>(out), size);
}

class EMSMessageBuilderTest : public EmsTest {
 protected:
  void SetUp() override { EmsTest::SetUp(); InitEMSMessageBuilderBaseInstance(); }
  static EMSMessageBuilder* Builder() { return BuilderHolder::Instance(); }
  // A complete status report as a sender builds it.
  static std::string Report() {
    EmsIppStatusRequest request;
    Builder()->BuildStatusBaseMsg(&request);
    EXPECT_TRUE(Builder()->BuildStatusMsg(&request));
    return ToJson(request);
  }
  // The JSON object of the additional parameters that `paths` choose.
  static std::string Additional(const std::string& paths) {
    Set("ems/report/periodic_status_paths", paths);
    EmsIppStatusRequest request;
    Builder()->InsertDmReportPeriodicParams(&request);
    const std::string json = ToJson(request);
    const size_t start = json.find(R"("additionalParams":)") + 19;
    return json.substr(start, json.size() - start - 1);
  }
};

TEST(EmsRequests, ParameterListsFollowTheBaseKeysAndKeepTheirPairsInOrderWithRepeats) {
  EmsCfgReportRequest report("cfgParams");
  for (const char* value : {"first", "second", ""}) report.m_params.AddElement("k", value);
  EXPECT_EQ(std::string(kEmpty) + R"("cfgParams":{"k":"first","k":"second","k":""}})", ToJson(report));
}

TEST_F(EMSMessageBuilderTest, AFullReportFromTheDefaultProfile) {
  const std::string report = Report();
  const std::string session = report.substr(std::strlen(R"({"sessionId":")"), 8);
  unsigned char id[4];
  ASSERT_TRUE(DecodeHex(session.c_str(), id, sizeof id));
  const std::string inner = Md5(std::string("change-me-on-first-use") + "Q7rTz2KdLm9XwB4nHs6VpYc3Ja8EuF1G");
  const std::string hash = Md5(inner + std::string(reinterpret_cast<char*>(id), 4) + "device-manager");
  EXPECT_EQ(R"({"sessionId":")" + session + R"(","emsUserName":"device-manager","emsUserPassword":")" +
                EncodeHex(hash.data(), hash.size()) + R"(","ip":"192.0.2.10","subnet":"255.255.255.0",)"
                R"("mac":"00:11:22:aa:bb:cc","vlanId":"0","model":"DP-400","fwVersion":"3.2.1.1140",)"
                R"("BootLoaderversion":"","MSTeamsversion":"","ApplicationServer":"Generic",)"
                R"("userAgent":"DP-400/3.2.1.1140","location":"12 Main Street, Springfield, US",)"
                R"("userName":"Alex Morgan","userId":"alex.morgan@example.com","phoneNumber":"+15550100",)"
                R"("status":"","sipProxy":"sip.example.com","sync_id":"0","unreceived_request":"0",)"
                R"("BToEpairingstatus":"not paired","BToEversion":"","USBHeadsetType":"","ModelInformation":"",)"
                R"("additionalParams":{"device/model":"DP-400","status/sip/registered":"1",)"
                R"("status/peripheral/device/0/name":"USB Headset"}})",
            report);
  EXPECT_NE(session, Report().substr(std::strlen(R"({"sessionId":")"), 8)) << "a fresh identifier per request";
  Set("ems/server/password", "");
  EXPECT_NE(std::string::npos, Report().find(R"("emsUserName":"","emsUserPassword":"","ip")")) << "no credentials";
  Builder()->BuildStatusBaseMsg(nullptr);
  EXPECT_TRUE(Builder()->BuildStatusMsg(nullptr));
  ExpectLogged("EMSMessageBuilder", {{LOG_ERR, "BuildStatusBaseMsg", "No request to fill"}});
  ExpectLogged("EMSMessageBuilderSfb", {{LOG_ERR, "BuildStatusMsg", "No status request to fill"}});
}

// One field group of the report under settings that differ from the default profile.
struct FieldCase {
  const char* name;
  std::vector<std::pair<const char*, std::string>> settings;
  std::vector<const char*> keys;
  std::string values;  // the keys' values, '|'-separated
};

class ReportField : public EMSMessageBuilderTest, public ::testing::WithParamInterface<FieldCase> {};

TEST_P(ReportField, Is) {
  for (const auto& [path, value] : GetParam().settings) Set(path, value);
  rapidjson::Document report;
  report.Parse(Report().c_str());
  std::string values;
  for (const char* key : GetParam().keys) values += std::string(report[key].GetString()) + "|";
  values.pop_back();
  EXPECT_EQ(GetParam().values, values);
}

const std::string k127(127, 'u'), k133(133, '5');
const char *kUser = "userId", *kPhone = "phoneNumber", *kServer = "sip/application_server", *kUsb = "USBHeadsetType";
const char *kHeadsetType = "status/peripheral/usb_headset_type", *kPaired = "status/btoe/paired";
const std::vector<const char*> kBToE = {"BToEpairingstatus", "BToEversion"}, kServerName = {"ApplicationServer"};
INSTANTIATE_TEST_SUITE_P(Fields, ReportField, ::testing::Values(
    FieldCase{"UserIdOf127AndPhoneNumberOf133BytesAreSent", {{"sip/user_id", k127}, {"sip/phone_number", k133}},
              {kUser, kPhone}, k127 + "|" + k133},
    FieldCase{"UserIdOf128AndPhoneNumberOf134BytesAreLeftOut",
              {{"sip/user_id", k127 + "u"}, {"sip/phone_number", k133 + "5"}}, {kUser, kPhone}, "|"},
    FieldCase{"UnregisteredSendsNoUser", {{"status/sip/registered", "0"}}, {"userName", kUser, kPhone, "sipProxy"},
              "|||"},
    FieldCase{"DeskPhoneSendsItsHeadsetType", {{kHeadsetType, "Wired"}}, {kUsb}, "Wired"},
    FieldCase{"ConferencePhoneSendsNoHeadsetType", {{kHeadsetType, "W"}, {"device/is_conference_phone", "1"}}, {kUsb},
              ""},
    FieldCase{"NumbersInDecimalCountCutTo7", {{"network/vlan/id", "10"}, {"ems/unreceived_requests", "123456789"}},
              {"vlanId", "unreceived_request"}, "10|1234567"},
    FieldCase{"Server3CX", {{kServer, "8"}}, kServerName, "3CX"},
    FieldCase{"ServerPastTheTable", {{kServer, "9"}}, kServerName, "unknown"},
    FieldCase{"ServerBelowTheTable", {{kServer, "-1"}}, kServerName, "unknown"},
    FieldCase{"NoLocationWhenNoneIsConfigured", {{"location/street", ""}, {"location/house_number", ""},
              {"location/city", ""}, {"location/country", ""}}, {"location"}, ""},
    FieldCase{"BToEDisabled", {{"btoe/enabled", "0"}, {kPaired, "1"}, {"status/btoe/version", "2"}}, kBToE,
              "BToE disabled|"},
    FieldCase{"BToEAutoPairedOfUnknownVersion", {{kPaired, "1"}}, kBToE, "auto paired|unknown"},
    FieldCase{"BToEManuallyPaired", {{kPaired, "1"}, {"btoe/pairing_mode", "0"}, {"status/btoe/version", "2.1"}}, kBToE,
              "manual paired|2.1"}),
    [](const ::testing::TestParamInfo<FieldCase>& info) { return std::string(info.param.name); });

TEST_F(EMSMessageBuilderTest, StatusTextForEachPhoneState) {
  const struct { const char *upgrade, *offline; int state; const char* text; } cases[] = {
      {"0", "0", PHONE_STATE_STARTED, "started"}, {"-1", "1", PHONE_STATE_RESTARTING, "restarting"},
      {"0", "0", PHONE_STATE_UPGRADING, "upgrading"}, {"0", "0", PHONE_STATE_PERIODIC, "registered"},
      {"0", "1", PHONE_STATE_PERIODIC, "offline"}, {"-1", "1", PHONE_STATE_PERIODIC, "upgrading"},
      {"-2", "0", 7, "upgrading"}, {"-3", "1", PHONE_STATE_PERIODIC, "offline"}};
  for (const auto& c : cases) {
    Set("status/firmware/upgrade_state", c.upgrade);
    Set("status/sip/line/0/offline", c.offline);
    EXPECT_STREQ(c.text, Builder()->EmsGetStatusStr(static_cast<E_PHONE_STATE_TYPE>(c.state)))
        << c.state << " " << c.upgrade << " " << c.offline;
  }
}

TEST_F(EMSMessageBuilderTest, PathListItemsAreStrippedAndTheFirstStarIsAWildcard) {
  for (const char* path : {"a/b", "c1/d ", "c2/d", "e", "abx", "abxb", "s/1/na*e"}) Set(path, path);
  Set("long/fits", std::string(255, 'f'));
  Set("long/too", std::string(256, 't'));
  const std::pair<const char*, std::string> cases[] = {
      {" /a/b, c*d ,,e", R"({"a/b":"a/b","c1/d ":"c1/d ","e":"e"})"},  // "c*d " keeps its blank
      {"///e,,, //a/b", R"({"e":"e","a/b":"a/b"})"}, {"e, missing/path, e ", R"({"e":"e"})"},
      {"ab*b", R"({"abxb":"abxb"})"}, {"s/*/na*e", R"({"s/1/na*e":"s/1/na*e"})"}, {" / ,, //,", "{}"}, {"", "{}"},
      {"status/peripheral/device/*/name", R"({"status/peripheral/device/0/name":"USB Headset"})"},
      {"long/*", R"({"long/fits":")" + std::string(255, 'f') + "\"}"}};
  for (const auto& [paths, expected] : cases) EXPECT_EQ(expected, Additional(paths)) << paths;
  ExpectLogged("EMSMessageBuilder",
               {{LOG_DEBUG, "InsertDmReportPeriodicParams", "dmReportPeriodicStatusPaths:  / ,, //,"},
                {LOG_DEBUG, "AddParamToMsg", "Insert long/too to status message"}});
}

TEST_F(EMSMessageBuilderTest, UserDataKeysFollowTheReportAndAreCutTo2047Bytes) {
  Set("personal_settings/functional_key/2/value", std::string(3000, 'v'));
  UserDataKeysConf request;
  const std::string json = ToJson(request);
  EXPECT_EQ(R"("additionalParams":{},"UD_personal_settings/functional_key/1/type":"speed_dial",)"
            R"("UD_personal_settings/functional_key/1/value":"+15550199",)"
            R"("UD_personal_settings/functional_key/2/type":"line",)"
            R"("UD_personal_settings/functional_key/2/value":")" + std::string(2047, 'v') + "\"}",
            json.substr(json.find(R"("additionalParams")")));
  EXPECT_FALSE(log_.Contains(LOG_NOTICE, "vmCfgIterGetData")) << "the normal end of the walk logs nothing";
  for (const char* key : {"1/type", "1/value", "2/type", "2/value"}) {
    ASSERT_EQ(VM_CFG_OK, vmCfgDeleteParam(("personal_settings/functional_key/" + std::string(key)).c_str()));
  }
  UserDataKeysConf empty;
  EXPECT_EQ(0u, empty.m_functionKeys.size());
  ExpectLogged("EMSMessageBuilderSfb", {{LOG_NOTICE, "FillUserDataKeysConf", "vmCfgIterGetData return with NULL"}});
}

}  // namespace
