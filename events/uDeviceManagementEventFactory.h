// Rebuilds device-management events from received IPC messages.
//
// Only types 0, 1, 3, 30, 36 and 37 are rebuilt; 2 and 31-35 travel with
// their objects inside a process and are never rebuilt from a message.
#ifndef DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENTFACTORY_H_
#define DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENTFACTORY_H_

#include <boost/shared_ptr.hpp>

#include "events/uDeviceManagementEvent.h"
#include "platform/vmMessage.h"

class DM_EXPORT uDeviceManagementEventFactory {
 public:
  static uDeviceManagementEventFactory* GetInstance();

  // Builds the event of the message's type (word 1; the family word is the
  // caller's routing) and fills its record from the payload. Empty, logged,
  // for a type that is not rebuilt.
  boost::shared_ptr<uDeviceManagementEvent> CreateEventFromMessage(message_t& message);
  // As above for a received message of `length` bytes; also empty, logged,
  // when the message is shorter than its header or its payload does not
  // match the event's record exactly.
  boost::shared_ptr<uDeviceManagementEvent> CreateEventFromMessage(const message_t& message,
                                                                   unsigned int length);

 private:
  uDeviceManagementEventFactory() = default;
};

#endif  // DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENTFACTORY_H_
