#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstring>
#include <string>
#include <vector>

#include "ems/EMSMessageBuilderSfb.h"
#include "ems/EmsAuthorization.h"
#include "ems/EmsTestSupport.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

using BuilderHolder = SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>;

class EMSMessageBuilderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Set("network/override/mac", "00:11:22:aa:bb:cc");
    Set("network/override/ip_address", "192.0.2.10");
    Set("network/override/netmask", "255.255.255.0");
    InitEMSMessageBuilderBaseInstance();
  }

  static void Set(const char* path, const std::string& value) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, value.c_str())) << path;
  }

  static EMSMessageBuilder* Builder() {
    return BuilderHolder::Instance();
  }

  // Builds a complete status report as a sender does and parses its JSON.
  static rapidjson::Document Report() {
    EmsIppStatusRequest request;
    Builder()->BuildStatusBaseMsg(&request);
    EXPECT_TRUE(Builder()->BuildStatusMsg(&request));
    char text[16384];
    EXPECT_EQ(0, uJson::Serializer::Serialize(request, text, sizeof text));
    return Parse(text);
  }

  static std::string Field(const rapidjson::Document& report, const char* key) {
    EXPECT_TRUE(report.HasMember(key)) << key;
    return report.HasMember(key) && report[key].IsString() ? report[key].GetString() : "<missing>";
  }

  // The additional parameters chosen by `paths`, as (key, value) in order.
  static std::vector<std::pair<std::string, std::string>> Additional(const std::string& paths) {
    Set("ems/report/periodic_status_paths", paths);
    EmsIppStatusRequest request;
    Builder()->InsertDmReportPeriodicParams(&request);
    const rapidjson::Document document = Parse(ToJson(request));
    std::vector<std::pair<std::string, std::string>> pairs;
    const rapidjson::Value& params = document["additionalParams"];
    for (auto it = params.MemberBegin(); it != params.MemberEnd(); ++it) {
      pairs.emplace_back(it->name.GetString(), it->value.GetString());
    }
    return pairs;
  }

  TempDatabase m_db;
};

using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST_F(EMSMessageBuilderTest, FullReportFromTheDefaultProfile) {
  const rapidjson::Document report = Report();
  EXPECT_EQ(StatusReportKeys(), Keys(report));

  const std::string session = Field(report, "sessionId");
  ASSERT_EQ(8u, session.size());
  EXPECT_EQ(std::string::npos, session.find_first_not_of("0123456789abcdef")) << session;
  EXPECT_EQ("device-manager", Field(report, "emsUserName"));
  // The hash covers exactly the four bytes sent as the session identifier.
  unsigned char bytes[4];
  ASSERT_TRUE(DecodeHex(session.c_str(), bytes, sizeof bytes));
  uint32_t id = 0;
  std::memcpy(&id, bytes, sizeof id);
  unsigned char hash[16];
  AuthorizationHash(id, "device-manager", "change-me-on-first-use", hash);
  EXPECT_EQ(EncodeHex(hash, sizeof hash), Field(report, "emsUserPassword"));

  EXPECT_EQ("192.0.2.10", Field(report, "ip"));
  EXPECT_EQ("255.255.255.0", Field(report, "subnet"));
  EXPECT_EQ("00:11:22:aa:bb:cc", Field(report, "mac"));
  EXPECT_EQ("0", Field(report, "vlanId"));
  EXPECT_EQ("DP-400", Field(report, "model"));
  EXPECT_EQ("3.2.1.1140", Field(report, "fwVersion"));
  EXPECT_EQ("", Field(report, "BootLoaderversion"));
  EXPECT_EQ("", Field(report, "MSTeamsversion"));
  EXPECT_EQ("Generic", Field(report, "ApplicationServer"));
  EXPECT_EQ("DP-400/3.2.1.1140", Field(report, "userAgent"));
  EXPECT_EQ("12 Main Street, Springfield, US", Field(report, "location"));
  EXPECT_EQ("Alex Morgan", Field(report, "userName"));
  EXPECT_EQ("alex.morgan@example.com", Field(report, "userId"));
  EXPECT_EQ("+15550100", Field(report, "phoneNumber"));
  EXPECT_EQ("", Field(report, "status"));
  EXPECT_EQ("sip.example.com", Field(report, "sipProxy"));
  EXPECT_EQ("0", Field(report, "sync_id"));
  EXPECT_EQ("0", Field(report, "unreceived_request"));
  EXPECT_EQ("not paired", Field(report, "BToEpairingstatus"));
  EXPECT_EQ("", Field(report, "BToEversion"));
  EXPECT_EQ("", Field(report, "ModelInformation"));
  // The profile's list: two plain paths (one with a leading '/') and a wildcard.
  const rapidjson::Value& extra = report["additionalParams"];
  EXPECT_EQ((std::vector<std::string>{"device/model", "status/sip/registered", "status/peripheral/device/0/name"}),
            Keys(extra));
  EXPECT_STREQ("USB Headset", extra["status/peripheral/device/0/name"].GetString());

  EXPECT_NE(session, Field(Report(), "sessionId"));  // a fresh identifier per request
}

