// Posts messages to the platform's IPC queues.
//
// Queue `id` is the POSIX message queue "/<prefix>vm_mq_<id>", the prefix
// taken from VM_MQ_PREFIX (empty by default). The receiving process creates
// the queue (uIPCReceiver); a sender never creates one and never blocks: a
// missing or full queue, or a message larger than the queue's message size,
// is a logged failure and the message is dropped, not retried.
//
// A sender keeps each queue's descriptor open between messages and reopens
// the queue by name once the one it holds has lost its name (a restarted
// receiver unlinks and recreates its queue), so it never feeds an orphaned
// queue. A process that moves to another IPC namespace uses a new sender.
#ifndef DEVMGMT_PLATFORM_UIPCSENDER_H_
#define DEVMGMT_PLATFORM_UIPCSENDER_H_

#include <mqueue.h>

#include <map>
#include <mutex>
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
  // The descriptor for `name`, opened or reused; -1 (logged) when the queue
  // does not exist. Called with m_mutex held.
  mqd_t Open(const std::string& name);
  void CloseAll();

  std::mutex m_mutex;
  std::map<std::string, mqd_t> m_open;
};

#endif  // DEVMGMT_PLATFORM_UIPCSENDER_H_
