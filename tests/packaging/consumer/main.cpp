// A C++ program outside the project that calls only the library (nothing of
// the platform directly): it raises an alarm and reads it back.
#include <cstdio>

#include "alerts/AlertManager.h"

int main() {
  const int raised = AlertManager_SetAlert("ConsumerAlarm", "consumer", 2, "from [AI1]", "C++", nullptr,
                                           nullptr, 0, 0, 0);
  const int slot = AlertManager::GetInstance()->FindAlertIndex("ConsumerAlarm", "consumer");
  std::printf("raised %d slot %d\n", raised, slot);
  return raised == 0 && slot >= 0 ? 0 : 1;
}
