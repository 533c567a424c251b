#include "platform/uIPCReceiver.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/uIPCSender.h"
#include "platform/vmLog.h"

namespace {

long ReadProcLimit(const char* path, long fallback) {
  FILE* file = fopen(path, "re");
  if (file == nullptr) return fallback;
  long value = 0;
  const bool ok = fscanf(file, "%ld", &value) == 1 && value > 0;
  fclose(file);
  return ok ? value : fallback;
}

constexpr long kMaxMessages = 10;

}  // namespace

long uIPCReceiver::SystemMessageSizeMax() {
  return ReadProcLimit("/proc/sys/fs/mqueue/msgsize_max", 8192);
}

uIPCReceiver::uIPCReceiver(vm_mq_id id) : m_name(vmMqName(id)), m_queue(static_cast<mqd_t>(-1)) {
  if (m_name.empty()) return;
  struct mq_attr attr;
  memset(&attr, 0, sizeof attr);
  attr.mq_maxmsg = std::min(kMaxMessages, ReadProcLimit("/proc/sys/fs/mqueue/msg_max", kMaxMessages));
  attr.mq_msgsize = std::min(static_cast<long>(VM_MSG_EXTRA_SIZE), SystemMessageSizeMax());
  m_queue = mq_open(m_name.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR, &attr);
  if (m_queue == static_cast<mqd_t>(-1)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot open queue %s: %s", m_name.c_str(),
           strerror(errno));
    return;
  }
  // The queue may predate us with other sizes.
  if (mq_getattr(m_queue, &attr) == 0) m_messageSize = attr.mq_msgsize;
  if (m_messageSize > static_cast<long>(sizeof(message_extra_t))) {
    m_oversize.resize(static_cast<size_t>(m_messageSize));
  }
}

uIPCReceiver::~uIPCReceiver() {
  if (IsOpen()) mq_close(m_queue);
}

int uIPCReceiver::Receive(message_extra_t& message, int timeoutMs) {
  if (!IsOpen()) return -1;
  char* buffer = m_oversize.empty() ? reinterpret_cast<char*>(&message) : m_oversize.data();
  const size_t capacity = m_oversize.empty() ? sizeof message : m_oversize.size();
  ssize_t received;
  if (timeoutMs < 0) {
    received = mq_receive(m_queue, buffer, capacity, nullptr);
  } else {
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += timeoutMs / 1000;
    deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
      deadline.tv_sec += 1;
      deadline.tv_nsec -= 1000000000L;
    }
    received = mq_timedreceive(m_queue, buffer, capacity, nullptr, &deadline);
  }
  if (received < 0) {
    if (errno != ETIMEDOUT) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot receive from queue %s: %s",
             m_name.c_str(), strerror(errno));
    }
    return -1;
  }
  const size_t length = static_cast<size_t>(received);
  if (!m_oversize.empty()) {
    if (length > sizeof message) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Message of %zu bytes on queue %s is too large, dropped",
             length, m_name.c_str());
      return -1;
    }
    memcpy(&message, buffer, length);
  }
  memset(reinterpret_cast<char*>(&message) + length, 0, sizeof message - length);
  return static_cast<int>(length);
}

bool uIPCReceiver::Unlink() {
  if (m_name.empty()) return false;
  return mq_unlink(m_name.c_str()) == 0;
}

bool uIPCReceiver::Unlink(vm_mq_id id) {
  const std::string name = vmMqName(id);
  return !name.empty() && mq_unlink(name.c_str()) == 0;
}
