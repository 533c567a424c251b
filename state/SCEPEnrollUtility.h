// Certificate inspection for the enrolment code and other device processes:
// load an X.509 certificate from a file, check its validity period, read its
// expiry for the renewal timer, print its names, dates and serial, tell PEM
// files apart and convert DER files to PEM.
//
// Every function is a plain C entry point (unmangled), usable from C. They
// keep no state between calls; all OpenSSL objects are freed on every path.
// The certificate acquisition reporting of the same unit builds on these
// (its log lines also carry the unit "SCEPEnrollUtility"; see CertLog.h).
#ifndef DEVMGMT_STATE_SCEPENROLLUTILITY_H_
#define DEVMGMT_STATE_SCEPENROLLUTILITY_H_

#include <openssl/ossl_typ.h>

#include "platform/DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// The device certificate's file name inside a certificate directory.
#define DEVICE_CERT_FILE_NAME "device.crt"
// Size of every certificate text buffer (names, dates, serial): 255
// characters and a terminator.
#define CERT_TEXT_SIZE 256
// Size of the buffer that get_cert_info fills: four texts and their labels.
#define CERT_INFO_SIZE 1152

// A loaded certificate. Allocated zeroed; free with cert_crypto_destroy.
typedef struct certificate_openssl {
  RSA* private_key;   // never set here; freed when present
  X509* certificate;  // the parsed certificate
  unsigned char* der; // its DER bytes (owned)
  int der_length;
} certificate_openssl;

DM_EXPORT void cert_crypto_destroy(certificate_openssl* cert);

// Loads the first PEM block of the file as a certificate; null when the path
// is null, the file is missing or unreadable, or the block is not a
// certificate.
DM_EXPORT certificate_openssl* get_certificate(const char* path);

// 1 when the certificate's not-after is later than five minutes ago; a
// not-before up to five minutes ahead is tolerated, and one further ahead is
// only logged. 0 otherwise (null path, missing or unreadable file included).
DM_EXPORT int check_cert_expired(const char* path);

// check_cert_expired on dir/device.crt; 0 for a null dir.
DM_EXPORT int check_local_cert_validity(const char* dir);

// The certificate's not-after as seconds since 1970 (UTC), 2147483647 past
// 2038 on every host, 0 on failure.
DM_EXPORT unsigned get_cert_renew_timer(const char* path);

// Fills five CERT_TEXT_SIZE buffers with the issuer and subject (one-line
// form "/C=../CN=.."), the printed not-before and not-after ("Jan  1 00:00:00
// 2030 GMT") and the serial (hex digits). 1 on success, 0 on failure. Null
// output pointers are skipped.
DM_EXPORT int get_cert_detail(const char* path, char* issuer, char* subject, char* notBefore, char* notAfter,
                              char* serial);

// Writes "Certificate_Subject:..;Certificate_Issuer:..;Certificate_SerialNumber:..;
// Certificate_ExpirationDate:.." into `out` (CERT_INFO_SIZE bytes). 1 on
// success; 0 on failure, `out` untouched.
DM_EXPORT int get_cert_info(const char* path, char* out);

// Stores the configured device certificate's subject, issuer, not-before and
// not-after in the configuration status values.
DM_EXPORT void update_ssl_certificate_status(void);

// 1 when a line of the file holds "-----BEGIN CERTIFICATE-----" or
// "-----BEGIN X509 CERTIFICATE-----"; 0 otherwise or when it can't be opened.
DM_EXPORT int IsPemFile(const char* path);

// Converts a DER certificate file to PEM in place (through path + "_tmp").
// A failed conversion leaves the file untouched.
DM_EXPORT void ConvertCertToPemFile(const char* path);

// 1 when dir/device.crt chains up to dir/CAROOT.crt by issuer names, directly
// or through the certificates in dir/CAcerts/; 0 otherwise (null dir, missing
// or unreadable files, a missing link, a cycle among the intermediates). See
// CertAcquisition.h.
DM_EXPORT int check_local_cert_chain(const char* dir);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // DEVMGMT_STATE_SCEPENROLLUTILITY_H_
