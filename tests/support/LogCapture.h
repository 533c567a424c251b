// Captures the log lines emitted while it is alive, for assertions. Captures
// nest: an inner one also passes its lines to the outer, which takes over
// again when the inner ends.
#ifndef DEVMGMT_TESTS_SUPPORT_LOGCAPTURE_H_
#define DEVMGMT_TESTS_SUPPORT_LOGCAPTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/vmLog.h"

struct CapturedLine {
  int module;
  int level;
  std::string unit;
  std::string function;
  int line;
  std::string text;
};

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<CapturedLine>& lines() const { return m_lines; }
  void Clear() { m_lines.clear(); }
  // True when some line at `level` contains `fragment`.
  bool Contains(int level, const std::string& fragment) const { return Find(level, fragment) != nullptr; }
  // The last line at `level` whose text contains `fragment`, or null.
  const CapturedLine* Find(int level, const std::string& fragment) const;
  // Success when the last line at `level` containing `fragment` came from
  // `module`, `unit` and `function`: who logged a line, not only what.
  ::testing::AssertionResult Logged(int module, int level, const std::string& unit, const std::string& function,
                                    const std::string& fragment) const;

 private:
  static void Sink(const vm_log_record* record, void* context);
  std::vector<CapturedLine> m_lines;
  LogCapture* m_outer;
};

#endif  // DEVMGMT_TESTS_SUPPORT_LOGCAPTURE_H_
