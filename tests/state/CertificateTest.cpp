#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <sstream>

#include "alerts/AlertManager.h"
#include "state/CertAcquisition.h"
#include "state/SCEPEnrollUtility.h"
#include "state/StateFixture.h"
#include "state/uSystemState.h"
#include "support/RunProgram.h"

namespace {

const char kUnit[] = "SCEPEnrollUtility";

using CertificateTest = StateFixture;

TEST_F(CertificateTest, ValidityToleratesFiveMinutesOnBothEnds) {
  const struct { long from, until; int ok; } cases[] = {{3600, 86400, 1}, {200, 1, 1}, {-60, -240, 1}, {-60, -360, 0}};
  for (const auto& c : cases) {
    log_.Clear();
    EXPECT_EQ(c.ok, check_cert_expired(CertFile({"c", c.from, c.until}, "c.crt").c_str()));
    EXPECT_EQ(c.from > 300, Count(", offset 0 tolerance 300\n") + Count("not before condition failed") == 2) << c.from;
  }
  ExpectLogged(kUnit, {{LOG_NOTICE, "check_cert_expired", "After is :"},
                       {LOG_ERR, "check_cert_expired", "cert_crypto_valid: not after condition failed"}});
  EXPECT_EQ(0, check_cert_expired(nullptr) + check_cert_expired(Path("missing.crt").c_str()) +
                   check_local_cert_validity(nullptr) + check_local_cert_validity(db_.directory().c_str()));
  ExpectLogged(kUnit, {{LOG_NOTICE, "check_local_cert_validity", "result of checking local cert vaidity is 0"}});
  CertFile({}, "device.crt");
  EXPECT_EQ(1, check_local_cert_validity(db_.directory().c_str()));
}

TEST_F(CertificateTest, LoaderReadsOnlyAPemCertificateAndNeverLogsAKey) {
  X509* cert = Make({}, "good");
  certificate_openssl* loaded = get_certificate(Path("good").c_str());
  EXPECT_EQ(0, loaded ? X509_cmp(cert, loaded->certificate) : -1);
  cert_crypto_destroy(loaded);
  ASSERT_TRUE(testpki::WriteCertDer(Path("der"), cert));
  ASSERT_TRUE(testpki::WriteFile(Path("notder"), "-----BEGIN CERTIFICATE-----\naGk=\n-----END CERTIFICATE-----\n"));
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key"), key_.get()));
  for (const char* name : {"der", "notder", "key", "missing"}) EXPECT_EQ(nullptr, get_certificate(Path(name).c_str()));
  EXPECT_EQ(nullptr, get_certificate(nullptr));
  ExpectLogged(kUnit, {{LOG_NOTICE, "get_certificate", "certificate_read_pem_as_base64 buf is :MII"},
                       {LOG_ERR, "vml_lync_alloc_key_from_file", "File: " + Path("missing") + " doesn't exist\n"},
                       {LOG_NOTICE, "vml_lync_alloc_key_from_file", "PEM_read_bio failed"},
                       {LOG_ERR, "vml_lync_alloc_key_from_file", "File:" + Path("der") + " fail reading\n"}});
  std::istringstream key(testpki::ReadFile(Path("key")));
  for (std::string line; std::getline(key, line);) EXPECT_TRUE(line[0] == '-' || Count(line) == 0) << "key logged";
}

TEST_F(CertificateTest, RenewTimerIsUtcSecondsClampedPast2038) {
  // Seconds by the calendar (Python's calendar.timegm), not by the library.
  const std::pair<const char*, unsigned> cases[] = {
      {"20500101000000Z", 2147483647u}, {"20380101000000Z", 2145916800u}, {"20300615123456Z", 1907757296u}};
  for (const auto& [not_after, seconds] : cases) {
    EXPECT_EQ(seconds, get_cert_renew_timer(CertFile({"t", -60, 0, not_after}, "t.crt").c_str())) << not_after;
  }
  EXPECT_EQ(0u, get_cert_renew_timer(nullptr) + get_cert_renew_timer(Path("missing.crt").c_str()));
  ExpectLogged(kUnit, {{LOG_ERR, "get_cert_renew_timer", "file doesn't exist\n"},
                       {LOG_ERR, "get_cert_renew_timer", "Get certificate from " + Path("missing.crt") + " fail\n"}});
}

const std::string kDevice = "status/certificate/device/";

TEST_F(CertificateTest, DetailsMatchTheOpensslProgramAndAreStored) {
  const std::string program = testpki::OpensslProgram();
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to compare with";
  Make({"phone-0042", -60, 86400, nullptr, 0x7a0b0c0d, Make({"Test Root CA"})}, "device.crt");
  const std::string path = Path("device.crt");
  const ProgramResult run = RunHostProgram({program, "x509", "-in", path, "-noout", "-nameopt", "compat", "-issuer",
                                            "-subject", "-startdate", "-enddate", "-serial"});
  ASSERT_EQ(0, run.status) << run.err;
  std::map<std::string, std::string> f;  // the openssl program's texts for the same file
  std::istringstream lines(run.out);
  for (std::string l; std::getline(lines, l);) f[l.substr(0, l.find('='))] = l.substr(l.find('=') + 1);
  char info[CERT_INFO_SIZE];
  ASSERT_EQ(1, get_cert_info(path.c_str(), info));
  EXPECT_EQ("Certificate_Subject:" + f["subject"] + ";Certificate_Issuer:" + f["issuer"] +
                ";Certificate_SerialNumber:" + f["serial"] + ";Certificate_ExpirationDate:" + f["notAfter"], info);
  ExpectLogged(kUnit, {{LOG_DEBUG, "get_cert_info", "Certificate_Subject: " + f["subject"]},
                       {LOG_DEBUG, "get_cert_info", "Certificate_SerialNumber: 7A0B0C0D"}});
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_certificate_file", path.c_str()));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_key_file", Path("device.key").c_str()));
  update_ssl_certificate_status();
  std::string stored;
  for (const char* name : {"issuer", "subject", "not_before", "not_after"}) stored += Stored(kDevice + name) + "|";
  EXPECT_EQ(f["issuer"] + "|" + f["subject"] + "|" + f["notBefore"] + "|" + f["notAfter"] + "|", stored);
}

