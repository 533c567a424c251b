// Files that carry an appended RSA/SHA-256 signature: splitting them, and
// checking a base64 signature against one file or a list of files.
//
// A signed file is the payload, then the N signature bytes, then N as an
// unsigned 64-bit little-endian number (8 bytes). SignatureVerifier is the
// C++ class behind the plain C entry points of security/devmgmt_security.h;
// it is used by one thread at a time.
#ifndef DEVMGMT_SECURITY_SIGNATUREVERIFIER_H_
#define DEVMGMT_SECURITY_SIGNATUREVERIFIER_H_

#include <openssl/ossl_typ.h>

#include <string>
#include <vector>

#include "security/devmgmt_security.h"

class DM_EXPORT SignatureVerifier {
 public:
  SignatureVerifier();
  ~SignatureVerifier();
  SignatureVerifier(const SignatureVerifier&) = delete;
  SignatureVerifier& operator=(const SignatureVerifier&) = delete;

  // The public key: an RSA key in PEM SubjectPublicKeyInfo form, or the key
  // of a PEM certificate file. Each drops the key and certificate held
  // before; false when nothing usable was read.
  bool init(const std::string& pem);
  bool initPublicKey(const std::string& pem);
  bool initCertificate(const std::string& path);
  // Reads and base64-decodes a signature file; false when it can't be opened.
  bool initSignature(const std::string& path);

  // The signature of `signaturePath` over the file itself.
  bool verify(const std::string& file, const std::string& signaturePath);
  // The signature over the concatenated SHA-256 digests of the readable
  // files, in list order; unreadable files are skipped.
  bool verify(const std::vector<std::string>& files, const std::string& signaturePath);
  // Fills the digest buffer; false when no file could be read.
  bool generateDigest(const std::vector<std::string>& files);
  void freeCertAndPublicKey();

  const std::vector<unsigned char>& signature() const { return m_signature; }
  const std::vector<unsigned char>& digest() const { return m_digest; }
  bool hasPublicKey() const { return m_publicKey != nullptr; }

 private:
  bool verifyBuffer(const unsigned char* data, size_t length);

  std::vector<unsigned char> m_signature;
  std::vector<unsigned char> m_digest;
  EVP_PKEY* m_publicKey;
  X509* m_certificate;
};

#endif  // DEVMGMT_SECURITY_SIGNATUREVERIFIER_H_
