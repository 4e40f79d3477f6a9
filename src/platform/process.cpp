#include "platform/process.hpp"

#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

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
