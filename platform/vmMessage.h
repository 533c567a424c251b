// The records that travel on the platform's IPC queues.
//
// A message is word 0 the family number, word 1 the event-type number, then
// the payload; the length handed to a queue is 8 plus the payload bytes. The
// widths are fixed so that a 32-bit and a 64-bit process read the same bytes.
// On the host platform both records have the full capacity of 12,292 bytes:
// senders build a message_extra_t, receivers may view it as a message_t.
#ifndef DEVMGMT_PLATFORM_VMMESSAGE_H_
#define DEVMGMT_PLATFORM_VMMESSAGE_H_

#include <cstdint>

// A queue identifier; the queue's name is derived from it (see uIPCSender.h).
typedef int32_t vm_mq_id;

// The management client's queue.
constexpr vm_mq_id VM_MQ_ID_EMSC = 15;

constexpr unsigned int VM_MSG_HEADER_SIZE = 8;
constexpr unsigned int VM_MSG_EXTRA_SIZE = 12292;
constexpr unsigned int VM_MSG_PAYLOAD_SIZE = VM_MSG_EXTRA_SIZE - VM_MSG_HEADER_SIZE;

struct message_t {
  int32_t family;
  int32_t eventType;
  uint8_t data[VM_MSG_PAYLOAD_SIZE];
};

struct message_extra_t : message_t {};

static_assert(sizeof(message_t) == VM_MSG_EXTRA_SIZE, "message_t layout");
static_assert(sizeof(message_extra_t) == VM_MSG_EXTRA_SIZE, "message_extra_t layout");

#endif  // DEVMGMT_PLATFORM_VMMESSAGE_H_
