// When the commands that wait for things (listen, watch, config watch) stop:
// after --count items, after --timeout milliseconds without one (exit 3 when
// nothing came at all), or on SIGINT/SIGTERM.
#ifndef DEVMGMT_TOOLS_DMCTL_STOPRULE_H_
#define DEVMGMT_TOOLS_DMCTL_STOPRULE_H_

#include <chrono>
#include <string>

#include "tools/dmctl/Cli.h"

namespace dmctl {

class StopRule {
 public:
  // `item` names one of what is counted, in the singular ("message").
  explicit StopRule(std::string item) : m_item(std::move(item)) {}

  // Adds --count and --timeout to `command`.
  void AddOptions(CLI::App* command);
  // Starts waiting: catches SIGINT and SIGTERM and starts the idle clock.
  void Start();
  // Notes that `items` more arrived.
  void Arrived(int items = 1);
  // Whether to wait for more. Throws TimedOut when the time-out passed and
  // nothing arrived at all.
  bool KeepGoing();
  // Whether another item may still be printed under --count.
  bool Wants() const { return m_count <= 0 || m_received < m_count; }

 private:
  std::string m_item;
  int m_count = 0;
  int m_idleMs = -1;
  int m_received = 0;
  std::chrono::steady_clock::time_point m_last;
};

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_STOPRULE_H_
