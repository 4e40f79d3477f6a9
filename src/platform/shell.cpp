#include "platform/shell.hpp"

#include <cstdio>

#include "base/memory.hpp"
#include "platform/console.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

constexpr int kCommandLimit = 4096;

}  // namespace

int fmtValloc(char** result, int limit, const char* format, va_list arguments) {
  *result = nullptr;
  if (limit < 1) return 0;
  const std::size_t room = static_cast<std::size_t>(limit);
  HeapText text{static_cast<char*>(std::malloc(room))};
  if (!text) return 0;
  const int length = std::vsnprintf(text.get(), room, format, arguments);
  if (length < 0) return 0;
  *result = text.release();
  return length;
}

int doSystem(const char* format, ...) {
  char* formatted = nullptr;
  va_list arguments;
  va_start(arguments, format);
  const int length = fmtValloc(&formatted, kCommandLimit, format, arguments);
  va_end(arguments);
  const HeapText command{formatted};
  if (length >= kCommandLimit) console_printf("doSystem: lost data, buffer overflow\n");
  if (!command) return 0;
  console_printf("%s\n", command.get());
  return os::system(command.get());
}

}  // namespace kd
