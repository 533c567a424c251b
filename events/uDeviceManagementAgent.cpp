#include "events/uDeviceManagementAgent.h"

#include <cstring>

#include "events/SingletonHolder.h"
#include "events/uDeviceManagementEventFactory.h"
#include "platform/DmBoundary.h"
#include "platform/uEventSerializer.h"
#include "platform/vmLog.h"

template class SingletonHolder<uIPCSender, uIPCSender>;

extern "C" int SendMessageToEmsc(int eventType, const char* data, unsigned int size) try {
  message_extra_t message;
  memset(&message, 0, sizeof message);
  message.family = VM_EVENT_FAMILY_DEVICE_MANAGEMENT;
  message.eventType = eventType;
  unsigned int length = VM_MSG_HEADER_SIZE;
  // A payload starting with a zero byte is sent empty: peers rely on this.
  // Only a payload that is copied has to fit the message.
  if (data != nullptr && data[0] != '\0' && size != 0) {
    if (size > VM_MSG_PAYLOAD_SIZE) {
      DM_LOG(VM_LOG_MODULE_AGENT, LOG_ERR, "Payload of %u bytes for event type %d exceeds %u bytes", size,
             eventType, VM_MSG_PAYLOAD_SIZE);
      return 0;
    }
    memcpy(message.data, data, size);
    length += size;
  }
  if (uIPCSender* sender = SingletonHolder<uIPCSender, uIPCSender>::Instance()) {
    sender->SendMessage(message, length, VM_MQ_ID_EMSC);
  }
  return 0;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, 0)

extern "C" int SendIppStatusMessageToEmsc(int status) try {
  SendIppStatusEv event;
  event.m_data.m_status.SetValue(status);
  if (uIPCSender* sender = SingletonHolder<uIPCSender, uIPCSender>::Instance()) sender->SendEvent(event, VM_MQ_ID_EMSC);
  return 0;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, 0)

uDeviceManagementAgent::uDeviceManagementAgent() : m_queue(VM_MQ_ID_EMSC) {}

uDeviceManagementAgent* uDeviceManagementAgent::Instance() try {
  static const boost::shared_ptr<uDeviceManagementAgent> instance(new uDeviceManagementAgent);
  return instance.get();
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, nullptr)

int uDeviceManagementAgent::SendMessageToQueue(message_extra_t* message, int length) try {
  if (message == nullptr || length < 0) {
    DM_LOG(VM_LOG_MODULE_AGENT, LOG_ERR, "No message to send (length %d)", length);
    return -1;
  }
  uIPCSender* sender = SingletonHolder<uIPCSender, uIPCSender>::Instance();
  return sender != nullptr ? sender->SendMessage(*message, static_cast<unsigned int>(length), m_queue) : -1;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, -1)

void uDeviceManagementAgent::HandleRequest(uEvent& event) try {
  message_extra_t message;
  const int length = uEventSerializer::SerializeEvent(event, message);
  if (length >= 0) {
    SendMessageToQueue(&message, length);
  } else {
    vm_syslog(VM_LOG_MODULE_AGENT, LOG_ERR, 0, "uDeviceManagementAgent", "HandleRequest", 32,
              "Failed to serialize event");
  }
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, )

void uDeviceManagementAgent::handleMessage(message_extra_t& message) try {
  uDeviceManagementEventFactory* factory = uDeviceManagementEventFactory::GetInstance();
  boost::shared_ptr<uDeviceManagementEvent> event;
  if (factory != nullptr) event = factory->CreateEventFromMessage(message);
  if (event) HandleRequest(*event);  // the factory has logged an empty result
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, )

void uDeviceManagementAgent::handleMessage(message_extra_t& message, unsigned int length) try {
  uDeviceManagementEventFactory* factory = uDeviceManagementEventFactory::GetInstance();
  boost::shared_ptr<uDeviceManagementEvent> event;
  if (factory != nullptr) event = factory->CreateEventFromMessage(message, length);
  if (event) HandleRequest(*event);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_AGENT, )
