/* Compiled as C: the entry points of the state, certificate and signature
 * headers must be declarable and callable from C by their plain names. */
#include <string.h>

#include "security/SignatureVerifier.h"
#include "state/SCEPEnrollUtility.h"
#include "state/uSystemState.h"

int c_caller_set_state(const char* path, const char* status, const char* result, const char* info) {
  return SetStatusSystemState(path, status, result, info);
}

int c_caller_get_status(const char* path, char* buffer, size_t size) {
  return GetStatusSystemStateStatus(path, buffer, size);
}

int c_caller_cert_checks(const char* path) {
  char info[CERT_INFO_SIZE];
  memset(info, 0, sizeof info);
  return check_cert_expired(path) + IsPemFile(path) + get_cert_info(path, info);
}

int c_caller_signature(const char* cert, const char* file, const char* signature) {
  return vm_verify_signature(cert, file, signature);
}

int c_caller_chain(const char* dir) { return check_local_cert_chain(dir); }
