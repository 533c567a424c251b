// Change notifications of the configuration database.
//
// A process registers callbacks for sets of paths; every write, by this or
// any other process, is journaled in the database, and delivery calls each
// registration once with the batch of its paths that changed (journal order,
// each path once). Delivery happens on the thread that calls
// dispatchPending() or flushChangeNotificationMsg(), or on a delivery thread
// that the program starts. Callbacks never run concurrently or re-entrantly;
// a dispatch asked for from inside a callback is folded into the running one,
// which goes on while callbacks keep writing (at most eight rounds). A
// dispatch asked for by a thread inside a write batch runs when the batch
// ends. A process that fell behind the pruned journal gets every watched
// path once.
#ifndef DEVMGMT_PLATFORM_CONFIGMANAGER_H_
#define DEVMGMT_PLATFORM_CONFIGMANAGER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "DmExport.h"

class DM_EXPORT ConfigManager {
 public:
  typedef int (*PathsChangeCallback)(char** paths, int count);

  static ConfigManager* Instance();

  // Registers `callback` for the paths (one leading '/' ignored). Returns a
  // registration number (>= 0), or -1 for a null callback or no path. Only
  // changes journaled after this process first used the manager are
  // delivered.
  int registerMultiConfigPathsChangeCallback(const std::set<std::string>& paths,
                                             PathsChangeCallback callback);

  // Delivers every pending change now; the number of callback calls, or -1
  // when the journal cannot be read.
  int dispatchPending();
  // The same, for writers that want listeners to hear of their writes at once.
  int flushChangeNotificationMsg();

  // Sleeps until a commit (of any process) newer than the last one this
  // returned 1 for is visible, or `timeout_ms` passed (-1: no limit): 1, 0 on
  // time-out, -1 on failure. What is visible when the watch begins (the first
  // registration or wait) counts as reported. It sleeps on the file system's
  // change signal and reads the journal only after a wake, at the deadline,
  // and in a few quick looks while a wake's commit is not yet visible.
  int waitForChange(int timeout_ms);

  // Starts or stops a thread that delivers changes as they are written.
  bool startDeliveryThread();
  void stopDeliveryThread();

 private:
  struct Registration;
  ConfigManager();
  ~ConfigManager() = delete;
  bool PrepareWatch();

  std::mutex m_registryMutex;
  std::vector<std::shared_ptr<const Registration>> m_registrations;
  std::mutex m_dispatchMutex;
  int64_t m_cursor = 0;
  std::mutex m_watchMutex;
  int m_inotify = -1;
  int m_wake = -1;  // eventfd that interrupts a wait (thread stop)
  std::string m_watchedName;
  std::thread m_thread;
  std::atomic<bool> m_stop{false};
};

#endif  // DEVMGMT_PLATFORM_CONFIGMANAGER_H_
