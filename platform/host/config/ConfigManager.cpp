#include "platform/ConfigManager.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <unordered_set>

#include "platform/host/config/ConfigStore.h"
#include "platform/vmCfg.h"
#include "platform/vmLog.h"

namespace {

constexpr int kMaxRounds = 8;
constexpr size_t kJournalBatch = 8192;
constexpr int kThreadWaitMs = 250;
// The last quick look after a wake that showed no new commit (1 + 2 + ... + 128 ms in all).
constexpr int kLastLookMs = 128;

// Set while this thread runs callbacks: a dispatch asked for then is folded
// into the running one instead of recursing.
thread_local bool t_dispatching = false;
// Set when this thread asked for a dispatch inside a write batch: its
// journal rows are not committed yet, so delivery waits for the batch's end.
thread_local bool t_dispatchAfterBatch = false;

std::string Normalize(const std::string& path) {
  return (!path.empty() && path[0] == '/') ? path.substr(1) : path;
}

// The newest journal entry that waitForChange has reported (or found when the
// watch began). The manager is one per process, so this is too.
std::atomic<int64_t> g_reportedSeq{0};

// Whether a commit newer than the last one reported is visible now.
bool NewCommitVisible() {
  int64_t latest = 0;
  // An unreadable journal counts as news: the caller's own read meets the failure and reports it.
  if (dmcfg::ConfigStore::Instance().LatestSeq(&latest) != VM_CFG_OK) return true;
  return g_reportedSeq.exchange(latest) != latest;
}

// Reads every queued event; whether one was on the database's own files.
bool DrainRelevantEvents(int inotify, const std::string& name) {
  alignas(struct inotify_event) char buffer[4096];
  bool relevant = false;
  ssize_t length;
  while ((length = read(inotify, buffer, sizeof buffer)) > 0) {
    for (ssize_t offset = 0; offset < length;) {
      const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + offset);
      // An overflowed queue may have dropped the database's own events.
      if ((event->mask & IN_Q_OVERFLOW) != 0 ||
          (event->len > 0 && std::strncmp(event->name, name.c_str(), name.size()) == 0)) {
        relevant = true;
      }
      offset += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
    }
  }
  return relevant;
}

}  // namespace

struct ConfigManager::Registration {
  std::unordered_set<std::string> paths;
  std::vector<std::string> ordered;  // for the full re-delivery
  PathsChangeCallback callback;
};

ConfigManager* ConfigManager::Instance() {
  // Never destroyed: the delivery thread may outlive static destruction.
  static ConfigManager* manager = new ConfigManager();
  return manager;
}

ConfigManager::ConfigManager() {
  // Changes from now on are delivered. When the database cannot be read yet
  // (another process is creating it, or it is locked), start from the
  // journal's beginning instead: a few extra deliveries, nothing lost.
  int64_t latest = 0;
  m_cursor = dmcfg::ConfigStore::Instance().LatestSeq(&latest) == VM_CFG_OK ? latest : 0;
}

int ConfigManager::registerMultiConfigPathsChangeCallback(const std::set<std::string>& paths,
                                                          PathsChangeCallback callback) {
  if (callback == nullptr || paths.empty()) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Refused a registration without callback or paths");
    return -1;
  }
  auto registration = std::make_shared<Registration>();
  registration->callback = callback;
  for (const std::string& path : paths) {
    const std::string key = Normalize(path);
    if (registration->paths.insert(key).second) registration->ordered.push_back(key);
  }
  // Watch from now on, so that a write of another process between the next
  // dispatch and the first wait still ends that wait.
  PrepareWatch();
  std::lock_guard<std::mutex> lock(m_registryMutex);
  m_registrations.push_back(registration);
  return static_cast<int>(m_registrations.size() - 1);
}

int ConfigManager::flushChangeNotificationMsg() { return dispatchPending(); }

namespace dmcfg {

void DispatchDeferredChanges() {
  if (!t_dispatchAfterBatch || ConfigStore::Instance().InBatchOnThisThread()) return;
  t_dispatchAfterBatch = false;
  ConfigManager::Instance()->dispatchPending();
}

}  // namespace dmcfg