TEST_F(CertificateTest, DetailFailuresLeaveOutputsAlone) {
  update_ssl_certificate_status();
  ExpectLogged(kUnit, {{LOG_ERR, "update_ssl_certificate_status", "Get device cert or key failed!"}});
  ASSERT_TRUE(testpki::WriteFile(Path("garbage.crt"), "not a certificate"));
  ASSERT_TRUE(testpki::WriteCertPem(Path("nameless.crt"), WithoutIssuerName(Make({}))));
  char info[CERT_INFO_SIZE] = "untouched";
  char text[CERT_TEXT_SIZE] = "untouched";
  auto both = [&](const char* p) { return get_cert_detail(p, text, text, text, text, text) + get_cert_info(p, info); };
  for (const char* name : {"missing", "garbage.crt", "nameless.crt"}) EXPECT_EQ(0, both(Path(name).c_str())) << name;
  EXPECT_EQ(0, both(nullptr));
  EXPECT_EQ("untouched|untouched", std::string(info) + "|" + text);
  ExpectLogged(kUnit, {{LOG_ERR, "get_cert_detail", "get_certificate failed"},
                       {LOG_ERR, "get_cert_detail", "Get cert's issuer or subject fail!"},
                       {LOG_ERR, "get_cert_info", "get_cert_detail() failed\n"}});
}

TEST_F(CertificateTest, PemIsFoundByItsMarkersInEveryLinePieceAndDerConvertsToPemInPlace) {
  const std::string path = Path("der.crt");
  ASSERT_TRUE(testpki::WriteCertDer(path, Make({}, "reference.pem")));
  const struct { const char* name; std::string content; int pem; } cases[] = {  // empty content: not written
      {"x509.crt", "junk\n-----BEGIN X509 CERTIFICATE-----\n", 1}, {"der.crt", "", 0}, {"missing", "", 0},
      {"late.crt", std::string(600, 'z') + "\n-----BEGIN CERTIFICATE-----\n", 1},
      {"req", "-----BEGIN CERTIFICATE REQUEST-----", 0}};
  for (const auto& c : cases) {
    EXPECT_TRUE(c.content.empty() || testpki::WriteFile(Path(c.name), c.content));
    log_.Clear();
    EXPECT_EQ(c.pem, IsPemFile(Path(c.name).c_str())) << c.name;
    ExpectLogged(kUnit, {{LOG_NOTICE, "IsPemFile", "Is PEM file result = " + std::to_string(c.pem)}});
  }
  EXPECT_EQ(0, IsPemFile(nullptr));
  ConvertCertToPemFile(path.c_str());
  EXPECT_EQ(testpki::ReadFile(Path("reference.pem")), testpki::ReadFile(path));
  const std::string command = "command 'openssl x509 -in " + path + " -inform der -out " + path + "_tmp -outform pem'";
  ExpectLogged(kUnit, {{LOG_NOTICE, "ConvertCertToPemFile", command + " result = 0"},
                       {LOG_NOTICE, "ConvertCertToPemFile", "command 'mv " + path + "_tmp " + path + "' result = 0"}});
  ConvertCertToPemFile(path.c_str());  // PEM already: not DER, left alone
  ExpectLogged(kUnit, {{LOG_NOTICE, "ConvertCertToPemFile", command + " result = 256"}});  // as a shell's exit 1
  ConvertCertToPemFile(nullptr);
  EXPECT_EQ(testpki::ReadFile(Path("reference.pem")), testpki::ReadFile(path));
}

