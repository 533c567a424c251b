#include <gtest/gtest.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

#include "platform/vmCfg.h"
#include "state/SCEPEnrollUtility.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"

namespace {

using testpki::CertSpec;

class CertificateTest : public ::testing::Test {
 protected:
  TempDatabase db_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewRsaKey();

  std::string Path(const std::string& name) const { return db_.directory() + "/" + name; }

  // Writes a certificate for the test key as PEM and returns its path.
  std::string WriteCert(const std::string& name, const CertSpec& spec) {
    testpki::Cert cert = testpki::MakeCert(key_.get(), spec);
    EXPECT_TRUE(testpki::WriteCertPem(Path(name), cert.get()));
    return Path(name);
  }

  bool Logged(int level, const std::string& text) const {
    for (const CapturedLine& line : log_.lines()) {
      if (line.level == level && line.text == text) return true;
    }
    return false;
  }
};

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// True when a folder holds a hidden file: a temporary file left behind.
bool HoldsTemporary(const std::string& dir) {
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().filename().string()[0] == '.') return true;
  }
  return false;
}

TEST_F(CertificateTest, ValidityToleratesFiveMinutesOnBothEnds) {
  CertSpec future;
  future.not_before_offset = 3600;
  EXPECT_EQ(1, check_cert_expired(WriteCert("future.crt", future).c_str()));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "cert_crypto_valid: not before condition failed"));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "offset 0 tolerance 300"));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "cert_crypto_valid: OK"));
  EXPECT_EQ("SCEPEnrollUtility", log_.lines().back().unit);

  CertSpec soon;
  soon.not_before_offset = 200;  // inside the tolerance: nothing to report
  const size_t before = log_.lines().size();
  EXPECT_EQ(1, check_cert_expired(WriteCert("soon.crt", soon).c_str()));
  for (size_t i = before; i < log_.lines().size(); ++i) {
    EXPECT_EQ(std::string::npos, log_.lines()[i].text.find("not before")) << log_.lines()[i].text;
  }

  CertSpec four_minutes_ago;
  four_minutes_ago.not_after_offset = -240;
  EXPECT_EQ(1, check_cert_expired(WriteCert("4min.crt", four_minutes_ago).c_str()));
  CertSpec six_minutes_ago;
  six_minutes_ago.not_after_offset = -360;
  EXPECT_EQ(0, check_cert_expired(WriteCert("6min.crt", six_minutes_ago).c_str()));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "cert_crypto_valid: not after condition failed"));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "After is :"));

  EXPECT_EQ(0, check_cert_expired(nullptr));
  EXPECT_EQ(0, check_cert_expired(Path("missing.crt").c_str()));
}

TEST_F(CertificateTest, LocalValidityLooksAtTheDeviceCertificate) {
  EXPECT_EQ(0, check_local_cert_validity(nullptr));
  EXPECT_EQ(0, check_local_cert_validity(db_.directory().c_str()));
  EXPECT_TRUE(Logged(LOG_NOTICE, "result of checking local cert vaidity is 0"));
  WriteCert("device.crt", CertSpec());
  EXPECT_EQ(1, check_local_cert_validity(db_.directory().c_str()));
  EXPECT_TRUE(Logged(LOG_NOTICE, "result of checking local cert vaidity is 1"));
  CertSpec expired;
  expired.not_after_offset = -3600;
  WriteCert("device.crt", expired);
  EXPECT_EQ(0, check_local_cert_validity(db_.directory().c_str()));
}

