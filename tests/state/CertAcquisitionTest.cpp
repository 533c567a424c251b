#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "alerts/AlertManager.h"
#include "state/CertAcquisition.h"
#include "state/StateFixture.h"
#include "state/uSystemState.h"

namespace {

const char kUnit[] = "SCEPEnrollUtility";
const std::string kCN = "/C=US/O=Test Org/CN=";

// The test folder is the certificate directory: "device.crt", "CAROOT.crt"
// and intermediates in "CAcerts/". The check follows names, so one key signs all.
class CertChain : public StateFixture {
 protected:
  X509* Cert(const std::string& name, X509* issuer, const std::string& file = "") {
    return Make({name, -60, 86400, nullptr, 1, issuer}, file);
  }
  std::string Ca() const { return Path("CAcerts/"); }
  int Check() { return check_local_cert_chain(db_.directory().c_str()); }
};

TEST_F(CertChain, DeviceIssuedByTheRootNeedsNoIntermediates) {
  Cert("device", Cert("Root CA", nullptr, "CAROOT.crt"), "device.crt");
  EXPECT_EQ(1, Check());
  ExpectLogged(kUnit, {{LOG_DEBUG, "check_local_cert_chain", "Root cert is the localCert issuer"}});
  EXPECT_EQ(0u, Count("Checking directory")) << "CAcerts/ does not exist and must not be read";
  Cert("device", Cert("Root", nullptr), "device.crt");  // a prefix of the root's subject counts as the root
  EXPECT_EQ(1, Check());
  Cert("device", Cert("Root CA 2", nullptr), "device.crt");
  EXPECT_EQ(0, Check());
}

TEST_F(CertChain, IntermediatesAreFollowedUpToTheRoot) {
  X509* root = Cert("Root CA", nullptr, "CAROOT.crt");
  ASSERT_EQ(0, mkdir(Ca().c_str(), 0700));
  Cert("device", Cert("Issuing CA", Cert("Policy CA", root, "CAcerts/policy.pem"), "CAcerts/x"), "device.crt");
  ASSERT_TRUE(testpki::WriteFile(Ca() + "readme.txt", "not a certificate"));
  ASSERT_EQ(0, mkdir((Ca() + "old").c_str(), 0700));
  EXPECT_EQ(1, Check());
  EXPECT_EQ(2u, Count("Checking for"));
  EXPECT_EQ(0u, Count(Ca() + "old") + Count("Reading directory")) << "skipped; a directory read to its end is no error";
  ExpectLogged(kUnit, {{LOG_DEBUG, "check_local_cert_chain", "Checking for " + kCN + "Policy CA in crt chain"},
                       {LOG_DEBUG, "check_local_cert_chain", "Found root in local crt chain."},
                       {LOG_DEBUG, "initCaSubjIssuerMap", "Checking directory " + Ca() + " for intermediate crt"},
                       {LOG_DEBUG, "addCertificateToMap", "File " + Ca() + "readme.txt is not a certificate"}});
  // "Mid 50%% CA" is looked up as "Mid 50% CA", as a formatted copy would; other directives are copied.
  Cert("device", Cert("Issuing", Cert("Mid 50%% CA", root, "CAcerts/l.crt"), "CAcerts/i.crt"), "device.crt");
  EXPECT_EQ(0, Check());
  Cert("Mid 50% CA", Cert("Mid %s%n%x%p%", root, "CAcerts/d.crt"), "CAcerts/c.crt");
  EXPECT_EQ(1, Check());
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "Checking for " + kCN + "Mid %s%n%x%p% in crt chain"));
}

TEST_F(CertChain, MapEntriesAreReplacedBySubjectAndNeedBothNames) {
  std::map<std::string, std::string> map;
  Cert("Policy CA", Cert("First Root", nullptr), "a.crt");
  Cert("Policy CA", Cert("Other Root", nullptr), "b.crt");
  ASSERT_TRUE(testpki::WriteCertPem(Path("nameless.crt"), WithoutIssuerName(Cert("Nameless", nullptr))));
  for (const char* file : {"a.crt", "b.crt", "nameless.crt"}) addCertificateToMap(Path(file).c_str(), map);
  EXPECT_EQ((std::map<std::string, std::string>{{kCN + "Policy CA", kCN + "Other Root"}}), map);
  ExpectLogged(kUnit, {{LOG_ERR, "addCertificateToMap", "Get cert's issuer or subject fail!"}});
  for (const char* empty : {"", static_cast<const char*>(nullptr)}) {
    log_.Clear();
    EXPECT_EQ(0, initCaSubjIssuerMap(map, empty));
    ExpectLogged(kUnit, {{LOG_DEBUG, "initCaSubjIssuerMap", "certsPath  is empty. won't init map."}});
  }
}