const std::string kCN = "/C=US/O=Test Org/CN=";

// The test folder is the certificate directory: "device.crt", "CAROOT.crt"
// and intermediates in "CAcerts/". The check follows names, so one key signs all.
class CertChain : public StateFixture {
 protected:
  X509* Cert(const std::string& cn, X509* issuer, const std::string& file = "") {
    return Make({cn, -60, 86400, nullptr, 1, issuer}, file);
  }
  std::string Ca() const { return Path("CAcerts/"); }
  int Check() { return check_local_cert_chain(db_.directory().c_str()); }
};

TEST_F(CertChain, IsFollowedThroughIntermediatesUpToTheRoot) {
  X509* root = Cert("Root CA", nullptr, "CAROOT.crt");
  const std::pair<X509*, int> direct[] = {{root, 1}, {Cert("Root", nullptr), 1}, {Cert("Root CA 2", nullptr), 0}};
  for (const auto& [issuer, valid] : direct) {  // an issuer that is a prefix of the root's subject counts as the root
    Cert("device", issuer, "device.crt");
    EXPECT_EQ(valid, Check());
  }
  ExpectLogged(kUnit, {{LOG_DEBUG, "check_local_cert_chain", "Root cert is the localCert issuer"}});
  ASSERT_EQ(0, mkdir(Ca().c_str(), 0700));
  Cert("device", Cert("Issuing CA", Cert("Policy CA", root, "CAcerts/policy.pem"), "CAcerts/x"), "device.crt");
  ASSERT_TRUE(testpki::WriteFile(Ca() + "readme.txt", "not a certificate"));
  ASSERT_TRUE(testpki::WriteCertPem(Ca() + "nameless.crt", WithoutIssuerName(Cert("Nameless", nullptr))));
  ASSERT_EQ(0, mkdir((Ca() + "old").c_str(), 0700));
  log_.Clear();
  EXPECT_EQ(1, Check());
  EXPECT_EQ(0u, Count(Ca() + "old") + Count("Reading directory")) << "skipped; a directory read to its end is no error";
  ExpectLogged(kUnit, {{LOG_DEBUG, "check_local_cert_chain", "Checking for " + kCN + "Policy CA in crt chain"},
                       {LOG_DEBUG, "check_local_cert_chain", "Found root in local crt chain."},
                       {LOG_DEBUG, "initCaSubjIssuerMap", "Checking directory " + Ca() + " for intermediate crt"},
                       {LOG_DEBUG, "addCertificateToMap", "File " + Ca() + "readme.txt is not a certificate"},
                       {LOG_ERR, "addCertificateToMap", "Get cert's issuer or subject fail!"}});
  // "Mid 50%% CA" is looked up as "Mid 50% CA", as a formatted copy would; other directives are copied.
  Cert("device", Cert("Issuing", Cert("Mid 50%% CA", root, "CAcerts/l.crt"), "CAcerts/i.crt"), "device.crt");
  EXPECT_EQ(0, Check());
  Cert("Mid 50% CA", Cert("Mid %s%n%x%p%", root, "CAcerts/d.crt"), "CAcerts/c.crt");
  EXPECT_EQ(1, Check());
}

TEST_F(CertChain, AMissingLinkACycleOrAMissingFileFailsIt) {
  alarm(30);  // a walk that never ends kills the test instead of hanging it
  X509* root = Cert("Root CA", nullptr);
  X509* loop = Cert("Loop A", Cert("Loop B", nullptr));
  Cert("device", loop, "device.crt");
  EXPECT_EQ(0, Check()) << "no root";
  Cert("Root CA", nullptr, "CAROOT.crt");
  EXPECT_EQ(0, Check()) << "no CAcerts folder";  // read as an empty one
  ExpectLogged(kUnit, {{LOG_DEBUG, "initCaSubjIssuerMap", "Checking directory " + Ca() + " for intermediate crt"},
                       {LOG_ERR, "check_local_cert_chain", "Failed to find certificate " + kCN + "Loop A in directory"}});
  ASSERT_EQ(0, mkdir(Ca().c_str(), 0700));
  Cert("Other CA", root, "CAcerts/other.crt");
  EXPECT_EQ(0, Check());
  ExpectLogged(kUnit, {{LOG_ERR, "check_local_cert_chain", "Failed to find certificate " + kCN + "Loop A in directory"},
                       {LOG_DEBUG, "check_local_cert_chain", "Didn't find root in local crt chain."}});
  ASSERT_TRUE(testpki::WriteCertPem(Ca() + "a.crt", loop));
  Cert("Loop B", loop, "CAcerts/b.crt");
  EXPECT_EQ(0, Check());
  ExpectLogged(kUnit, {{LOG_ERR, "check_local_cert_chain", kCN + "Loop A is its own ancestor in directory"}});
  EXPECT_EQ(0, check_local_cert_chain(nullptr) + check_local_cert_chain(std::string(300, 'd').c_str()));
  ASSERT_TRUE(testpki::WriteCertPem(Path("device.crt"), WithoutIssuerName(Cert("device", root))));
  EXPECT_EQ(0, Check());
  ExpectLogged(kUnit, {{LOG_DEBUG, "check_local_cert_chain", "Can't search chain. One parameter is null."}});
  ASSERT_TRUE(testpki::WriteFile(Path("device.crt"), "garbage"));
  EXPECT_EQ(0, Check());
  alarm(0);
}