TEST_F(CertificateTest, LoaderReadsOnlyAPemCertificate) {
  testpki::Cert cert = testpki::MakeCert(key_.get(), CertSpec());
  ASSERT_TRUE(testpki::WriteCertPem(Path("good.crt"), cert.get()));
  certificate_openssl* loaded = get_certificate(Path("good.crt").c_str());
  ASSERT_NE(nullptr, loaded);
  ASSERT_NE(nullptr, loaded->certificate);
  EXPECT_EQ(nullptr, loaded->private_key);
  unsigned char* der = nullptr;
  const int der_length = i2d_X509(cert.get(), &der);
  ASSERT_EQ(der_length, loaded->der_length);
  EXPECT_EQ(0, std::memcmp(der, loaded->der, static_cast<size_t>(der_length)));
  EXPECT_EQ(0, X509_cmp(cert.get(), loaded->certificate));
  OPENSSL_free(der);
  cert_crypto_destroy(loaded);
  cert_crypto_destroy(nullptr);

  EXPECT_EQ(nullptr, get_certificate(nullptr));
  EXPECT_EQ(nullptr, get_certificate(Path("missing.crt").c_str()));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "doesn't exist"));
  EXPECT_EQ("vml_lync_alloc_key_from_file", log_.lines().back().function);

  ASSERT_TRUE(testpki::WriteFile(Path("empty.crt"), ""));
  ASSERT_TRUE(testpki::WriteCertDer(Path("der.crt"), cert.get()));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage.crt"), "-----BEGIN CERTIFICATE-----\n%s%n\n-----END"));
  ASSERT_TRUE(testpki::WriteFile(Path("notder.crt"),
                                 "-----BEGIN CERTIFICATE-----\naGVsbG8gd29ybGQ=\n-----END CERTIFICATE-----\n"));
  for (const char* name : {"empty.crt", "der.crt", "garbage.crt", "notder.crt"}) {
    EXPECT_EQ(nullptr, get_certificate(Path(name).c_str())) << name;
  }
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "PEM_read_bio failed"));
  EXPECT_TRUE(Logged(LOG_ERR, "File:" + Path("der.crt") + " fail reading\n"));
}

TEST_F(CertificateTest, PrivateKeyPemIsRefusedAndNeverLogged) {
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  EXPECT_EQ(nullptr, get_certificate(Path("key.pem").c_str()));
  EXPECT_EQ(0, check_cert_expired(Path("key.pem").c_str()));
  EXPECT_EQ(0, IsPemFile(Path("key.pem").c_str()));
  // No line of the key's base64 body appears in any log line.
  std::istringstream body(testpki::ReadFile(Path("key.pem")));
  std::string line;
  int checked = 0;
  while (std::getline(body, line)) {
    if (line.empty() || line[0] == '-') continue;
    ++checked;
    for (const CapturedLine& logged : log_.lines()) EXPECT_EQ(std::string::npos, logged.text.find(line));
  }
  EXPECT_GT(checked, 5);
}

TEST_F(CertificateTest, RenewTimerIsUtcSecondsClampedPast2038) {
  CertSpec y2050;
  y2050.not_after = "20500101000000Z";
  EXPECT_EQ(2147483647u, get_cert_renew_timer(WriteCert("2050.crt", y2050).c_str()));
  CertSpec y2038;
  y2038.not_after = "20380101000000Z";
  EXPECT_EQ(2145916800u, get_cert_renew_timer(WriteCert("2038.crt", y2038).c_str()));
  CertSpec last;
  last.not_after = "20380119031407Z";
  EXPECT_EQ(2147483647u, get_cert_renew_timer(WriteCert("last.crt", last).c_str()));

  CertSpec day;
  day.not_after_offset = 86400;
  const long expected = static_cast<long>(time(nullptr)) + 86400;
  const unsigned got = get_cert_renew_timer(WriteCert("day.crt", day).c_str());
  EXPECT_NEAR(static_cast<double>(expected), static_cast<double>(got), 5.0);

  EXPECT_EQ(0u, get_cert_renew_timer(nullptr));
  EXPECT_TRUE(Logged(LOG_ERR, "file doesn't exist\n"));
  EXPECT_EQ(0u, get_cert_renew_timer(Path("missing.crt").c_str()));
  EXPECT_TRUE(Logged(LOG_ERR, "Get certificate from " + Path("missing.crt") + " fail\n"));
}

