#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>

#include "state/SCEPEnrollUtility.h"
#include "state/StateFixture.h"

namespace {

const char kUnit[] = "SCEPEnrollUtility";

class CertificateTest : public StateFixture {
 protected:
  // A certificate valid from and until these offsets from now (or until an absolute time), at Path(name).
  std::string Write(const std::string& name, long from, long until, const char* not_after = nullptr) {
    Make({"device", from, until, not_after}, name);
    return Path(name);
  }
};

TEST_F(CertificateTest, ValidityToleratesFiveMinutesOnBothEnds) {
  const struct { long from, until; int usable; } cases[] = {{3600, 86400, 1}, {200, 86400, 1}, {-60, -240, 1}, {-60, -360, 0}};
  for (const auto& c : cases) {
    log_.Clear();
    EXPECT_EQ(c.usable, check_cert_expired(Write("c.crt", c.from, c.until).c_str()));
    EXPECT_EQ(c.from > 300, log_.Contains(LOG_ERR, "not before condition failed")) << c.from;
    EXPECT_EQ(c.usable == 1, log_.Contains(LOG_NOTICE, "cert_crypto_valid: OK")) << c.until;
    if (c.from > 300) ExpectLogged(kUnit, {{LOG_NOTICE, "check_cert_expired", ", offset 0 tolerance 300\n"}});
  }
  ExpectLogged(kUnit, {{LOG_NOTICE, "check_cert_expired", "After is :"},
                       {LOG_ERR, "check_cert_expired", "cert_crypto_valid: not after condition failed"}});
  EXPECT_EQ(0, check_cert_expired(nullptr) + check_cert_expired(Path("missing.crt").c_str()) +
                   check_local_cert_validity(nullptr) + check_local_cert_validity(db_.directory().c_str()));
  ExpectLogged(kUnit, {{LOG_NOTICE, "check_local_cert_validity", "result of checking local cert vaidity is 0"}});
  Write("device.crt", -60, 86400);
  EXPECT_EQ(1, check_local_cert_validity(db_.directory().c_str()));
}

TEST_F(CertificateTest, LoaderReadsOnlyAPemCertificateAndNeverLogsAKey) {
  X509* cert = Make({}, "good.crt");
  certificate_openssl* loaded = get_certificate(Path("good.crt").c_str());
  ASSERT_NE(nullptr, loaded);
  EXPECT_EQ(nullptr, loaded->private_key);
  EXPECT_EQ(0, X509_cmp(cert, loaded->certificate));
  EXPECT_EQ(i2d_X509(cert, nullptr), loaded->der_length);
  cert_crypto_destroy(loaded);
  ASSERT_TRUE(testpki::WriteCertDer(Path("der.crt"), cert));
  ASSERT_TRUE(testpki::WriteFile(Path("notder.crt"), "-----BEGIN CERTIFICATE-----\naGVsbG8=\n-----END CERTIFICATE-----\n"));
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  for (const char* name : {"der.crt", "notder.crt", "key.pem", "missing.crt"}) {
    EXPECT_EQ(nullptr, get_certificate(Path(name).c_str())) << name;
  }
  EXPECT_EQ(nullptr, get_certificate(nullptr));
  ExpectLogged(kUnit, {{LOG_NOTICE, "get_certificate", "certificate_read_pem_as_base64 buf is :MII"},
                       {LOG_ERR, "vml_lync_alloc_key_from_file", "File: " + Path("missing.crt") + " doesn't exist\n"},
                       {LOG_NOTICE, "vml_lync_alloc_key_from_file", "PEM_read_bio failed"},
                       {LOG_ERR, "vml_lync_alloc_key_from_file", "File:" + Path("der.crt") + " fail reading\n"}});
  std::istringstream key(testpki::ReadFile(Path("key.pem")));
  for (std::string line; std::getline(key, line);) {
    EXPECT_TRUE(line[0] == '-' || Count(line) == 0) << "key text logged";
  }
}

TEST_F(CertificateTest, RenewTimerIsUtcSecondsClampedPast2038) {
  // Seconds by the calendar (Python's calendar.timegm), not by the library.
  const std::pair<const char*, unsigned> cases[] = {
      {"20500101000000Z", 2147483647u}, {"20380101000000Z", 2145916800u}, {"20300615123456Z", 1907757296u}};
  for (const auto& c : cases) EXPECT_EQ(c.second, get_cert_renew_timer(Write("t.crt", -60, 0, c.first).c_str()));
  const double tomorrow = static_cast<double>(time(nullptr)) + 86400;
  EXPECT_NEAR(tomorrow, get_cert_renew_timer(Write("day.crt", -60, 86400).c_str()), 5.0);
  EXPECT_EQ(0u, get_cert_renew_timer(nullptr) + get_cert_renew_timer(Path("missing.crt").c_str()));
  ExpectLogged(kUnit, {{LOG_ERR, "get_cert_renew_timer", "file doesn't exist\n"},
                       {LOG_ERR, "get_cert_renew_timer", "Get certificate from " + Path("missing.crt") + " fail\n"}});
}

TEST_F(CertificateTest, DetailsMatchTheOpensslProgramAndAreStored) {
  const std::string program = testpki::OpensslProgram();
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to compare with";
  Make({"phone-0042", -60, 86400, nullptr, 0x7a0b0c0d, Make({"Test Root CA"})}, "device.crt");
  const std::string path = Path("device.crt");
  std::string out;
  ASSERT_TRUE(testpki::RunProgram({program, "x509", "-in", path, "-noout", "-nameopt", "compat", "-issuer", "-subject",
                                   "-startdate", "-enddate", "-serial"}, &out));
  std::map<std::string, std::string> f;  // the openssl program's texts for the same file
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) f[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
  char info[CERT_INFO_SIZE];
  ASSERT_EQ(1, get_cert_info(path.c_str(), info));
  EXPECT_EQ("Certificate_Subject:" + f["subject"] + ";Certificate_Issuer:" + f["issuer"] +
                ";Certificate_SerialNumber:" + f["serial"] + ";Certificate_ExpirationDate:" + f["notAfter"], info);
  ExpectLogged(kUnit, {{LOG_DEBUG, "get_cert_info", "Certificate_Subject: " + f["subject"]},
                       {LOG_DEBUG, "get_cert_info", "Certificate_Issuer: " + f["issuer"]},
                       {LOG_DEBUG, "get_cert_info", "Certificate_SerialNumber: 7A0B0C0D"},
                       {LOG_DEBUG, "get_cert_info", "Certificate_ExpirationDate: " + f["notAfter"]}});
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_certificate_file", path.c_str()));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_key_file", Path("device.key").c_str()));
  update_ssl_certificate_status();
  std::string stored;
  for (const char* name : {"issuer", "subject", "not_before", "not_after"}) {
    stored += Stored(std::string("status/certificate/device/") + name) + "|";
  }
  EXPECT_EQ(f["issuer"] + "|" + f["subject"] + "|" + f["notBefore"] + "|" + f["notAfter"] + "|", stored);
}