int ConfigManager::dispatchPending() {
  if (t_dispatching) return 0;
  dmcfg::ConfigStore& store = dmcfg::ConfigStore::Instance();
  if (store.InBatchOnThisThread()) {
    t_dispatchAfterBatch = true;
    return 0;
  }
  std::lock_guard<std::mutex> dispatch_lock(m_dispatchMutex);
  t_dispatching = true;
  int calls = 0;
  for (int round = 0; round < kMaxRounds; ++round) {
    std::vector<dmcfg::JournalEntry> entries;
    int64_t first_kept = 0;
    if (store.ReadJournal(m_cursor, kJournalBatch, &entries, &first_kept) != VM_CFG_OK) {
      calls = -1;
      break;
    }
    const bool fell_behind = first_kept > m_cursor + 1;
    if (entries.empty() && !fell_behind) break;
    if (fell_behind) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "Missed journal entries %lld to %lld: delivering every path",
             static_cast<long long>(m_cursor + 1), static_cast<long long>(first_kept - 1));
    }
    if (!entries.empty()) m_cursor = entries.back().seq;

    std::vector<std::shared_ptr<const Registration>> registrations;
    {
      std::lock_guard<std::mutex> lock(m_registryMutex);
      registrations = m_registrations;
    }
    for (const auto& registration : registrations) {
      std::vector<std::string> batch;
      if (fell_behind) {
        batch = registration->ordered;
      } else {
        std::unordered_set<std::string> seen;
        for (const dmcfg::JournalEntry& entry : entries) {
          if (registration->paths.count(entry.path) && seen.insert(entry.path).second) {
            batch.push_back(entry.path);
          }
        }
      }
      if (batch.empty()) continue;
      std::vector<char*> pointers;
      pointers.reserve(batch.size());
      for (std::string& path : batch) pointers.push_back(&path[0]);
      registration->callback(pointers.data(), static_cast<int>(pointers.size()));
      ++calls;
    }
  }
  t_dispatching = false;
  return calls;
}

bool ConfigManager::PrepareWatch() {
  // Registration and the delivery thread may both get here first.
  std::lock_guard<std::mutex> lock(m_watchMutex);
  if (m_inotify >= 0) return true;
  const std::string path = dmcfg::ConfigStore::Instance().DatabasePath();
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
  m_watchedName = slash == std::string::npos ? path : path.substr(slash + 1);
  m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (m_inotify < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "inotify: %s", std::strerror(errno));
    return false;
  }
  // Every commit writes the -wal file beside the database, so watching the
  // directory catches writes of all processes, including the first one.
  if (inotify_add_watch(m_inotify, directory.c_str(), IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO) < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot watch %s: %s", directory.c_str(), std::strerror(errno));
    close(m_inotify);
    m_inotify = -1;
    return false;
  }
  // What is visible now counts as reported: the caller reads it before its first wait.
  NewCommitVisible();
  return true;
}

int ConfigManager::waitForChange(int timeout_ms) {
  if (!PrepareWatch()) return -1;
  struct pollfd fds[2] = {{m_inotify, POLLIN, 0}, {m_wake, POLLIN, 0}};
  const int count = m_wake >= 0 ? 2 : 1;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  // A commit's log frames are written (and wake us) just before the commit
  // becomes visible to readers, and its becoming visible makes no file event:
  // a wake that shows no new commit is followed by looks after 1, 2, 4 ... ms.
  int look_ms = 0;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    int wait_ms = timeout_ms < 0 ? -1 : static_cast<int>(std::max<int64_t>(0, left.count()));
    const bool looking = look_ms > 0 && (wait_ms < 0 || look_ms < wait_ms);
    if (looking) wait_ms = look_ms;
    const int ready = poll(fds, count, wait_ms);
    if (ready < 0 && errno != EINTR) return -1;
    if (ready > 0 && count == 2 && (fds[1].revents & POLLIN)) return 0;
    if (ready > 0 && !DrainRelevantEvents(m_inotify, m_watchedName)) continue;  // other files of the folder
    // A wake, a look that is due, or the deadline (or a signal): a commit may be visible now.
    if (NewCommitVisible()) return 1;
    if (ready <= 0 && !looking) return 0;
    look_ms = look_ms == 0 ? 1 : look_ms * 2;
    if (look_ms > kLastLookMs) look_ms = 0;  // the commit never came: back to waiting for events
  }
}

bool ConfigManager::startDeliveryThread() {
  if (m_thread.joinable()) return false;
  if (m_wake < 0) m_wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (m_wake < 0 || !PrepareWatch()) return false;
  m_stop = false;
  m_thread = std::thread([this] {
    // Time-outs deliver too: a safety net that costs one journal query.
    while (!m_stop) {
      dispatchPending();
      if (waitForChange(kThreadWaitMs) < 0) usleep(kThreadWaitMs * 1000);
    }
  });
  return true;
}

void ConfigManager::stopDeliveryThread() {
  if (!m_thread.joinable()) return;
  m_stop = true;
  const uint64_t one = 1;
  if (write(m_wake, &one, sizeof one) < 0) {
    // The thread still sees the flag within one wait.
  }
  m_thread.join();
  uint64_t drained = 0;
  if (read(m_wake, &drained, sizeof drained) < 0) {
    // Nothing was pending.
  }
}
