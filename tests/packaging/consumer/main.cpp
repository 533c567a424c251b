// Uses a record, the JSON writer, the configuration database and the event
// family through the installed headers; prints what it got.
#include <cstdio>
#include <string>

#include "alerts/SystemAlert.h"
#include "events/uDeviceManagementEvent.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"

int main() {
  ProvisioningEv event;
  std::string json;
  if (uJson::Serializer::Serialize(*event.getEventData(), json) != 0) return 1;
  char model[64];
  if (vmCfgGetParam("device/model", model, sizeof model) != VM_CFG_OK) return 1;
  SystemAlert alert;
  alert.m_name = "consumer";
  std::printf("%s %s %s %d\n", event.GetStr(), json.c_str(), model, event.getEventFamilyType());
  return 0;
}
