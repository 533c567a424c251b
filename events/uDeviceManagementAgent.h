// Sends device-management messages to the management client's queue (15).
//
// uDeviceManagementAgent relays whole events; processes that do not use the
// event classes send through the flat entry points of events/devmgmt_events.h.
// Sends never block and are never retried.
#ifndef DEVMGMT_EVENTS_UDEVICEMANAGEMENTAGENT_H_
#define DEVMGMT_EVENTS_UDEVICEMANAGEMENTAGENT_H_

#include "events/devmgmt_events.h"
#include "platform/DmExport.h"
#include "platform/uEvent.h"
#include "platform/vmMessage.h"

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
