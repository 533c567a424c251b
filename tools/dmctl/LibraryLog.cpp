// The library's last complaint, kept so that a failure can name its reason.
#include <string>

#include "platform/vmLog.h"
#include "tools/dmctl/Cli.h"

namespace dmctl {
namespace {

std::string g_reason;

void Keep(const vm_log_record* record, void*) {
  if (record->level <= LOG_WARNING && record->text != nullptr) {
    g_reason = record->text;
    // One line: the reason is printed after the command's own words.
    for (char& c : g_reason) {
      if (c == '\n' || c == '\r') c = ' ';
    }
    while (!g_reason.empty() && g_reason.back() == ' ') g_reason.pop_back();
  }
}

}  // namespace

void CaptureLibraryLog() { vm_log_set_sink(Keep, nullptr); }

void ForgetLibraryLog() { g_reason.clear(); }

std::string Because(const std::string& what) {
  std::string text = g_reason.empty() ? what + " (run with -v for the library's log)" : what + ": " + g_reason;
  g_reason.clear();
  return text;
}

}  // namespace dmctl
