// Turns events into IPC messages and fills events back from them.
//
// The payload is the binary form of the event's record (uBinary.h); an event
// without a record but with a raw data buffer sends those bytes.
#ifndef DEVMGMT_PLATFORM_UEVENTSERIALIZER_H_
#define DEVMGMT_PLATFORM_UEVENTSERIALIZER_H_

#include "DmExport.h"
#include "uEvent.h"
#include "vmMessage.h"

class DM_EXPORT uEventSerializer {
 public:
  // Writes family, type and payload into `message`. Returns the message
  // length (8 + payload), or -1, logged, when the payload does not fit.
  static int SerializeEvent(uEvent& event, message_extra_t& message);
  // Fills the event's record from the payload, reading at most the message's
  // capacity (a received message is zero-filled past its length). Non-zero on
  // success; an event without a record succeeds without reading.
  static int DeSerializeEvent(uEvent& event, message_t& message);
  // As above, for a message of `length` bytes: the record must take exactly
  // the payload, no byte more or less. Failures are logged.
  static int DeSerializeEvent(uEvent& event, const message_t& message, unsigned int length);
};

#endif  // DEVMGMT_PLATFORM_UEVENTSERIALIZER_H_
