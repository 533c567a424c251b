#include <gtest/gtest.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "state/CertAcquisition.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"

namespace {

const char kPrefix[] = "/C=US/O=Test Org/CN=";

class CertChain : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, mkdir(Dir().c_str(), 0700)); }

  std::string Dir() const { return db_.directory() + "/certs"; }
  std::string Ca() const { return Dir() + "/CAcerts"; }
  void MakeCaDir() { ASSERT_EQ(0, mkdir(Ca().c_str(), 0700)); }

  // A certificate named CN=`name`, issued by `issuer` (self-signed when null).
  // The check follows names only, so one key signs everything.
  X509* Make(const std::string& name, X509* issuer) {
    testpki::CertSpec spec;
    spec.common_name = name;
    spec.issuer = issuer;
    spec.issuer_key = key_.get();
    certs_.push_back(testpki::MakeCert(key_.get(), spec));
    return certs_.back().get();
  }
  void Write(const std::string& relative, X509* cert) {
    ASSERT_TRUE(testpki::WriteCertPem(Dir() + "/" + relative, cert)) << relative;
  }
  int Check() { return check_local_cert_chain(Dir().c_str()); }

  size_t Count(const std::string& fragment) const { return CountLines(log_, fragment); }
  static size_t CountLines(const LogCapture& log, const std::string& fragment) {
    size_t n = 0;
    for (const CapturedLine& line : log.lines()) n += line.text.find(fragment) != std::string::npos;
    return n;
  }

  TempDatabase db_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewEcKey();
  std::vector<testpki::Cert> certs_;
};

TEST_F(CertChain, DeviceIssuedByTheRootNeedsNoIntermediates) {
  X509* root = Make("Root CA", nullptr);
  Write("CAROOT.crt", root);
  Write("device.crt", Make("device", root));
  EXPECT_EQ(1, Check());
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "Root cert is the localCert issuer"));
  EXPECT_EQ(0u, Count("Checking directory")) << "CAcerts/ does not exist and must not be read";
  EXPECT_EQ("SCEPEnrollUtility", log_.lines().back().unit);

  // An issuer that is a prefix of the root's subject counts as the root.
  Write("device.crt", Make("device", Make("Root", nullptr)));
  EXPECT_EQ(1, Check());
  Write("device.crt", Make("device", Make("Root CA 2", nullptr)));
  EXPECT_EQ(0, Check());
}

TEST_F(CertChain, IntermediatesAreFollowedUpToTheRoot) {
  X509* root = Make("Root CA", nullptr);
  X509* first = Make("Policy CA", root);
  X509* second = Make("Issuing CA", first);
  Write("CAROOT.crt", root);
  MakeCaDir();
  Write("CAcerts/policy.pem", first);
  Write("device.crt", Make("device", first));
  EXPECT_EQ(1, Check());
  EXPECT_EQ(1u, Count("Checking for"));
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, std::string("Checking for ") + kPrefix + "Policy CA in crt chain"));
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "Found root in local crt chain."));

  // Two intermediates, among files that are not certificates and a folder.
  Write("CAcerts/x", second);
  ASSERT_TRUE(testpki::WriteFile(Ca() + "/readme.txt", "not a certificate"));
  ASSERT_EQ(0, mkdir((Ca() + "/old").c_str(), 0700));
  Write("device.crt", Make("device", second));
  LogCapture log;
  EXPECT_EQ(1, Check());
  EXPECT_EQ(2u, CountLines(log, "Checking for"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Checking directory " + Ca() + "/ for intermediate crt"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "File " + Ca() + "/readme.txt is not a certificate"));
  EXPECT_EQ(0u, Count(Ca() + "/old")) << "directories are skipped";

  std::map<std::string, std::string> map;
  EXPECT_EQ(1, initCaSubjIssuerMap(map, (Ca() + "/").c_str()));
  const std::map<std::string, std::string> expected = {
      {std::string(kPrefix) + "Issuing CA", std::string(kPrefix) + "Policy CA"},
      {std::string(kPrefix) + "Policy CA", std::string(kPrefix) + "Root CA"}};
  EXPECT_EQ(expected, map);
}

TEST_F(CertChain, MapEntriesAndTheirFailures) {
  std::map<std::string, std::string> map;
  EXPECT_EQ(0, initCaSubjIssuerMap(map, ""));
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "certsPath  is empty. won't init map."));
  EXPECT_EQ(0, initCaSubjIssuerMap(map, (Ca() + "/").c_str())) << "a folder that can't be opened";

  // A later certificate with the same subject replaces the earlier entry.
  Write("a.crt", Make("Shared", Make("First", nullptr)));
  Write("b.crt", Make("Shared", Make("Second", nullptr)));
  addCertificateToMap((Dir() + "/a.crt").c_str(), map);
  addCertificateToMap((Dir() + "/b.crt").c_str(), map);
  ASSERT_EQ(1u, map.size());
  EXPECT_EQ(std::string(kPrefix) + "Second", map[std::string(kPrefix) + "Shared"]);

  // An empty issuer name is refused.
  X509* nameless = Make("Nameless issuer", nullptr);
  X509_NAME* empty = X509_NAME_new();
  X509_set_issuer_name(nameless, empty);
  X509_NAME_free(empty);
  Write("nameless.crt", nameless);
  addCertificateToMap((Dir() + "/nameless.crt").c_str(), map);
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Get cert's issuer or subject fail!"));
  EXPECT_EQ(1u, map.size());
}

