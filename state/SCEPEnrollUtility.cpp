#include "state/SCEPEnrollUtility.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "platform/DmBoundary.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmFile.h"
#include "platform/vmTime.h"
#include "platform/vmUtils.h"
#include "state/CertLog.h"

namespace {

// Validity is checked with this much slack on both ends, for clock skew.
constexpr int kToleranceSeconds = 300;
// The failure messages of the loader carry this function name.
const char kLoaderName[] = "vml_lync_alloc_key_from_file";
#define LOADER_SITE (DmLogSite{kLoaderName, __LINE__})

// Frees a record that may be partly filled.
void DestroyRecord(certificate_openssl* cert) { cert_crypto_destroy(cert); }

// Reads what a memory BIO holds into a zeroed CERT_TEXT_SIZE buffer, keeping
// room for the terminator. Returns the bytes read (0 or less when none).
int ReadBioText(BIO* bio, char (&text)[CERT_TEXT_SIZE]) {
  std::memset(text, 0, sizeof text);
  return BIO_read(bio, text, CERT_TEXT_SIZE - 1);
}

void CopyText(char* out, const char* text) {
  if (out != nullptr) std::snprintf(out, CERT_TEXT_SIZE, "%s", text);
}

// ctime() of a moment, without going through the shared static buffer.
std::string LocalTimeText(time_t when) {
  char text[64] = {0};
  if (ctime_r(&when, text) == nullptr) return std::string();
  return std::string(text);
}

// True for a read failure that is a refusal worth its own log line (a
// missing file is reported by the callers' own messages).
bool Refused(vmFileStatus status) {
  return status != VM_FILE_OK && status != VM_FILE_MISSING && status != VM_FILE_ERROR;
}

// Reads a certificate file whole, up to its cap; a refusal is logged here.
vmFileStatus ReadCertificateFile(const char* path, std::string* content) {
  const vmFileStatus status = vmFileRead(path, VM_FILE_CAP_CERTIFICATE, 0, content);
  if (Refused(status)) CERT_LOG(LOG_NOTICE, "File:%s is refused: %s", path, vmFileStatusText(status));
  return status;
}

// Reads one PEM block and gives its data back, with its type name. Failures
// are logged under the loader's name.
bool ReadPemBlock(const char* path, std::vector<unsigned char>* data, bool* is_private_key) {
  char file[256];
  std::string content;
  vmFileStatus status = VM_FILE_MISSING;
  const int written = std::snprintf(file, sizeof file, "%s", path);
  if (written >= 0 && static_cast<size_t>(written) < sizeof file) {
    status = ReadCertificateFile(file, &content);
  }
  BIO* in = status == VM_FILE_OK ? BIO_new_mem_buf(content.data(), static_cast<int>(content.size())) : nullptr;
  if (in == nullptr) {
    if (!Refused(status)) CERT_LOG_AT(LOADER_SITE, LOG_NOTICE, "BIO_new_file failed");
    CERT_LOG_AT(LOADER_SITE, LOG_ERR, "File:%s fail reading\n", path);
    return false;
  }
  char* name = nullptr;
  char* header = nullptr;
  unsigned char* bytes = nullptr;
  long length = 0;
  const bool ok = PEM_read_bio(in, &name, &header, &bytes, &length) == 1 && length >= 0 && length < (1L << 28);
  BIO_free(in);
  if (ok) {
    data->assign(bytes, bytes + length);
    *is_private_key = name != nullptr && std::strstr(name, "PRIVATE KEY") != nullptr;
  }
  OPENSSL_free(name);
  OPENSSL_free(header);
  OPENSSL_free(bytes);
  if (!ok) {
    CERT_LOG_AT(LOADER_SITE, LOG_NOTICE, "PEM_read_bio failed");
    CERT_LOG_AT(LOADER_SITE, LOG_ERR, "File:%s fail reading\n", path);
  }
  return ok;
}

}  // namespace