// The texts as the openssl program prints them for the same file.
std::map<std::string, std::string> OpensslFields(const std::string& program, const std::string& path) {
  std::string out;
  std::map<std::string, std::string> fields;
  if (!testpki::RunProgram({program, "x509", "-in", path, "-noout", "-nameopt", "compat", "-issuer", "-subject",
                            "-startdate", "-enddate", "-serial"},
                           &out)) {
    return fields;
  }
  std::istringstream lines(out);
  std::string line;
  while (std::getline(lines, line)) {
    const size_t equals = line.find('=');
    if (equals != std::string::npos) fields[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return fields;
}

TEST_F(CertificateTest, DetailsMatchTheOpensslProgram) {
  const std::string program = testpki::OpensslProgram();
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to compare with";
  testpki::Key ca_key = testpki::NewRsaKey();
  CertSpec ca_spec;
  ca_spec.common_name = "Test Root CA";
  ca_spec.not_after = "20500101000000Z";
  testpki::Cert ca = testpki::MakeCert(ca_key.get(), ca_spec);
  CertSpec spec;
  spec.common_name = "phone-0042";
  spec.serial = 0x7a0b0c0d;
  spec.issuer = ca.get();
  spec.issuer_key = ca_key.get();
  const std::string path = WriteCert("device.crt", spec);

  char issuer[CERT_TEXT_SIZE], subject[CERT_TEXT_SIZE], before[CERT_TEXT_SIZE], after[CERT_TEXT_SIZE],
      serial[CERT_TEXT_SIZE];
  ASSERT_EQ(1, get_cert_detail(path.c_str(), issuer, subject, before, after, serial));
  const auto expected = OpensslFields(program, path);
  ASSERT_EQ(5u, expected.size());
  EXPECT_EQ(expected.at("issuer"), issuer);
  EXPECT_EQ(expected.at("subject"), subject);
  EXPECT_EQ(expected.at("notBefore"), before);
  EXPECT_EQ(expected.at("notAfter"), after);
  EXPECT_EQ(expected.at("serial"), serial);

  char info[CERT_INFO_SIZE];
  ASSERT_EQ(1, get_cert_info(path.c_str(), info));
  EXPECT_EQ("Certificate_Subject:" + expected.at("subject") + ";Certificate_Issuer:" + expected.at("issuer") +
                ";Certificate_SerialNumber:" + expected.at("serial") +
                ";Certificate_ExpirationDate:" + expected.at("notAfter"),
            std::string(info));
  EXPECT_TRUE(Logged(LOG_DEBUG, "Certificate_Subject: " + expected.at("subject")));
  EXPECT_TRUE(Logged(LOG_DEBUG, "Certificate_ExpirationDate: " + expected.at("notAfter")));
}

TEST_F(CertificateTest, DetailFailuresLeaveOutputsAlone) {
  char info[CERT_INFO_SIZE] = "untouched";
  char text[CERT_TEXT_SIZE] = "untouched";
  EXPECT_EQ(0, get_cert_detail(nullptr, text, text, text, text, text));
  EXPECT_EQ(0, get_cert_detail(Path("missing.crt").c_str(), text, text, text, text, text));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage.crt"), "not a certificate"));
  EXPECT_EQ(0, get_cert_detail(Path("garbage.crt").c_str(), text, text, text, text, text));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "get_certificate failed"));
  EXPECT_EQ(0, get_cert_info(Path("garbage.crt").c_str(), info));
  EXPECT_TRUE(Logged(LOG_ERR, "get_cert_detail() failed\n"));
  EXPECT_STREQ("untouched", info);
  EXPECT_STREQ("untouched", text);
}

TEST_F(CertificateTest, DeviceCertificateStatusIsStored) {
  update_ssl_certificate_status();
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Get device cert or key failed!"));

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_certificate_file", Path("device.crt").c_str()));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_key_file", Path("device.key").c_str()));
  update_ssl_certificate_status();  // configured, but no file yet
  EXPECT_TRUE(Logged(LOG_ERR, "get_cert_detail() failed\n"));

  CertSpec spec;
  spec.common_name = "status-device";
  WriteCert("device.crt", spec);
  update_ssl_certificate_status();
  char issuer[CERT_TEXT_SIZE], subject[CERT_TEXT_SIZE], before[CERT_TEXT_SIZE], after[CERT_TEXT_SIZE],
      serial[CERT_TEXT_SIZE];
  ASSERT_EQ(1, get_cert_detail(Path("device.crt").c_str(), issuer, subject, before, after, serial));
  const std::map<std::string, std::string> stored_expected = {
      {"status/certificate/device/issuer", issuer},
      {"status/certificate/device/subject", subject},
      {"status/certificate/device/not_before", before},
      {"status/certificate/device/not_after", after}};
  for (const auto& entry : stored_expected) {
    char value[CERT_TEXT_SIZE] = {0};
    ASSERT_EQ(VM_CFG_OK, vmCfgGetParam(entry.first.c_str(), value, sizeof value));
    EXPECT_EQ(entry.second, value) << entry.first;
  }
  EXPECT_NE(std::string::npos, std::string(subject).find("CN=status-device"));
}