TEST_F(EMSMessageBuilderTest, NoCredentialsLeaveNameAndHashEmpty) {
  Set("ems/server/user_name", "");
  Set("ems/server/password", "");
  const rapidjson::Document report = Report();
  EXPECT_EQ(8u, Field(report, "sessionId").size());
  EXPECT_EQ("", Field(report, "emsUserName"));
  EXPECT_EQ("", Field(report, "emsUserPassword"));
}

TEST_F(EMSMessageBuilderTest, RegistrationConferenceAndNumberFields) {
  Set("status/peripheral/usb_headset_type", "Wired");
  Set("network/vlan/id", "100");
  Set("ems/unreceived_requests", "123456789");  // cut to its 8-byte buffer
  Set("sip/application_server", "6");
  rapidjson::Document report = Report();
  EXPECT_EQ("Wired", Field(report, "USBHeadsetType"));
  EXPECT_EQ("100", Field(report, "vlanId"));
  EXPECT_EQ("1234567", Field(report, "unreceived_request"));
  EXPECT_EQ("SfB", Field(report, "ApplicationServer"));

  Set("status/sip/registered", "0");
  Set("device/is_conference_phone", "1");
  Set("ems/unreceived_requests", "-12");
  Set("sip/application_server", "9");
  Set("location/street", "");
  Set("location/house_number", "");
  Set("location/city", "");
  Set("location/country", "");
  report = Report();
  for (const char* key : {"userName", "userId", "phoneNumber", "sipProxy", "USBHeadsetType", "location"}) {
    EXPECT_EQ("", Field(report, key)) << key;
  }
  EXPECT_EQ("-12", Field(report, "unreceived_request"));
  EXPECT_EQ("unknown", Field(report, "ApplicationServer"));
}

TEST_F(EMSMessageBuilderTest, PairingStatusAndVersion) {
  struct Case {
    const char* enabled;
    const char* paired;
    const char* mode;
    const char* version;
    const char* status;
    const char* shown_version;
  } cases[] = {
      {"0", "1", "1", "2.0", "BToE disabled", ""},
      {"1", "0", "1", "2.0", "not paired", ""},
      {"1", "1", "1", "", "auto paired", "unknown"},
      {"1", "1", "2", "2.0.17", "manual paired", "2.0.17"},
      {"1", "1", "0", "2.0.17", "manual paired", "2.0.17"},
  };
  for (const Case& c : cases) {
    Set("btoe/enabled", c.enabled);
    Set("status/btoe/paired", c.paired);
    Set("btoe/pairing_mode", c.mode);
    Set("status/btoe/version", c.version);
    EmsIppStatusRequest request;
    Builder()->SetBToEParams(&request);
    EXPECT_EQ(c.status, request.m_BToEpairingstatus.GetString()) << c.enabled << c.paired << c.mode;
    EXPECT_EQ(c.shown_version, request.m_BToEversion.GetString()) << c.enabled << c.paired << c.mode;
  }
}

TEST_F(EMSMessageBuilderTest, StatusTextForEachPhoneState) {
  EMSMessageBuilder* builder = Builder();
  EXPECT_STREQ("started", builder->EmsGetStatusStr(PHONE_STATE_STARTED));
  EXPECT_STREQ("restarting", builder->EmsGetStatusStr(PHONE_STATE_RESTARTING));
  EXPECT_STREQ("upgrading", builder->EmsGetStatusStr(PHONE_STATE_UPGRADING));
  EXPECT_STREQ("registered", builder->EmsGetStatusStr(PHONE_STATE_PERIODIC));
  Set("status/sip/line/0/offline", "1");
  EXPECT_STREQ("offline", builder->EmsGetStatusStr(PHONE_STATE_PERIODIC));
  EXPECT_STREQ("started", builder->EmsGetStatusStr(PHONE_STATE_STARTED));
  Set("status/firmware/upgrade_state", "-1");
  EXPECT_STREQ("upgrading", builder->EmsGetStatusStr(PHONE_STATE_PERIODIC));
  Set("status/firmware/upgrade_state", "-2");
  EXPECT_STREQ("upgrading", builder->EmsGetStatusStr(static_cast<E_PHONE_STATE_TYPE>(7)));
  Set("status/firmware/upgrade_state", "-3");
  EXPECT_STREQ("offline", builder->EmsGetStatusStr(PHONE_STATE_PERIODIC));
}

TEST_F(EMSMessageBuilderTest, PathListItemsAreSplitAndStripped) {
  Set("a/b", "1");
  Set("c1/d ", "with blank");
  Set("c2/d", "no blank");
  Set("e", "5");
  // Items: "a/b", "c*d " (its trailing blank kept) and "e".
  EXPECT_EQ((Pairs{{"a/b", "1"}, {"c1/d ", "with blank"}, {"e", "5"}}), Additional(" /a/b, c*d ,,e"));
  EXPECT_EQ((Pairs{{"e", "5"}, {"a/b", "1"}}), Additional("///e,,, //a/b"));
  EXPECT_EQ((Pairs{{"e", "5"}}), Additional("e, missing/path, e "));  // "e " is another, missing path

  LogCapture log;
  EXPECT_EQ(Pairs{}, Additional(" / ,, //,"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "dmReportPeriodicStatusPaths:  / ,, //,"));
  EXPECT_EQ(Pairs{}, Additional(""));
}