// The stored state record of a method.
std::string State(const char* by) { return Stored(std::string("status/system/state/get_certificate_by_") + by); }
// The stored fields of an "alarm" or "event" slot, '|'-separated.
std::string Slot(const std::string& table, int slot, const std::string& fields = "name description source_component "
                 "additionalInfo1 additionalInfo2 category severity type probable_cause ui_notification") {
  std::istringstream names(fields);
  std::string text;
  for (std::string f; names >> f;) text += Stored("status/" + table + "/" + std::to_string(slot) + "/" + f) + "|";
  return text;
}
int Alarm(const char* at) { return AlertManager::GetInstance()->FindAlertIndex("Device fails to get certificate", at); }

const char kCaScep[] = "CA certificate/SCEP";
using CertAcquisition = StateFixture;

TEST_F(CertAcquisition, FailureRaisesTheAlarmAndClearingTouchesOnlyItsOwn) {
  SendGetCertFailAlert("device certificate", "SCEP", "server timeout");
  EXPECT_EQ("Device fails to get certificate|Device fails to acquire device certificate by SCEP due to [AI1]|"
            "device certificate/SCEP|server timeout|||4|1|5|disabled|",
            Slot("alarm", Alarm("device certificate/SCEP")));
  EXPECT_EQ(R"({"status":"done","result":"failed","wasSuccessful":false,"info":"server timeout"}<missing>)",
            State("SCEP") + State("HTTP"));
  SendGetCertFailAlert("CA certificate", "Provisioning", "HTTP 404");
  EXPECT_EQ(R"({"status":"done","result":"failed","wasSuccessful":false,"info":"HTTP 404"})", State("HTTP"));
  ClearGetCertFailAlert("device certificate", "SCEP");
  EXPECT_EQ("0|4|", Slot("alarm", Alarm("device certificate/SCEP"), "severity") +
                        Slot("alarm", Alarm("CA certificate/Provisioning"), "severity"));
  ExpectLogged(kUnit, {{LOG_NOTICE, "SendGetCertFailAlert",
                        "Failure Alert. cert: CA certificate, source: Provisioning, reason: HTTP 404"},
                       {LOG_NOTICE, "ClearGetCertFailAlert",
                        "Clear Failure Alert. cert: device certificate, source: SCEP"}});
}

TEST_F(CertAcquisition, SuccessAddsAnEventAndOnlyASuccessfulScepCaDownloadStaysRunning) {
  SendGetCertSuccessEvent("CA certificate", "SCEP", "3 certificates", "CA chain stored");
  const auto slots = AlertManager::GetInstance()->FindEventIndices("Device acquired a new certificate", kCaScep);
  ASSERT_EQ(1u, slots.size());
  EXPECT_EQ("Device acquired a new certificate|Device acquired new CA certificate by SCEP|CA certificate/SCEP|"
            "3 certificates|||1|0|0|disabled|", Slot("event", slots[0]));
  ExpectLogged(kUnit, {{LOG_NOTICE, "SendGetCertSuccessEvent",
                        "Success Event. cert: CA certificate, source: SCEP, addInfo: 3 certificates"}});
  EXPECT_EQ(R"({"status":"running","result":"success","wasSuccessful":true,"info":"CA chain stored"})", State("SCEP"));
  SendGetCertSuccessEvent("CA certificate", "Provisioning", "", "CA chain stored");
  EXPECT_EQ(R"({"status":"done","result":"success","wasSuccessful":true,"info":"CA chain stored"})", State("HTTP"));
  EXPECT_NE(0, SetCrtDownloadSystemState("scep", "done", "success", "CA"));
  const std::pair<const char*, const char*> done[] = {{"failed", "CA down"}, {"success", "ca in lower case"}};
  for (const auto& [result, info] : done) {  // a failure, or no "CA": done
    EXPECT_EQ(0, SetCrtDownloadSystemState("SCEP", "done", result, info));
    EXPECT_EQ(0u, State("SCEP").find(R"({"status":"done")")) << info;
  }
}

}  // namespace
