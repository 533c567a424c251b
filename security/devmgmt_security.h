/* The flat entry points for files that carry an appended RSA/SHA-256
 * signature, for C and C++ callers. A signed file is the payload, then the N
 * signature bytes (base64 text), then N as an unsigned 64-bit little-endian
 * number (8 bytes). */
#ifndef DEVMGMT_SECURITY_DEVMGMT_SECURITY_H_
#define DEVMGMT_SECURITY_DEVMGMT_SECURITY_H_

#include <stddef.h>

#include "platform/DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Moves the signature of `signedFile` into `signatureFile` (created or
 * replaced) and cuts the signature and its length from `signedFile`.
 * Returns -1 when the file can't be opened or holds no signature, else 0.
 * A split that can't be done (a length larger than the file, a signature
 * file that can't be written) leaves both files untouched and still returns
 * 0; only the log tells. */
DM_EXPORT int extract_signature(const char* signedFile, const char* signatureFile);

/* 0 when `signaturePath` holds a valid signature, by the public key of the
 * PEM certificate at `certificatePath`, over SHA-256(SHA-256(file)) (the
 * list form of SignatureVerifier::verify with one file); -1 otherwise. */
DM_EXPORT int vm_verify_signature(const char* certificatePath, const char* file, const char* signaturePath);

/* Hands OpenSSL's error texts to the log (error level); returns 1. */
DM_EXPORT int log_error_cb(const char* text, size_t length, void* user);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif  /* DEVMGMT_SECURITY_DEVMGMT_SECURITY_H_ */
