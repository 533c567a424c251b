#include "support/TestPki.h"

#include "support/RunProgram.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <fstream>
#include <iterator>

namespace testpki {

Key NewRsaKey(int bits) { return Key(EVP_RSA_gen(static_cast<unsigned>(bits))); }

Key NewEcKey() { return Key(EVP_EC_gen("P-256")); }

Cert MakeCert(EVP_PKEY* key, const CertSpec& spec) {
  Cert cert(X509_new());
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), spec.serial);
  const std::pair<const char*, std::string> fields[] = {{"C", "US"}, {"O", "Test Org"}, {"CN", spec.common_name}};
  for (const auto& [field, value] : fields) {
    X509_NAME_add_entry_by_txt(X509_get_subject_name(cert.get()), field, MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(value.c_str()), -1, -1, 0);
  }
  if (spec.subject_name != nullptr) X509_set_subject_name(cert.get(), spec.subject_name);
  X509_NAME* issuer = spec.issuer ? X509_get_subject_name(spec.issuer) : X509_get_subject_name(cert.get());
  X509_set_issuer_name(cert.get(), spec.issuer_name ? spec.issuer_name : issuer);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), spec.not_before_offset);
  if (spec.not_after != nullptr) {
    ASN1_TIME_set_string_X509(X509_getm_notAfter(cert.get()), spec.not_after);
  } else {
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), spec.not_after_offset);
  }
  X509_set_pubkey(cert.get(), key);
  X509_sign(cert.get(), spec.issuer_key ? spec.issuer_key : key, EVP_sha256());
  return cert;
}

namespace {

template <typename Write>
bool WriteWith(const std::string& path, Write write) {
  BIO* out = BIO_new_file(path.c_str(), "wb");
  if (out == nullptr) return false;
  const bool ok = write(out) == 1;
  BIO_free(out);
  return ok;
}

}  // namespace

bool WriteCertPem(const std::string& path, X509* cert) {
  return WriteWith(path, [cert](BIO* out) { return PEM_write_bio_X509(out, cert); });
}

bool WriteCertDer(const std::string& path, X509* cert) {
  return WriteWith(path, [cert](BIO* out) { return i2d_X509_bio(out, cert); });
}

bool WritePrivateKeyPem(const std::string& path, EVP_PKEY* key) {
  return WriteWith(path,
                   [key](BIO* out) { return PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

std::string PublicKeyPem(EVP_PKEY* key) {
  BIO* out = BIO_new(BIO_s_mem());
  PEM_write_bio_PUBKEY(out, key);
  char* data = nullptr;
  const long length = BIO_get_mem_data(out, &data);
  std::string text(data, static_cast<size_t>(length));
  BIO_free(out);
  return text;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

std::string OpensslProgram() { return RunHostProgram({"openssl", "version"}).status == 0 ? "openssl" : ""; }

}  // namespace testpki