TEST_F(EMSMessageBuilderTest, WildcardIsTheFirstStarAndMatchesFromItsPosition) {
  Set("status/peripheral/device/1/name", "Camera");
  Set("status/peripheral/device/1/na*e", "literal star");
  Set("abx", "suffix only before the star");
  Set("abxb", "suffix after the star");
  EXPECT_EQ((Pairs{{"status/peripheral/device/0/name", "USB Headset"}, {"status/peripheral/device/1/name", "Camera"}}),
            Additional("status/peripheral/device/*/name"));
  EXPECT_EQ((Pairs{{"status/peripheral/device/1/na*e", "literal star"}}),
            Additional("status/peripheral/device/*/na*e"));
  EXPECT_EQ((Pairs{{"abxb", "suffix after the star"}}), Additional("ab*b"));
  EXPECT_EQ(Pairs{}, Additional("status/peripheral/device/*/serial"));
  EXPECT_EQ(Pairs{}, Additional("nothing/here/*"));
}

TEST_F(EMSMessageBuilderTest, ValuesThatDoNotFitTheBufferAreLeftOut) {
  Set("long/fits", std::string(255, 'f'));
  Set("long/too", std::string(256, 't'));
  Set("long/zz", "after");
  LogCapture log;
  EXPECT_EQ((Pairs{{"long/fits", std::string(255, 'f')}, {"long/zz", "after"}}), Additional("long/*"));
  EXPECT_EQ((Pairs{{"long/zz", "after"}}), Additional("long/too, long/zz"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Insert long/too to status message"));
}

TEST_F(EMSMessageBuilderTest, UserDataKeysFollowTheStatusReport) {
  UserDataKeysConf request;
  EXPECT_STREQ("UserDataKeysConf", request.GetName());
  EXPECT_STREQ("", request.getPath());
  Builder()->BuildStatusBaseMsg(&request);
  Builder()->BuildStatusMsg(&request);
  const rapidjson::Document document = Parse(ToJson(request));
  std::vector<std::string> expected = StatusReportKeys();
  for (const char* key : {"UD_personal_settings/functional_key/1/type", "UD_personal_settings/functional_key/1/value",
                          "UD_personal_settings/functional_key/2/type", "UD_personal_settings/functional_key/2/value"}) {
    expected.emplace_back(key);
  }
  EXPECT_EQ(expected, Keys(document));
  EXPECT_STREQ("speed_dial", document["UD_personal_settings/functional_key/1/type"].GetString());
  EXPECT_STREQ("+15550199", document["UD_personal_settings/functional_key/1/value"].GetString());
  EXPECT_EQ(4u, request.m_functionKeys.size());
}

TEST_F(EMSMessageBuilderTest, UserDataKeysAreBoundedAndAnEmptyTableIsNoticed) {
  Set("personal_settings/functional_key/1/value", std::string(3000, 'v'));
  {
    LogCapture log;
    UserDataKeysConf request;
    const rapidjson::Document document = Parse(ToJson(request));
    EXPECT_EQ(std::string(2047, 'v'), document["UD_personal_settings/functional_key/1/value"].GetString());
    EXPECT_FALSE(log.Contains(LOG_NOTICE, "vmCfgIterGetData return with NULL"));  // the normal end
  }
  // Another process (here: the sqlite3 library itself) empties the table.
  sqlite3* db = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(m_db.path().c_str(), &db));
  sqlite3_busy_timeout(db, 5000);
  EXPECT_EQ(SQLITE_OK, sqlite3_exec(db, "DELETE FROM params WHERE path LIKE 'personal_settings/functional_key/%'",
                                    nullptr, nullptr, nullptr));
  sqlite3_close(db);
  LogCapture log;
  UserDataKeysConf request;
  EXPECT_EQ(StatusReportKeys(), Keys(Parse(ToJson(request))));
  EXPECT_TRUE(log.Contains(LOG_NOTICE, "vmCfgIterGetData return with NULL"));
}

TEST(EMSMessageBuilderInstance, AskingBeforeInitialisationStopsTheProcess) {
  EXPECT_DEATH(BuilderHolder::Instance(),
               "EMSMessageBuilder.*Assertion `m_Instance' failed");
  EXPECT_DEATH({ UserDataKeysConf request; }, "m_Instance");
}

TEST(EMSMessageBuilderInstance, InitialisationInstallsOneSharedBuilder) {
  TempDatabase db;
  InitEMSMessageBuilderBaseInstance();
  EMSMessageBuilder* first = BuilderHolder::Instance();
  ASSERT_NE(nullptr, dynamic_cast<EMSMessageBuilderSfb*>(first));
  InitEMSMessageBuilderBaseInstance();
  EXPECT_EQ(first, BuilderHolder::Instance());
  EXPECT_EQ(first, EMSMessageBuilderSfb::Instance().get());
}

}  // namespace
