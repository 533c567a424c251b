// Host implementation of vm_syslog: syslog(3), optional stderr, capture sink.
#include "platform/vmLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct LogSettings {
  int max_level = LOG_DEBUG;
  bool to_stderr = false;
};

// Read once: the environment of a device process does not change while it runs.
const LogSettings& Settings() {
  static const LogSettings settings = [] {
    LogSettings s;
    if (const char* level = std::getenv("VM_LOG_LEVEL")) {
      char* end = nullptr;
      long value = std::strtol(level, &end, 10);
      if (end != level && *end == '\0' && value >= LOG_EMERG && value <= LOG_DEBUG) {
        s.max_level = static_cast<int>(value);
      }
    }
    if (const char* sink = std::getenv("VM_LOG")) {
      s.to_stderr = std::strcmp(sink, "stderr") == 0;
    }
    return s;
  }();
  return settings;
}

vm_log_sink_fn g_sink = nullptr;
void* g_sink_context = nullptr;

}  // namespace

extern "C" void vm_log_set_sink(vm_log_sink_fn sink, void* context) {
  g_sink = sink;
  g_sink_context = context;
}

extern "C" const char* FileName(const char* path) {
  constexpr int kRing = 8;
  constexpr size_t kSize = 128;
  thread_local char ring[kRing][kSize];
  thread_local int next = 0;
  char* out = ring[next];
  next = (next + 1) % kRing;
  if (path == nullptr) {
    out[0] = '\0';
    return out;
  }
  const char* base = std::strrchr(path, '/');
  base = base ? base + 1 : path;
  const char* dot = std::strrchr(base, '.');
  size_t len = (dot != nullptr && dot != base) ? static_cast<size_t>(dot - base) : std::strlen(base);
  if (len >= kSize) len = kSize - 1;
  std::memcpy(out, base, len);
  out[len] = '\0';
  return out;
}

extern "C" void vm_syslog(int module, int level, int /*flags*/, const char* file,
                          const char* function, int line, const char* format, ...) {
  const LogSettings& settings = Settings();
  const bool to_outputs = level <= settings.max_level;
  if (!to_outputs && g_sink == nullptr) return;

  // Most lines fit the stack buffer; longer ones are formatted again on the heap.
  char stack_text[512];
  std::string heap_text;
  const char* text = stack_text;
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  stack_text[0] = '\0';
  int needed = format != nullptr ? std::vsnprintf(stack_text, sizeof stack_text, format, args) : 0;
  va_end(args);
  if (needed < 0) {
    stack_text[0] = '\0';
  } else if (static_cast<size_t>(needed) >= sizeof stack_text) {
    heap_text.resize(static_cast<size_t>(needed) + 1);
    std::vsnprintf(&heap_text[0], heap_text.size(), format, again);
    heap_text.resize(static_cast<size_t>(needed));
    text = heap_text.c_str();
  }
  va_end(again);

  const char* unit = file ? file : "";
  const char* func = function ? function : "";
  if (g_sink != nullptr) {
    vm_log_record record{module, level, unit, func, line, text};
    g_sink(&record, g_sink_context);
  }
  if (!to_outputs) return;
  // Many messages carry their own line end; the outputs add theirs.
  int len = static_cast<int>(std::strlen(text));
  while (len > 0 && text[len - 1] == '\n') --len;
  syslog(level, "[%d] %s:%s:%d %.*s", module, unit, func, line, len, text);
  if (settings.to_stderr) {
    std::fprintf(stderr, "<%d> [%d] %s:%s:%d %.*s\n", level, module, unit, func, line, len, text);
  }
}