TEST_F(CertChain, AMissingLinkACycleOrAMissingFileFailsTheChain) {
  alarm(30);  // a walk that never ends kills the test instead of hanging it
  X509* root = Cert("Root CA", nullptr);
  X509* loop = Cert("Loop A", Cert("Loop B", nullptr));
  Cert("device", loop, "device.crt");
  EXPECT_EQ(0, Check()) << "no root";
  Cert("Root CA", nullptr, "CAROOT.crt");
  EXPECT_EQ(0, Check()) << "no CAcerts folder";
  ExpectLogged(kUnit, {{LOG_ERR, "check_local_cert_chain", "Failed to initialize caCerts map"}});
  ASSERT_EQ(0, mkdir(Ca().c_str(), 0700));
  Cert("Other CA", root, "CAcerts/other.crt");
  EXPECT_EQ(0, Check());
  ExpectLogged(kUnit, {{LOG_ERR, "check_local_cert_chain", "Failed to find certificate " + kCN + "Loop A in directory"},
                       {LOG_DEBUG, "check_local_cert_chain", "Didn't find root in local crt chain."}});
  ASSERT_TRUE(testpki::WriteCertPem(Ca() + "a.crt", loop));
  Cert("Loop B", loop, "CAcerts/b.crt");
  EXPECT_EQ(0, Check());
  EXPECT_EQ(4u, Count("Checking for"));
  ExpectLogged(kUnit, {{LOG_ERR, "check_local_cert_chain", kCN + "Loop A is its own ancestor in directory"}});
  EXPECT_EQ(0, check_local_cert_chain(nullptr) + check_local_cert_chain(std::string(300, 'd').c_str()));
  ASSERT_TRUE(testpki::WriteCertPem(Path("device.crt"), WithoutIssuerName(Cert("device", root))));
  EXPECT_EQ(0, Check());
  ExpectLogged(kUnit, {{LOG_DEBUG, "check_local_cert_chain", "Can't search chain. One parameter is null."}});
  ASSERT_TRUE(testpki::WriteFile(Path("device.crt"), "garbage"));
  EXPECT_EQ(0, Check());
  alarm(0);
}

const char kScep[] = "status/system/state/get_certificate_by_SCEP";
const char kHttp[] = "status/system/state/get_certificate_by_HTTP";

class CertAcquisition : public StateFixture {
 protected:
  // "status, result, info, wasSuccessful" of a state record.
  static std::string State(const char* path) {
    return GetStatusSystemStateStatus(path) + ", " + GetStatusSystemStateResult(path) + ", " +
           GetStatusSystemStateInfo(path) + ", " + (GetStatusSystemStateWasSuccessful(path) ? "true" : "false");
  }
  // The stored fields of an "alarm" or "event" slot, '|'-separated.
  static std::string Slot(const std::string& table, int slot, const char* only = nullptr) {
    std::string fields;
    for (const char* field : {"name", "description", "source_component", "additionalInfo1", "additionalInfo2",
                              "category", "severity", "type", "probable_cause", "ui_notification"}) {
      if (only == nullptr || std::string(only) == field) {
        fields += Stored("status/" + table + "/" + std::to_string(slot) + "/" + field) + "|";
      }
    }
    return fields;
  }
  static int Alarm(const std::string& source) {
    return AlertManager::GetInstance()->FindAlertIndex("Device fails to get certificate", source);
  }
};

TEST_F(CertAcquisition, FailureRaisesTheAlarmAndClearingTouchesOnlyItsOwn) {
  SendGetCertFailAlert("device certificate", "SCEP", "server timeout");
  EXPECT_EQ("Device fails to get certificate|Device fails to acquire device certificate by SCEP due to [AI1]|"
            "device certificate/SCEP|server timeout|||4|1|5|disabled|", Slot("alarm", Alarm("device certificate/SCEP")));
  EXPECT_EQ("done, failed, server timeout, false|, , , false", State(kScep) + "|" + State(kHttp));
  SendGetCertFailAlert("CA certificate", "Provisioning", "HTTP 404");
  EXPECT_EQ("done, failed, HTTP 404, false", State(kHttp));
  ClearGetCertFailAlert("device certificate", "SCEP");
  EXPECT_EQ("0|4|", Slot("alarm", Alarm("device certificate/SCEP"), "severity") +
                        Slot("alarm", Alarm("CA certificate/Provisioning"), "severity"));
  ExpectLogged(kUnit, {{LOG_NOTICE, "SendGetCertFailAlert", "Failure Alert. cert: CA certificate, source: Provisioning, reason: HTTP 404"},
                       {LOG_NOTICE, "ClearGetCertFailAlert", "Clear Failure Alert. cert: device certificate, source: SCEP"}});
}

TEST_F(CertAcquisition, SuccessAddsAnEventAndOnlyASuccessfulScepCaDownloadStaysRunning) {
  SendGetCertSuccessEvent("CA certificate", "SCEP", "3 certificates", "CA chain stored");
  const auto slots = AlertManager::GetInstance()->FindEventIndices("Device acquired a new certificate", "CA certificate/SCEP");
  ASSERT_EQ(1u, slots.size());
  EXPECT_EQ("Device acquired a new certificate|Device acquired new CA certificate by SCEP|CA certificate/SCEP|"
            "3 certificates|||1|0|0|disabled|", Slot("event", slots[0]));
  EXPECT_EQ("running, success, CA chain stored, true", State(kScep));
  EXPECT_LT(Alarm("CA certificate/SCEP"), 0) << "success raises no alarm";
  ExpectLogged(kUnit, {{LOG_NOTICE, "SendGetCertSuccessEvent", "Success Event. cert: CA certificate, source: SCEP, addInfo: 3 certificates"}});
  SendGetCertSuccessEvent("CA certificate", "Provisioning", "", "CA chain stored");
  EXPECT_EQ("done, success, CA chain stored, true", State(kHttp));
  EXPECT_NE(0, SetCrtDownloadSystemState("scep", "done", "success", "CA"));
  const char* cases[][4] = {{"done", "failed", "CA down", "done, failed, CA down, true"},
                            {"done", "success", "ca lower case", "done, success, ca lower case, true"},
                            {"running", "", "fetching CA", "running, , fetching CA, true"}};
  for (const auto& c : cases) {
    EXPECT_EQ(0, SetCrtDownloadSystemState("SCEP", c[0], c[1], c[2]));
    EXPECT_EQ(c[3], State(kScep)) << c[2];
  }
}

}  // namespace
