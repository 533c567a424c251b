// Keys and certificates made at test time with the OpenSSL API, validity
// relative to now, and a way to run the openssl program on the files for an
// independent answer (fixed argument vector, no shell).
#ifndef DEVMGMT_TESTS_SUPPORT_TESTPKI_H_
#define DEVMGMT_TESTS_SUPPORT_TESTPKI_H_

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace testpki {

struct KeyFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertFree {
  void operator()(X509* cert) const { X509_free(cert); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Cert = std::unique_ptr<X509, CertFree>;

// RSA keys are small by default: the tests also run under an emulator.
Key NewRsaKey(int bits = 1024);
Key NewEcKey();

struct CertSpec {
  std::string common_name = "device";
  long not_before_offset = -3600;  // seconds from now
  long not_after_offset = 86400L * 365;
  const char* not_after = nullptr;  // an absolute "YYYYMMDDHHMMSSZ" instead
  long serial = 0x1a2b3c;
  X509* issuer = nullptr;        // null: self-signed
  EVP_PKEY* issuer_key = nullptr;
  X509_NAME* subject_name = nullptr;  // given: the subject instead of C, O and CN
  X509_NAME* issuer_name = nullptr;   // given: the issuer's name instead of the issuer's subject
};

// A certificate for `key`, signed by the issuer's key (or by `key`).
Cert MakeCert(EVP_PKEY* key, const CertSpec& spec);

bool WriteCertPem(const std::string& path, X509* cert);
bool WriteCertDer(const std::string& path, X509* cert);
bool WritePrivateKeyPem(const std::string& path, EVP_PKEY* key);
std::string PublicKeyPem(EVP_PKEY* key);

std::string ReadFile(const std::string& path);
bool WriteFile(const std::string& path, const std::string& bytes);

// "openssl" when the openssl program is on PATH, or "" (run it with
// RunHostProgram of support/RunProgram.h: fixed argument vector, no shell).
std::string OpensslProgram();

}  // namespace testpki

#endif  // DEVMGMT_TESTS_SUPPORT_TESTPKI_H_
