/* A device process written in C: it reaches the library only through
 * devmgmt.h and prints what each entry point returned, one "name=value" line
 * each, for CProgramTest to check against the database, the queue and the
 * files. Usage: c_program CERT SIGNED_FILE SIGNATURE_OUT STATE_PATH */
#include <stdio.h>

#include "devmgmt.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: c_program CERT SIGNED_FILE SIGNATURE_OUT STATE_PATH\n");
    return 2;
  }
  const char* cert = argv[1];
  const char* signedFile = argv[2];
  const char* signature = argv[3];
  const char* statePath = argv[4];

  printf("alarm=%d\n", AlertManager_SetAlert("CAlarm", "c-program", 3, "Raised from [AI1]", "C", NULL,
                                             NULL, 1, 2, 0));
  printf("send=%d\n", SendMessageToEmsc(3, "ab", 2));
  printf("cert=%d\n", check_cert_expired(cert));
  char issuer[CERT_TEXT_SIZE], subject[CERT_TEXT_SIZE], notBefore[CERT_TEXT_SIZE], notAfter[CERT_TEXT_SIZE],
      serial[CERT_TEXT_SIZE];
  printf("detail=%d\n", get_cert_detail(cert, issuer, subject, notBefore, notAfter, serial));
  printf("subject=%s\n", subject);
  printf("split=%d\n", extract_signature(signedFile, signature));
  printf("setstate=%d\n", SetStatusSystemState(statePath, "running", "success", "from C"));
  char status[32] = {0};
  printf("getstate=%d %s\n", GetStatusSystemStateStatus(statePath, status, sizeof status - 1), status);
  printf("versions=%s %s\n", devmgmt_version(), dmplatform_version());
  return 0;
}
