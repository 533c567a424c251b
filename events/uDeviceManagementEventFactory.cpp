#include "events/uDeviceManagementEventFactory.h"

#include <boost/make_shared.hpp>

#include "platform/DmBoundary.h"
#include "platform/uEventSerializer.h"
#include "platform/vmLog.h"

namespace {

// The one answer for a type that is not built and for an allocation that
// failed: callers can't tell them apart, and need not.
boost::shared_ptr<uDeviceManagementEvent> NoEvent() {
  vm_syslog(VM_LOG_MODULE_EMS, LOG_ERR, 0, "uDeviceManagementEventFactory",
            "CreateEventFromMessage", 56, "Error - Could not allocate event");
  return boost::shared_ptr<uDeviceManagementEvent>();
}

boost::shared_ptr<uDeviceManagementEvent> Build(int32_t type) {
  switch (type) {
    case 0: return boost::make_shared<GetLocalCertEv>();
    case 1: return boost::make_shared<SendIppStatusEv>();
    case 3: return boost::make_shared<SendSyncConfigEv>();
    case 30: return boost::make_shared<ProvisioningEv>();
    case 36: return boost::make_shared<LocalConfigurationEv>();
    case 37: return boost::make_shared<EmsFsFileChangeEv>();
    default: break;  // 2 and 31-35 travel only inside a process
  }
  return NoEvent();
}

}  // namespace

uDeviceManagementEventFactory* uDeviceManagementEventFactory::GetInstance() try {
  static const boost::shared_ptr<uDeviceManagementEventFactory> instance(
      new uDeviceManagementEventFactory);
  return instance.get();
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_EMS, "uDeviceManagementEventFactory", nullptr)

boost::shared_ptr<uDeviceManagementEvent> uDeviceManagementEventFactory::CreateEventFromMessage(
    message_t& message) try {
  boost::shared_ptr<uDeviceManagementEvent> event = Build(message.eventType);
  if (event) uEventSerializer::DeSerializeEvent(*event, message);
  return event;
} catch (...) {
  return NoEvent();
}

boost::shared_ptr<uDeviceManagementEvent> uDeviceManagementEventFactory::CreateEventFromMessage(
    const message_t& message, unsigned int length) try {
  if (length < VM_MSG_HEADER_SIZE) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "Message of %u bytes is shorter than its header", length);
    return boost::shared_ptr<uDeviceManagementEvent>();
  }
  boost::shared_ptr<uDeviceManagementEvent> event = Build(message.eventType);
  if (event && !uEventSerializer::DeSerializeEvent(*event, message, length)) {
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "Dropped %s: its payload does not match", event->GetStr());
    event.reset();
  }
  return event;
} catch (...) {
  return NoEvent();
}
