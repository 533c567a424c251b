#include "events/auth/uAuthEventFactory.h"

#include <boost/make_shared.hpp>

#include "platform/DmBoundary.h"
#include "platform/uEventSerializer.h"
#include "platform/vmLog.h"

namespace {

// The one answer for a type that is not built and for an allocation that
// failed: callers can't tell them apart, and need not.
boost::shared_ptr<uAuthEvent> NoEvent() {
  vm_syslog(VM_LOG_MODULE_EMS, LOG_ERR, 0, "auth/uAuthEventFactory", "CreateEventFromMessage", 50,
            "Error - Could not allocate event");
  return boost::shared_ptr<uAuthEvent>();
}

boost::shared_ptr<uAuthEvent> Build(int32_t type) {
  // Compared unsigned, so a negative type counts as too large.
  switch (static_cast<uint32_t>(type)) {
    case 0: return boost::make_shared<AuthGetUrlAndCodeEv>();
    case 1: return boost::make_shared<AuthCancelUrlAndCodeEv>();
    case 2: return boost::make_shared<AuthGetUrlAndCodeResponseEv>();
    case 3: return boost::make_shared<AuthCredentialsResponseEv>();
    case 4: return boost::make_shared<AuthRejectResponseEv>();
    default: break;
  }
  return NoEvent();
}

}  // namespace

uAuthEventFactory* uAuthEventFactory::GetInstance() try {
  static const boost::shared_ptr<uAuthEventFactory> instance(new uAuthEventFactory);
  return instance.get();
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_EMS, "auth/uAuthEventFactory", nullptr)

boost::shared_ptr<uAuthEvent> uAuthEventFactory::CreateEventFromMessage(message_t& message) try {
  boost::shared_ptr<uAuthEvent> event = Build(message.eventType);
  if (event) uEventSerializer::DeSerializeEvent(*event, message);
  return event;
} catch (...) {
  return NoEvent();
}

boost::shared_ptr<uAuthEvent> uAuthEventFactory::CreateEventFromMessage(const message_t& message,
                                                                       unsigned int length) try {
  if (length < VM_MSG_HEADER_SIZE) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "Message of %u bytes is shorter than its header", length);
    return boost::shared_ptr<uAuthEvent>();
  }
  boost::shared_ptr<uAuthEvent> event = Build(message.eventType);
  if (event && !uEventSerializer::DeSerializeEvent(*event, message, length)) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "Dropped %s: its payload does not match", event->GetStr());
    event.reset();
  }
  return event;
} catch (...) {
  return NoEvent();
}
