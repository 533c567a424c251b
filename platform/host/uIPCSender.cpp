#include "platform/uIPCSender.h"

#include <fcntl.h>
#include <limits.h>
#include <mqueue.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/uEventSerializer.h"
#include "platform/vmLog.h"

namespace {

// Writes the name of queue `id` into `name` (whose storage is reused) and
// returns true; false (logged, `name` empty) for a bad id or prefix.
bool FormatMqName(vm_mq_id id, std::string& name) {
  name.clear();
  if (id < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Invalid queue id %d", static_cast<int>(id));
    return false;
  }
  const char* prefix = getenv("VM_MQ_PREFIX");
  if (prefix == nullptr) prefix = "";
  // A queue name is one path component of at most NAME_MAX bytes.
  if (strchr(prefix, '/') != nullptr || strlen(prefix) > NAME_MAX - 32) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "VM_MQ_PREFIX is not a valid queue name prefix");
    return false;
  }
  char number[16];
  const int digits = snprintf(number, sizeof number, "%d", static_cast<int>(id));
  name += '/';
  name += prefix;
  name += "vm_mq_";
  name.append(number, static_cast<size_t>(digits));
  return true;
}

// Queue names differ only by prefix and id; more than this many means the
// prefix keeps changing, and the old descriptors are of no further use.
constexpr size_t kMaxOpenQueues = 32;

}  // namespace

std::string vmMqName(vm_mq_id id) {
  std::string name;
  FormatMqName(id, name);
  return name;
}

uIPCSender::uIPCSender() = default;

uIPCSender::~uIPCSender() { CloseAll(); }

void uIPCSender::CloseAll() {
  for (const auto& open : m_open) mq_close(open.second);
  m_open.clear();
}

// A queue keeps its identity while it has a name: once unlinked, the queue
// the descriptor refers to has no link left (st_nlink 0) and no receiver
// will ever read it, so the name is opened again to reach its successor.
// Checking the held descriptor costs one fstat, far less than an open and
// a close per message.
mqd_t uIPCSender::Open(const std::string& name) {
  auto found = m_open.find(name);
  if (found != m_open.end()) {
    struct stat status;
    if (fstat(found->second, &status) == 0 && status.st_nlink > 0) return found->second;
    mq_close(found->second);
    m_open.erase(found);
  }
  const mqd_t mq = mq_open(name.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (mq == static_cast<mqd_t>(-1)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot open queue %s: %s", name.c_str(),
           strerror(errno));
    return mq;
  }
  if (m_open.size() >= kMaxOpenQueues) CloseAll();
  m_open.emplace(name, mq);
  return mq;
}

int uIPCSender::SendEvent(uEvent& event, vm_mq_id queue) {
  message_extra_t message;
  const int length = uEventSerializer::SerializeEvent(event, message);
  if (length < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to serialize %s for queue %d",
           event.GetStr(), static_cast<int>(queue));
    return -1;
  }
  return Post(&message, static_cast<unsigned int>(length), queue);
}

int uIPCSender::SendMessage(const message_extra_t& message, unsigned int length, vm_mq_id queue) {
  return Post(&message, length, queue);
}

int uIPCSender::SendMessage(const message_t& message, unsigned int length, vm_mq_id queue) {
  return Post(&message, length, queue);
}

int uIPCSender::Post(const void* bytes, unsigned int length, vm_mq_id queue) {
  if (length < VM_MSG_HEADER_SIZE || length > VM_MSG_EXTRA_SIZE) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Message of %u bytes for queue %d is not a message",
           length, static_cast<int>(queue));
    return -1;
  }
  // Kept per thread so that a long prefix costs no allocation per message.
  thread_local std::string name;
  if (!FormatMqName(queue, name)) return -1;
  std::lock_guard<std::mutex> lock(m_mutex);
  const mqd_t mq = Open(name);
  if (mq == static_cast<mqd_t>(-1)) return -1;
  int result = -1;
  if (mq_send(mq, static_cast<const char*>(bytes), length, 0) == 0) {
    result = 0;
  } else if (errno == EAGAIN) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Queue %s is full, message of %u bytes dropped",
           name.c_str(), length);
  } else if (errno == EMSGSIZE) {
    struct mq_attr attr;
    memset(&attr, 0, sizeof attr);
    mq_getattr(mq, &attr);
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR,
           "Message of %u bytes does not fit queue %s (at most %ld bytes), dropped", length,
           name.c_str(), static_cast<long>(attr.mq_msgsize));
  } else {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot send to queue %s: %s", name.c_str(),
           strerror(errno));
  }
  return result;
}
