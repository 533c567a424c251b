/* A C program outside the project, built with the pkg-config line: it calls
 * only the library and prints the release it runs with. */
#include <stdio.h>

#include "devmgmt.h"

int main(void) {
  const int raised = AlertManager_SetBasicAlert("AppAlarm", "app", 1);
  printf("raised %d with devmgmt %s\n", raised, devmgmt_version());
  return raised == 0 ? 0 : 1;
}
