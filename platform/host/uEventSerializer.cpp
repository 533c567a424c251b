#include "platform/uEventSerializer.h"

#include <cstring>

#include "platform/BinaryBuffer.h"
#include "platform/uBinary.h"
#include "platform/vmLog.h"

namespace {

// The record is written here, then copied into the message. One buffer per
// thread, cleared but not freed between messages, so that building a message
// allocates nothing once the thread's largest record has been written.
BinaryBuffer& PayloadBuffer() {
  thread_local BinaryBuffer buffer;
  buffer.Clear();
  return buffer;
}

}  // namespace

int uEventSerializer::SerializeEvent(uEvent& event, message_extra_t& message) {
  message.family = event.getEventFamilyType();
  message.eventType = event.getEventType();
  const void* bytes = nullptr;
  size_t size = 0;
  BinaryBuffer& payload = PayloadBuffer();
  if (ISerializable* data = event.getEventData()) {
    if (uBinary::Serializer::Serialize(*data, payload) != 0) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to write the record of %s", event.GetStr());
      return -1;
    }
    bytes = payload.data();
    size = payload.size();
  } else if (event.GetDataBuffer() != nullptr) {
    bytes = event.GetDataBuffer();
    size = event.GetDataBufferSize();
  }
  if (size > VM_MSG_PAYLOAD_SIZE) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Payload of %s is %zu bytes, at most %u fit",
           event.GetStr(), size, VM_MSG_PAYLOAD_SIZE);
    payload = BinaryBuffer();  // keep no more than a message can carry
    return -1;
  }
  if (size > 0) memcpy(message.data, bytes, size);
  return static_cast<int>(VM_MSG_HEADER_SIZE + size);
}

int uEventSerializer::DeSerializeEvent(uEvent& event, message_t& message) {
  ISerializable* data = event.getEventData();
  if (data == nullptr) return 1;
  if (!uBinary::DeSerializer::DeSerialize(*data, message.data, sizeof message.data)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to read the record of %s", event.GetStr());
    return 0;
  }
  return 1;
}

int uEventSerializer::DeSerializeEvent(uEvent& event, const message_t& message,
                                       unsigned int length) {
  if (length < VM_MSG_HEADER_SIZE || length > sizeof(message_t)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Message of %u bytes for %s is not a message",
           length, event.GetStr());
    return 0;
  }
  const size_t payload = length - VM_MSG_HEADER_SIZE;
  ISerializable* data = event.getEventData();
  size_t consumed = 0;
  if (data != nullptr &&
      !uBinary::DeSerializer::DeSerialize(*data, message.data, payload, &consumed)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Payload of %zu bytes is too short for %s", payload,
           event.GetStr());
    return 0;
  }
  if (consumed != payload) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Payload of %zu bytes has %zu bytes too many for %s",
           payload, payload - consumed, event.GetStr());
    return 0;
  }
  return 1;
}
