// The fixture of the state and certificate tests: a private configuration
// database (whose folder also holds the test's files), captured log lines,
// and certificates made for one test key.
#ifndef DEVMGMT_TESTS_STATE_STATEFIXTURE_H_
#define DEVMGMT_TESTS_STATE_STATEFIXTURE_H_

#include <algorithm>
#include <string>
#include <tuple>

#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"

// The configuration value at `path`, or "<missing>".
inline std::string Stored(const std::string& path) {
  char value[4096] = {0};
  return vmCfgGetParam(path.c_str(), value, sizeof value) == VM_CFG_OK ? value : "<missing>";
}

class StateFixture : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return db_.directory() + "/" + name; }
  // A certificate for the test key, written as PEM to Path(name) when a name is given.
  X509* Make(const testpki::CertSpec& wanted, const std::string& name = "") {
    certs_.push_back(testpki::MakeCert(key_.get(), wanted));
    EXPECT_TRUE(name.empty() || testpki::WriteCertPem(Path(name), certs_.back().get())) << name;
    return certs_.back().get();
  }
  std::string CertFile(const testpki::CertSpec& spec, const std::string& name) { Make(spec, name); return Path(name); }
  size_t Count(const std::string& fragment) const {  // of the captured lines holding `fragment`
    return std::count_if(log_.lines().begin(), log_.lines().end(),
                         [&](const CapturedLine& line) { return line.text.find(fragment) != std::string::npos; });
  }
  // Each line (level, function, text) was logged by this library's module from `unit`.
  void ExpectLogged(const char* unit, std::initializer_list<std::tuple<int, const char*, std::string>> lines) const {
    for (const auto& [level, fn, text] : lines) EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_ALERTS, level, unit, fn, text));
  }

  TempDatabase db_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewEcKey();
  std::vector<testpki::Cert> certs_;
};

// A certificate whose issuer name is empty.
inline X509* WithoutIssuerName(X509* cert) {
  X509_NAME* empty = X509_NAME_new();
  X509_set_issuer_name(cert, empty);
  X509_NAME_free(empty);
  return cert;
}

#endif  // DEVMGMT_TESTS_STATE_STATEFIXTURE_H_