extern "C" {

void cert_crypto_destroy(certificate_openssl* cert) {
  if (cert == nullptr) return;
  if (cert->certificate != nullptr) X509_free(cert->certificate);
  if (cert->private_key != nullptr) {
    // The record's key slot is an RSA key by contract; OpenSSL 3 still frees
    // one with RSA_free, which it marks deprecated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    RSA_free(cert->private_key);
#pragma GCC diagnostic pop
  }
  std::free(cert->der);
  std::free(cert);
}

certificate_openssl* get_certificate(const char* path) try {
  if (path == nullptr) return nullptr;
  if (access(path, F_OK) != 0) {
    CERT_LOG_AT(LOADER_SITE, LOG_ERR, "File: %s doesn't exist\n", path);
    return nullptr;
  }
  std::vector<unsigned char> block;
  bool is_private_key = false;
  if (!ReadPemBlock(path, &block, &is_private_key)) return nullptr;

  // The block travels as base64 text and back, as the loader always did.
  const int length = static_cast<int>(block.size());
  std::vector<char> text(4 * (static_cast<size_t>(length) / 3 + 2), '\0');
  const int text_length = base64_encode(block.data(), length, text.data());
  // A private key's text is never logged, whatever file it was read from.
  CERT_LOG(LOG_NOTICE, "certificate_read_pem_as_base64 buf is :%s",
           is_private_key ? "(private key block not shown)" : text.data());
  if (text_length < 0) return nullptr;

  certificate_openssl* cert = static_cast<certificate_openssl*>(std::calloc(1, sizeof(certificate_openssl)));
  if (cert == nullptr) return nullptr;
  cert->der = static_cast<unsigned char*>(std::calloc(static_cast<size_t>(text_length) / 4 * 3 + 1, 1));
  const int der_length = cert->der != nullptr ? base64_decode(text.data(), text_length, cert->der) : -1;
  if (der_length <= 0) {
    DestroyRecord(cert);
    return nullptr;
  }
  cert->der_length = der_length;
  BIO* mem = BIO_new_mem_buf(cert->der, der_length);
  cert->certificate = mem != nullptr ? d2i_X509_bio(mem, nullptr) : nullptr;
  BIO_free(mem);
  if (cert->certificate == nullptr) {
    DestroyRecord(cert);
    return nullptr;
  }
  return cert;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, nullptr)

int check_cert_expired(const char* path) try {
  if (path == nullptr || access(path, F_OK) != 0) return 0;
  certificate_openssl* cert = get_certificate(path);
  if (cert == nullptr) return 0;
  const time_t now = time(nullptr);
  time_t ahead = now + kToleranceSeconds;
  time_t behind = now - kToleranceSeconds;
  // Not-before further ahead than the tolerance is only reported: a
  // certificate whose clock is ahead of ours is still used.
  if (X509_cmp_time(X509_get0_notBefore(cert->certificate), &ahead) > 0) {
    CERT_LOG(LOG_NOTICE, "Now is :%s, offset %d tolerance %d\n", LocalTimeText(ahead).c_str(), 0,
             kToleranceSeconds);
    CERT_LOG(LOG_ERR, "cert_crypto_valid: not before condition failed");
  }
  int result = 0;
  // 0 means the comparison failed; that counts as usable too.
  if (X509_cmp_time(X509_get0_notAfter(cert->certificate), &behind) >= 0) {
    CERT_LOG(LOG_NOTICE, "cert_crypto_valid: OK");
    result = 1;
  } else {
    CERT_LOG(LOG_NOTICE, "After is :%s\n", LocalTimeText(behind).c_str());
    CERT_LOG(LOG_ERR, "cert_crypto_valid: not after condition failed");
  }
  cert_crypto_destroy(cert);
  return result;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

int check_local_cert_validity(const char* dir) try {
  if (dir == nullptr) return 0;
  char path[256];
  const int written = std::snprintf(path, sizeof path, "%s/%s", dir, DEVICE_CERT_FILE_NAME);
  // A path that does not fit would name another file: not valid.
  const int result = written >= 0 && static_cast<size_t>(written) < sizeof path ? check_cert_expired(path) : 0;
  CERT_LOG(LOG_NOTICE, "result of checking local cert vaidity is %d", result);
  return result;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

unsigned get_cert_renew_timer(const char* path) try {
  if (path == nullptr) {
    CERT_LOG(LOG_ERR, "file doesn't exist\n");
    return 0;
  }
  certificate_openssl* cert = get_certificate(path);
  if (cert == nullptr) {
    CERT_LOG(LOG_ERR, "Get certificate from %s fail\n", path);
    return 0;
  }
  ASN1_GENERALIZEDTIME* when = ASN1_TIME_to_generalizedtime(X509_get0_notAfter(cert->certificate), nullptr);
  cert_crypto_destroy(cert);
  if (when == nullptr) return 0;
  unsigned seconds = 0;
  bool ok = false;
  if (ASN1_STRING_length(when) > 13) {
    // The first 14 digits are the UTC date and time. The sum is made in
    // calendar arithmetic, not through time_t, which is 32 bits on the
    // phone; a date past the 32-bit range (or before 1970) gives 2147483647.
    char utc[16];
    std::snprintf(utc, sizeof utc, "%.14sZ", reinterpret_cast<const char*>(ASN1_STRING_get0_data(when)));
    int32_t epoch = 0;
    if (vm_asn1_time_to_epoch(utc, &epoch) == 0) {
      seconds = epoch < 0 ? 0x7fffffffu : static_cast<unsigned>(epoch);
      ok = true;
    }
  }
  ASN1_GENERALIZEDTIME_free(when);
  if (!ok) CERT_LOG(LOG_ERR, "ASN1_GENERALIZEDTIME_to_time_t: failed");
  return seconds;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

int get_cert_detail(const char* path, char* issuer, char* subject, char* notBefore, char* notAfter, char* serial) try {
  if (path == nullptr || access(path, F_OK) != 0) return 0;
  certificate_openssl* cert = get_certificate(path);
  if (cert == nullptr) {
    CERT_LOG(LOG_ERR, "get_certificate failed");
    return 0;
  }
  char issuer_text[CERT_TEXT_SIZE] = {0};
  char subject_text[CERT_TEXT_SIZE] = {0};
  char before_text[CERT_TEXT_SIZE];
  char after_text[CERT_TEXT_SIZE];
  char serial_text[CERT_TEXT_SIZE];
  BIO* before = nullptr;
  BIO* after = nullptr;
  BIO* number = nullptr;
  int result = 0;
  X509_NAME_oneline(X509_get_issuer_name(cert->certificate), issuer_text, sizeof issuer_text);
  X509_NAME_oneline(X509_get_subject_name(cert->certificate), subject_text, sizeof subject_text);
  if (issuer_text[0] == '\0' || subject_text[0] == '\0') {
    CERT_LOG(LOG_ERR, "Get cert's issuer or subject fail!");
    goto done;
  }
  before = BIO_new(BIO_s_mem());
  after = BIO_new(BIO_s_mem());
  if (before == nullptr || after == nullptr) {
    CERT_LOG(LOG_ERR, "New bio_not_before or bio_not_after failed\n");
    goto done;
  }
  ASN1_TIME_print(before, X509_get0_notBefore(cert->certificate));
  ASN1_TIME_print(after, X509_get0_notAfter(cert->certificate));
  if (ReadBioText(before, before_text) <= 0 || ReadBioText(after, after_text) <= 0) {
    CERT_LOG(LOG_ERR, "BIO_read notbefore or notafter failed\n");
    goto done;
  }
  number = BIO_new(BIO_s_mem());
  if (number == nullptr) {
    CERT_LOG(LOG_ERR, "New bio_serial_num failed\n");
    goto done;
  }
  i2a_ASN1_INTEGER(number, X509_get0_serialNumber(cert->certificate));
  if (ReadBioText(number, serial_text) <= 0) {
    CERT_LOG(LOG_ERR, "BIO_read serial_number failed\n");
    goto done;
  }
  CopyText(issuer, issuer_text);
  CopyText(subject, subject_text);
  CopyText(notBefore, before_text);
  CopyText(notAfter, after_text);
  CopyText(serial, serial_text);
  result = 1;
done:
  BIO_free(before);
  BIO_free(after);
  BIO_free(number);
  cert_crypto_destroy(cert);
  return result;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

int get_cert_info(const char* path, char* out) try {
  char issuer[CERT_TEXT_SIZE];
  char subject[CERT_TEXT_SIZE];
  char not_before[CERT_TEXT_SIZE];
  char not_after[CERT_TEXT_SIZE];
  char serial[CERT_TEXT_SIZE];
  if (out == nullptr || get_cert_detail(path, issuer, subject, not_before, not_after, serial) != 1) {
    CERT_LOG(LOG_ERR, "get_cert_detail() failed\n");
    return 0;
  }
  CERT_LOG(LOG_DEBUG, "Certificate_Subject: %s", subject);
  CERT_LOG(LOG_DEBUG, "Certificate_Issuer: %s", issuer);
  CERT_LOG(LOG_DEBUG, "Certificate_SerialNumber: %s", serial);
  CERT_LOG(LOG_DEBUG, "Certificate_ExpirationDate: %s", not_after);
  std::snprintf(out, CERT_INFO_SIZE,
                "Certificate_Subject:%s;Certificate_Issuer:%s;Certificate_SerialNumber:%s;"
                "Certificate_ExpirationDate:%s",
                subject, issuer, serial, not_after);
  return 1;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

void update_ssl_certificate_status(void) try {
  char cert_path[256] = {0};
  char key_path[256] = {0};
  if (VM_Get_Cert_And_Pkey_File(cert_path, key_path) != 0) {
    CERT_LOG(LOG_ERR, "Get device cert or key failed!");
    return;
  }
  char issuer[CERT_TEXT_SIZE];
  char subject[CERT_TEXT_SIZE];
  char not_before[CERT_TEXT_SIZE];
  char not_after[CERT_TEXT_SIZE];
  char serial[CERT_TEXT_SIZE];
  if (get_cert_detail(cert_path, issuer, subject, not_before, not_after, serial) != 1) {
    CERT_LOG(LOG_ERR, "get_cert_detail() failed\n");
    return;
  }
  s2549(subject);
  s2548(issuer);
  s2550(not_before);
  s2551(not_after);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, )

int IsPemFile(const char* path) try {
  int result = 0;
  // A regular file only: a FIFO would block and /dev/zero never ends.
  vmFileStatus status = VM_FILE_MISSING;
  const int fd = path != nullptr ? vmFileOpenInput(path, 0, VM_FILE_CAP_CERTIFICATE, &status) : -1;
  if (Refused(status)) CERT_LOG(LOG_NOTICE, "File:%s is refused: %s", path, vmFileStatusText(status));
  FILE* file = fd >= 0 ? fdopen(fd, "r") : nullptr;
  if (file == nullptr && fd >= 0) close(fd);
  if (file != nullptr) {
    char line[256];
    // Long lines arrive in pieces; a marker is looked for in each piece.
    while (std::fgets(line, sizeof line, file) != nullptr) {
      if (std::strstr(line, "-----BEGIN CERTIFICATE-----") != nullptr ||
          std::strstr(line, "-----BEGIN X509 CERTIFICATE-----") != nullptr) {
        result = 1;
        break;
      }
    }
    std::fclose(file);
  }
  CERT_LOG(LOG_NOTICE, "Is PEM file result = %d", result);
  return result;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

}  // extern "C"

namespace {

// Reads one DER certificate file and gives its PEM text. 0 on success, 1 on failure.
int DerFileAsPem(const char* in, std::string* pem) {
  std::string der;
  if (ReadCertificateFile(in, &der) != VM_FILE_OK) return 1;
  const unsigned char* cursor = reinterpret_cast<const unsigned char*>(der.data());
  X509* cert = d2i_X509(nullptr, &cursor, static_cast<long>(der.size()));
  if (cert == nullptr) return 1;
  BIO* out = BIO_new(BIO_s_mem());
  char* text = nullptr;
  const long length = out != nullptr && PEM_write_bio_X509(out, cert) == 1 ? BIO_get_mem_data(out, &text) : 0;
  if (length > 0) pem->assign(text, static_cast<size_t>(length));
  BIO_free(out);
  X509_free(cert);
  return length > 0 ? 0 : 1;
}

}  // namespace

extern "C" void ConvertCertToPemFile(const char* path) try {
  if (path == nullptr) return;
  // Done in-process; the log names the equivalent commands. The PEM text
  // replaces the file through a fresh, unpredictable name beside it (made
  // exclusively, mode 0644: a certificate is public, flushed to disk before
  // it replaces the file), so nothing planted at path + "_tmp" is ever
  // opened and there is no moment without a file.
  const std::string tmp = std::string(path) + "_tmp";
  std::string pem;
  // A step that fails is logged with the status a shell command exiting
  // with 1 has, as the commands' callers know it.
  constexpr int kCommandFailed = 1 << 8;
  int status = DerFileAsPem(path, &pem) == 0 ? 0 : kCommandFailed;
  std::string command = std::string("openssl x509 -in ") + path + " -inform der -out " + tmp + " -outform pem";
  CERT_LOG(LOG_NOTICE, "command '%s' result = %d", command.c_str(), status);
  if (status != 0) return;
  status = vmFileWrite(path, pem.data(), pem.size(), 0644, VM_FILE_DURABLE) == 0 ? 0 : kCommandFailed;
  command = "mv " + tmp + " " + path;
  CERT_LOG(LOG_NOTICE, "command '%s' result = %d", command.c_str(), status);
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, )
