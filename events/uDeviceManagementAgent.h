// Sends device-management messages to the management client's queue (15).
//
// SendMessageToEmsc and SendIppStatusMessageToEmsc are the flat entry points
// for processes that do not use the event classes; uDeviceManagementAgent
// relays whole events. Sends never block and are never retried; the flat
// entry points always return 0 (failures are logged by the IPC layer).
#ifndef DEVMGMT_EVENTS_UDEVICEMANAGEMENTAGENT_H_
#define DEVMGMT_EVENTS_UDEVICEMANAGEMENTAGENT_H_

#include "platform/DmExport.h"
#include "platform/uEvent.h"
#include "platform/vmMessage.h"

extern "C" {

// Sends 413, `eventType`, then `size` bytes of `data`. The payload is left
// out when `data` is null, `size` is 0 or the first byte is zero (peers rely
// on that). A payload over 12,284 bytes is refused, logged, and not sent.
DM_EXPORT int SendMessageToEmsc(int eventType, const char* data, unsigned int size);

// Sends a SendIppStatusEv holding `status`.
DM_EXPORT int SendIppStatusMessageToEmsc(int status);

}  // extern "C"

class DM_EXPORT uDeviceManagementAgent {
 public:
  static uDeviceManagementAgent* Instance();

  // Hands `length` bytes of the message to the IPC sender for queue 15;
  // returns the sender's result (0 or -1).
  int SendMessageToQueue(message_extra_t* message, int length);
  // Serialises the event and sends it; logged and dropped when it cannot be.
  void HandleRequest(uEvent& event);
  // Rebuilds the event of a received message and relays it; a message of a
  // type that is not rebuilt is logged by the factory and not sent.
  void handleMessage(message_extra_t& message);
  // As above, checking the message against its received length.
  void handleMessage(message_extra_t& message, unsigned int length);

 private:
  uDeviceManagementAgent();
  vm_mq_id m_queue;
};

#endif  // DEVMGMT_EVENTS_UDEVICEMANAGEMENTAGENT_H_