TEST_F(CertChain, AMissingLinkOrFileFailsTheChain) {
  X509* root = Make("Root CA", nullptr);
  X509* intermediate = Make("Intermediate CA", root);
  Write("device.crt", Make("device", intermediate));
  EXPECT_EQ(0, Check()) << "no root";
  Write("CAROOT.crt", root);
  EXPECT_EQ(0, Check()) << "no CAcerts folder";
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to initialize caCerts map"));

  MakeCaDir();
  Write("CAcerts/other.crt", Make("Other CA", root));
  EXPECT_EQ(0, Check());
  EXPECT_TRUE(log_.Contains(
      LOG_ERR, std::string("Failed to find certificate ") + kPrefix + "Intermediate CA in directory. chain is not valid"));
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "Didn't find root in local crt chain."));
  Write("CAcerts/intermediate.crt", intermediate);
  EXPECT_EQ(1, Check());

  EXPECT_EQ(0, check_local_cert_chain(nullptr));
  EXPECT_EQ(0, check_local_cert_chain(std::string(300, 'd').c_str()));
  ASSERT_TRUE(testpki::WriteFile(Dir() + "/device.crt", "garbage"));
  EXPECT_EQ(0, Check());
  ASSERT_EQ(0, unlink((Dir() + "/device.crt").c_str()));
  EXPECT_EQ(0, Check());

  // A device certificate with no issuer name can't be searched.
  X509* nameless = Make("device", root);
  X509_NAME* empty = X509_NAME_new();
  X509_set_issuer_name(nameless, empty);
  X509_NAME_free(empty);
  Write("device.crt", nameless);
  EXPECT_EQ(0, Check());
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "Can't search chain. One parameter is null."));
}

TEST_F(CertChain, ACycleAmongIntermediatesEndsTheWalk) {
  alarm(30);   // a walk that never ends kills the test instead of hanging it
  Write("CAROOT.crt", Make("Root CA", nullptr));
  MakeCaDir();
  // Loop A is issued by Loop B and Loop B by Loop A.
  X509* a = Make("Loop A", Make("Loop B", nullptr));
  Write("CAcerts/a.crt", a);
  Write("CAcerts/b.crt", Make("Loop B", a));
  Write("device.crt", Make("device", a));
  EXPECT_EQ(0, Check());
  EXPECT_EQ(3u, Count("Checking for"));
  EXPECT_TRUE(log_.Contains(LOG_ERR, std::string(kPrefix) + "Loop A is its own ancestor in directory"));
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, "Didn't find root in local crt chain."));

  // A self-signed certificate that is not the root is a cycle of one.
  LogCapture log;
  X509* self = Make("Self CA", nullptr);
  Write("CAcerts/self.crt", self);
  Write("device.crt", Make("device", self));
  EXPECT_EQ(0, Check());
  EXPECT_TRUE(log.Contains(LOG_ERR, std::string(kPrefix) + "Self CA is its own ancestor in directory"));
  alarm(0);
}

TEST_F(CertChain, PercentPairsInIssuerNamesCollapseAsInAFormattedCopy) {
  X509* root = Make("Root CA", nullptr);
  Write("CAROOT.crt", root);
  MakeCaDir();
  // "Issuing" names "Mid 50%% CA" as its issuer; the walk goes on with
  // "Mid 50% CA", which is another certificate.
  X509* literal = Make("Mid 50%% CA", root);
  X509* issuing = Make("Issuing", literal);
  Write("CAcerts/issuing.crt", issuing);
  Write("CAcerts/literal.crt", literal);
  Write("device.crt", Make("device", issuing));
  EXPECT_EQ(0, Check());
  EXPECT_TRUE(log_.Contains(LOG_ERR, std::string("Failed to find certificate ") + kPrefix + "Mid 50% CA in directory"));
  Write("CAcerts/collapsed.crt", Make("Mid 50% CA", root));
  EXPECT_EQ(1, Check());
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, std::string("Checking for ") + kPrefix + "Mid 50% CA in crt chain"));

  // The device's own issuer is compared as it is.
  X509* percent_root = Make("Root 100%% CA", nullptr);
  Write("CAROOT.crt", percent_root);
  Write("device.crt", Make("device", percent_root));
  EXPECT_EQ(1, Check());

  // Other directives are copied, never interpreted.
  Write("CAROOT.crt", root);
  X509* directives = Make("Mid %s%n%x%p%", root);
  X509* below = Make("Below", directives);
  Write("CAcerts/directives.crt", directives);
  Write("CAcerts/below.crt", below);
  Write("device.crt", Make("device", below));
  EXPECT_EQ(1, Check());
  EXPECT_TRUE(log_.Contains(LOG_DEBUG, std::string("Checking for ") + kPrefix + "Mid %s%n%x%p% in crt chain"));
}

}  // namespace
