// A real POSIX queue private to one test process.
//
// Sets VM_MQ_PREFIX to a name unique to the process, creates the queue with
// a uIPCReceiver and unlinks it when the test ends, so runs never share or
// leave queues behind.
#ifndef DEVMGMT_TESTS_SUPPORT_TESTQUEUE_H_
#define DEVMGMT_TESTS_SUPPORT_TESTQUEUE_H_

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/uIPCReceiver.h"

inline void UseProcessQueuePrefix() {
  const std::string prefix = "dmtest" + std::to_string(getpid()) + "_";
  setenv("VM_MQ_PREFIX", prefix.c_str(), 1);
}

class TestQueue {
 public:
  explicit TestQueue(vm_mq_id id) : m_receiver((UseProcessQueuePrefix(), id)) {}
  ~TestQueue() { m_receiver.Unlink(); }

  uIPCReceiver& receiver() { return m_receiver; }
  // Receives one message (zero-filled first) or returns -1 after 1 s.
  int Receive(message_extra_t& message) {
    memset(&message, 0xA5, sizeof message);
    return m_receiver.Receive(message, 1000);
  }
  bool IsEmpty() {
    message_extra_t message;
    return m_receiver.Receive(message, 0) < 0;
  }

 private:
  uIPCReceiver m_receiver;
};

#endif  // DEVMGMT_TESTS_SUPPORT_TESTQUEUE_H_
