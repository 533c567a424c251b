// An event factory on whole received messages: any family and type words,
// any payload, any length up to a queue message. An event that was rebuilt
// must send again as a message of the same length, which the factory
// rebuilds into an event that sends the very same bytes. Built once per factory:
// FUZZ_AUTH_EVENTS selects the sign-in family.
#include <cstring>

#include "events/auth/uAuthEventFactory.h"
#include "events/uDeviceManagementEventFactory.h"
#include "fuzz/FuzzSupport.h"
#include "platform/uEventSerializer.h"

namespace {

template <typename Factory, typename EventPointer>
void CheckResend(Factory* factory, const EventPointer& event, const message_t& received, unsigned length) {
  if (!event) return;
  message_extra_t sent{};
  const int written = uEventSerializer::SerializeEvent(*event, sent);
  FUZZ_CHECK(written == static_cast<int>(length));
  FUZZ_CHECK(sent.eventType == received.eventType);
  // Bool bytes read by the text rule come back as 't' or 'f'; from there on
  // the form is stable.
  auto again = factory->CreateEventFromMessage(sent, static_cast<unsigned>(written));
  FUZZ_CHECK(again != nullptr);
  message_extra_t resent{};
  FUZZ_CHECK(uEventSerializer::SerializeEvent(*again, resent) == written);
  FUZZ_CHECK(std::memcmp(resent.data, sent.data, length - VM_MSG_HEADER_SIZE) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > sizeof(message_t)) return 0;
  message_t message{};
  std::memcpy(&message, data, size);
  const unsigned length = static_cast<unsigned>(size);

#ifdef FUZZ_AUTH_EVENTS
  auto* factory = uAuthEventFactory::GetInstance();
#else
  auto* factory = uDeviceManagementEventFactory::GetInstance();
#endif
  CheckResend(factory, factory->CreateEventFromMessage(message, length), message, length);
  // The capacity-bounded form reads a zero-filled message past its length.
  factory->CreateEventFromMessage(message);
  return 0;
}
