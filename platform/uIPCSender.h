// Posts messages to the platform's IPC queues.
//
// Queue `id` is the POSIX message queue "/<prefix>vm_mq_<id>", the prefix
// taken from VM_MQ_PREFIX (empty by default). The receiving process creates
// the queue (uIPCReceiver); a sender never creates one and never blocks: a
// missing or full queue, or a message larger than the queue's message size,
// is a logged failure and the message is dropped, not retried.
#ifndef DEVMGMT_PLATFORM_UIPCSENDER_H_
#define DEVMGMT_PLATFORM_UIPCSENDER_H_

#include <string>

#include "DmExport.h"
#include "uEvent.h"
#include "vmMessage.h"

// The queue name of `id`, or "" (logged) when the id is negative or the
// prefix holds a '/' or is too long.
DM_EXPORT std::string vmMqName(vm_mq_id id);

class DM_EXPORT uIPCSender {
 public:
  // Each returns 0 when the message was queued and -1 otherwise.
  virtual int SendEvent(uEvent& event, vm_mq_id queue);
  virtual int SendMessage(const message_extra_t& message, unsigned int length, vm_mq_id queue);
  virtual int SendMessage(const message_t& message, unsigned int length, vm_mq_id queue);
  virtual ~uIPCSender();

 protected:
  // One sender serves a process; see SingletonHolder.
  uIPCSender();

 private:
  int Post(const void* bytes, unsigned int length, vm_mq_id queue);
};

#endif  // DEVMGMT_PLATFORM_UIPCSENDER_H_
