// Reads one IPC queue: the management client's side, tools, tests, benchmarks.
//
// The constructor creates the queue if it does not exist, with at most 10
// messages of min(12,292, fs.mqueue.msgsize_max) bytes: Linux refuses larger
// messages to a process without CAP_SYS_RESOURCE. Closing a receiver keeps
// the queue; Unlink removes its name.
#ifndef DEVMGMT_PLATFORM_UIPCRECEIVER_H_
#define DEVMGMT_PLATFORM_UIPCRECEIVER_H_

#include <mqueue.h>

#include <string>
#include <vector>

#include "DmExport.h"
#include "vmMessage.h"

class DM_EXPORT uIPCReceiver {
 public:
  explicit uIPCReceiver(vm_mq_id id);
  ~uIPCReceiver();
  uIPCReceiver(const uIPCReceiver&) = delete;
  uIPCReceiver& operator=(const uIPCReceiver&) = delete;

  bool IsOpen() const { return m_queue != static_cast<mqd_t>(-1); }
  const std::string& Name() const { return m_name; }
  // The queue's message size (bytes); 0 when closed.
  long MessageSize() const { return m_messageSize; }

  // Waits up to `timeoutMs` (forever when negative) for a message and returns
  // its length; the rest of `message` is zeroed. -1 on timeout or failure
  // (failures are logged, timeouts are not).
  int Receive(message_extra_t& message, int timeoutMs);

  // Removes the queue's name; the queue goes when the last descriptor closes.
  bool Unlink();
  static bool Unlink(vm_mq_id id);

  // The kernel's limit on a queue's message size, from /proc; 8192 if unread.
  static long SystemMessageSizeMax();

 private:
  std::string m_name;
  mqd_t m_queue;
  long m_messageSize = 0;
  std::vector<char> m_oversize;  // for a queue made by others with larger messages
};

#endif  // DEVMGMT_PLATFORM_UIPCRECEIVER_H_
