#include "platform/console.hpp"

#include <cstdarg>

#include "platform/os.hpp"

namespace kd {

void console_printf(const char* format, ...) {
  os::File console{os::fopen("/dev/console", "w")};
  if (!console) return;
  char message[5000];  // a command of 4096 characters and the words around it
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  if (length < 0) return;
  const std::size_t kept = static_cast<std::size_t>(length);
  os::fwrite(message, kept < sizeof message ? kept : sizeof message - 1, console.get());
}

}  // namespace kd
