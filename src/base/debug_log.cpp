#include "base/debug_log.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace kd {
namespace {

DebugLogSink log_sink = nullptr;

}  // namespace

void set_debug_log_sink(DebugLogSink sink) {
  log_sink = sink;
}

void kd_hnap_printf(const char* source, int line, const char* format, ...) {
  if (!log_sink) return;
  char text[2048];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  // Some messages bring a line end of their own.
  text[std::strcspn(text, "\n")] = '\0';
  log_sink(source, line, text);
}

}  // namespace kd