TEST_F(CertificateTest, DetailFailuresLeaveOutputsAlone) {
  update_ssl_certificate_status();
  ExpectLogged(kUnit, {{LOG_ERR, "update_ssl_certificate_status", "Get device cert or key failed!"}});
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_certificate_file", Path("garbage.crt").c_str()));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_key_file", Path("device.key").c_str()));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage.crt"), "not a certificate"));
  update_ssl_certificate_status();
  ExpectLogged(kUnit, {{LOG_ERR, "update_ssl_certificate_status", "get_cert_detail() failed\n"}});
  ASSERT_TRUE(testpki::WriteCertPem(Path("nameless.crt"), WithoutIssuerName(Make({}))));
  char info[CERT_INFO_SIZE] = "untouched";
  char text[CERT_TEXT_SIZE] = "untouched";
  for (const char* name : {"missing.crt", "garbage.crt", "nameless.crt"}) {
    EXPECT_EQ(0, get_cert_detail(Path(name).c_str(), text, text, text, text, text) + get_cert_info(Path(name).c_str(), info));
  }
  EXPECT_EQ(0, get_cert_detail(nullptr, text, text, text, text, text));
  EXPECT_EQ("untouched|untouched", std::string(info) + "|" + text);
  ExpectLogged(kUnit, {{LOG_ERR, "get_cert_detail", "get_certificate failed"},
                       {LOG_ERR, "get_cert_detail", "Get cert's issuer or subject fail!"},
                       {LOG_ERR, "get_cert_info", "get_cert_detail() failed\n"}});
}

TEST_F(CertificateTest, PemDetectionLooksForCertificateMarkersInEveryLinePiece) {
  ASSERT_TRUE(testpki::WriteCertDer(Path("der.crt"), Make({})));
  const struct { const char* name; std::string content; int pem; } cases[] = {  // empty content: not written
      {"x509.crt", "junk\n-----BEGIN X509 CERTIFICATE-----\n", 1},
      {"late.crt", std::string(600, 'z') + "\n-----BEGIN CERTIFICATE-----\n", 1},
      {"request.txt", "-----BEGIN CERTIFICATE REQUEST-----\n", 0}, {"der.crt", "", 0}, {"missing", "", 0}};
  for (const auto& c : cases) {
    EXPECT_TRUE(c.content.empty() || testpki::WriteFile(Path(c.name), c.content));
    log_.Clear();
    EXPECT_EQ(c.pem, IsPemFile(Path(c.name).c_str())) << c.name;
    ExpectLogged(kUnit, {{LOG_NOTICE, "IsPemFile", "Is PEM file result = " + std::to_string(c.pem)}});
  }
  EXPECT_EQ(0, IsPemFile(nullptr));
}

TEST_F(CertificateTest, DerConvertsToPemInPlaceAndAFailureLeavesTheFile) {
  const std::string path = Path("device.crt");
  ASSERT_TRUE(testpki::WriteCertDer(path, Make({}, "reference.pem")));
  ConvertCertToPemFile(path.c_str());
  EXPECT_EQ(testpki::ReadFile(Path("reference.pem")), testpki::ReadFile(path));
  const std::string command = "command 'openssl x509 -in " + path + " -inform der -out " + path + "_tmp -outform pem'";
  ExpectLogged(kUnit, {{LOG_NOTICE, "ConvertCertToPemFile", command + " result = 0"},
                       {LOG_NOTICE, "ConvertCertToPemFile", "command 'mv " + path + "_tmp " + path + "' result = 0"}});
  ConvertCertToPemFile(path.c_str());  // PEM already: not DER, left alone
  ConvertCertToPemFile(nullptr);
  EXPECT_EQ(testpki::ReadFile(Path("reference.pem")), testpki::ReadFile(path));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, command + " result = 1"));
  for (const auto& entry : std::filesystem::directory_iterator(db_.directory())) {
    EXPECT_NE('.', entry.path().filename().string()[0]) << "temporary file left behind";
  }
}

}  // namespace
