#include "support/LogCapture.h"

namespace {
LogCapture* g_innermost = nullptr;
}  // namespace

LogCapture::LogCapture() : m_outer(g_innermost) {
  g_innermost = this;
  vm_log_set_sink(&LogCapture::Sink, this);
}

LogCapture::~LogCapture() {
  g_innermost = m_outer;
  vm_log_set_sink(m_outer != nullptr ? &LogCapture::Sink : nullptr, m_outer);
}

void LogCapture::Sink(const vm_log_record* record, void* context) {
  for (auto* capture = static_cast<LogCapture*>(context); capture != nullptr; capture = capture->m_outer) {
    capture->m_lines.push_back(CapturedLine{record->module, record->level, record->unit, record->function,
                                            record->line, record->text});
  }
}

const CapturedLine* LogCapture::Find(int level, const std::string& fragment) const {
  for (auto line = m_lines.rbegin(); line != m_lines.rend(); ++line) {
    if (line->level == level && line->text.find(fragment) != std::string::npos) return &*line;
  }
  return nullptr;
}

::testing::AssertionResult LogCapture::Logged(int module, int level, const std::string& unit,
                                              const std::string& function, const std::string& fragment) const {
  const CapturedLine* line = Find(level, fragment);
  if (line == nullptr) return ::testing::AssertionFailure() << "no line at level " << level << " with: " << fragment;
  if (line->module == module && line->unit == unit && line->function == function) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\"" << fragment << "\" came from module " << line->module << ", "
                                       << line->unit << "::" << line->function << " (line " << line->line
                                       << "), expected module " << module << ", " << unit << "::" << function;
}
