#include "tools/dmctl/StopRule.h"

#include <atomic>
#include <csignal>

namespace dmctl {
namespace {

std::atomic<bool> g_stop{false};
void OnStop(int) { g_stop = true; }

}  // namespace

void StopRule::AddOptions(CLI::App* command) {
  command->add_option("--count", m_count, "Stop after this many " + m_item + "s");
  command->add_option("--timeout", m_idleMs,
                      "Stop after this many milliseconds without a " + m_item + " (exit 3 if none came)");
}

void StopRule::Start() {
  std::signal(SIGINT, OnStop);
  std::signal(SIGTERM, OnStop);
  m_last = std::chrono::steady_clock::now();
}

void StopRule::Arrived(int items) {
  if (items <= 0) return;
  m_received += items;
  m_last = std::chrono::steady_clock::now();
}

bool StopRule::KeepGoing() {
  if (g_stop || !Wants()) return false;
  if (m_idleMs >= 0 && std::chrono::steady_clock::now() - m_last >= std::chrono::milliseconds(m_idleMs)) {
    if (m_received == 0) throw TimedOut("no " + m_item + " within " + std::to_string(m_idleMs) + " ms");
    return false;
  }
  return true;
}

}  // namespace dmctl