TEST_F(CertificateTest, PemDetectionLooksForCertificateMarkers) {
  testpki::Cert cert = testpki::MakeCert(key_.get(), CertSpec());
  ASSERT_TRUE(testpki::WriteCertPem(Path("pem.crt"), cert.get()));
  ASSERT_TRUE(testpki::WriteCertDer(Path("der.crt"), cert.get()));
  ASSERT_TRUE(testpki::WriteFile(Path("x509.crt"), "junk\n-----BEGIN X509 CERTIFICATE-----\n"));
  ASSERT_TRUE(testpki::WriteFile(Path("late.crt"), std::string(600, 'z') + "\n-----BEGIN CERTIFICATE-----\n"));
  ASSERT_TRUE(testpki::WriteFile(Path("prose.txt"), "-----BEGIN CERTIFICATE REQUEST-----\n"));
  EXPECT_EQ(1, IsPemFile(Path("pem.crt").c_str()));
  EXPECT_EQ(1, IsPemFile(Path("x509.crt").c_str()));
  EXPECT_EQ(1, IsPemFile(Path("late.crt").c_str()));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Is PEM file result = 1"));
  EXPECT_EQ(0, IsPemFile(Path("der.crt").c_str()));
  EXPECT_EQ(0, IsPemFile(Path("prose.txt").c_str()));
  EXPECT_EQ(0, IsPemFile(Path("missing.crt").c_str()));
  EXPECT_EQ(0, IsPemFile(nullptr));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Is PEM file result = 0"));
}

TEST_F(CertificateTest, DerConvertsToPemInPlace) {
  testpki::Cert cert = testpki::MakeCert(key_.get(), CertSpec());
  const std::string path = Path("device.crt");
  ASSERT_TRUE(testpki::WriteCertDer(path, cert.get()));
  // The reference: the openssl program's conversion of the same file, or
  // else the library's own PEM writer.
  const std::string program = testpki::OpensslProgram();
  const std::string reference = Path("reference.pem");
  if (program.empty() || !testpki::RunProgram({program, "x509", "-in", path, "-inform", "der", "-out", reference,
                                               "-outform", "pem"})) {
    ASSERT_TRUE(testpki::WriteCertPem(reference, cert.get()));
  }
  ConvertCertToPemFile(path.c_str());
  EXPECT_EQ(testpki::ReadFile(reference), testpki::ReadFile(path));
  EXPECT_FALSE(HoldsTemporary(db_.directory()));
  EXPECT_EQ(1, IsPemFile(path.c_str()));
  EXPECT_EQ(1, check_cert_expired(path.c_str()));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "result = 0"));
}

TEST_F(CertificateTest, FailedConversionLeavesTheFileUntouched) {
  testpki::Cert cert = testpki::MakeCert(key_.get(), CertSpec());
  ASSERT_TRUE(testpki::WriteCertPem(Path("pem.crt"), cert.get()));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage.crt"), std::string("\x30\x82\x01\x00garbage", 12)));
  for (const char* name : {"pem.crt", "garbage.crt"}) {
    const std::string before = testpki::ReadFile(Path(name));
    ConvertCertToPemFile(Path(name).c_str());
    EXPECT_EQ(before, testpki::ReadFile(Path(name))) << name;
  }
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "result = 1"));
  ConvertCertToPemFile(Path("missing.crt").c_str());
  EXPECT_FALSE(Exists(Path("missing.crt")));
  ConvertCertToPemFile(nullptr);
  EXPECT_FALSE(HoldsTemporary(db_.directory()));
}

}  // namespace
