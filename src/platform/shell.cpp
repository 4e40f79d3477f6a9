#include "platform/shell.hpp"

#include <cstdio>

#include "base/text.hpp"
#include "platform/lines.hpp"

namespace kd {
namespace {

constexpr int kCommandLimit = 4096;

// Process id of one line of the list when its command contains `name`, else 0. A token is as wide as the
// line, so that a long one never shifts the fields behind it; the command is judged by its first 63
// characters.
int match_process_line(const char* line, std::string_view name) {
  int pid = 0;
  int size = 0;
  char user[256], state[256], command[256];
  if (std::sscanf(line, "%d %255s %d %255s %255s", &pid, user, &size, state, command) != 5) return 0;
  return contains(head(command, 63), name) ? pid : 0;
}

int find_process(std::FILE* list, std::string_view name) {
  char line[256];
  if (!contains(read_line(list, line), "PID")) os::rewind(list);
  while (!read_line(list, line).empty()) {
    if (const int pid = match_process_line(line, name)) return pid;
  }
  return 0;
}

}  // namespace

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

int kd_get_process_pid(const char* name) {
  if (!name || !*name) return 0;
  os::system("ps > /var/psInfo 2>/dev/null");
  os::File list{os::fopen("/var/psInfo", "r")};
  if (!list) return -1;
  const int pid = find_process(list.get(), name);
  list.reset();
  os::system("rm /var/psInfo");
  return pid;
}

}  // namespace kd
