#include "support/LogCapture.h"

LogCapture::LogCapture() { vm_log_set_sink(&LogCapture::Sink, this); }

LogCapture::~LogCapture() { vm_log_set_sink(nullptr, nullptr); }

void LogCapture::Sink(const vm_log_record* record, void* context) {
  auto* self = static_cast<LogCapture*>(context);
  self->m_lines.push_back(CapturedLine{record->module, record->level, record->unit,
                                       record->function, record->line, record->text});
}

bool LogCapture::Contains(int level, const std::string& fragment) const {
  for (const CapturedLine& line : m_lines) {
    if (line.level == level && line.text.find(fragment) != std::string::npos) return true;
  }
  return false;
}
