// Rebuilds sign-in events from received IPC messages; every type 0-4 can be.
#ifndef DEVMGMT_EVENTS_AUTH_UAUTHEVENTFACTORY_H_
#define DEVMGMT_EVENTS_AUTH_UAUTHEVENTFACTORY_H_

#include <boost/shared_ptr.hpp>

#include "events/auth/uAuthEvent.h"
#include "platform/vmMessage.h"

class DM_EXPORT uAuthEventFactory {
 public:
  static uAuthEventFactory* GetInstance();

  // Empty, logged, for a type of 5 or more (a negative type counts as large).
  boost::shared_ptr<uAuthEvent> CreateEventFromMessage(message_t& message);
  // Also empty, logged, when the message is shorter than its header or its
  // payload does not match the event's record exactly.
  boost::shared_ptr<uAuthEvent> CreateEventFromMessage(const message_t& message,
                                                       unsigned int length);

 private:
  uAuthEventFactory() = default;
};

#endif  // DEVMGMT_EVENTS_AUTH_UAUTHEVENTFACTORY_H_
