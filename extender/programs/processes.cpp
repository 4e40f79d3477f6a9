// ps, killall and reboot over /proc.
#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/files.hpp"
#include "programs/programs.hpp"

namespace kd {
namespace {

struct Process {
  pid_t pid;
  std::string name;     // at most 15 characters
  std::string command;  // arguments between blanks; empty for a process that has ended
  std::string state;
  unsigned long kilobytes;
};

// The status line of one process: "pid (name) state ...", where the name may hold anything.
bool parse_stat(const std::string& stat, Process& process) {
  const std::size_t open = stat.find('(');
  const std::size_t close = stat.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close + 2 >= stat.size()) return false;
  process.name = stat.substr(open + 1, close - open - 1);
  process.state = stat.substr(close + 2, 1);
  std::size_t at = close + 2;
  for (int field = 3; field < 23; ++field) {  // field 23 is the size in bytes
    at = stat.find(' ', at);
    if (at == std::string::npos) return false;
    ++at;
  }
  process.kilobytes = std::strtoul(stat.c_str() + at, nullptr, 10) / 1024;
  return true;
}

std::vector<Process> all_processes() {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir("/proc"), ::closedir);
  std::vector<Process> list;
  while (const dirent* entry = directory ? ::readdir(directory.get()) : nullptr) {
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) == 0) continue;
    const std::string base = std::string("/proc/") + entry->d_name;
    Process process{static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10)), "", "", "", 0};
    if (!parse_stat(read_file_or_empty(base + "/stat"), process)) continue;
    process.command = read_file_or_empty(base + "/cmdline");
    while (!process.command.empty() && process.command.back() == '\0') process.command.pop_back();
    for (char& c : process.command) {
      if (c == '\0') c = ' ';
      if (c == '\n') c = '?';
    }
    list.push_back(std::move(process));
  }
  std::sort(list.begin(), list.end(), [](const Process& a, const Process& b) { return a.pid < b.pid; });
  return list;
}

// The program's own name: the last part of its first word, which is longer than what the kernel keeps.
std::string program_name(const Process& process) {
  const std::string word = process.command.substr(0, process.command.find(' '));
  return word.substr(word.rfind('/') + 1);
}

int signal_number(const char* text) {
  if (std::isdigit(static_cast<unsigned char>(*text)) != 0) return std::atoi(text);
  if (std::strncmp(text, "SIG", 3) == 0) text += 3;
  for (int signal = 1; signal < NSIG; ++signal) {
    const char* name = ::sigabbrev_np(signal);
    if (name != nullptr && std::strcmp(name, text) == 0) return signal;
  }
  return -1;
}

}  // namespace

int ps_main(int, char**) {
  std::puts("  PID USER       VSZ STAT COMMAND");
  for (const Process& process : all_processes()) {
    const std::string command = process.command.empty() ? "[" + process.name + "]" : process.command;
    std::printf("%5d %-8s %5lu %-4s %s\n", process.pid, "root", process.kilobytes, process.state.c_str(),
                command.c_str());
  }
  return 0;
}

int killall_main(int argc, char** argv) {
  int signal = SIGTERM;
  int first = 1;
  if (argc > 1 && argv[1][0] == '-') {
    signal = signal_number(argv[1] + 1);
    first = 2;
  }
  if (signal < 0 || first >= argc) {
    std::fputs("usage: killall [-SIGNAL] NAME...\n", stderr);
    return 1;
  }
  const std::vector<Process> processes = all_processes();
  int status = 0;
  for (int i = first; i < argc; ++i) {
    bool found = false;
    for (const Process& process : processes) {
      if (process.pid == ::getpid() || process.state == "Z") continue;
      if (process.name != argv[i] && program_name(process) != argv[i]) continue;
      found = ::kill(process.pid, signal) == 0 || found;
    }
    if (!found) {
      std::fprintf(stderr, "%s: no process found\n", argv[i]);
      status = 1;
    }
  }
  return status;
}

int reboot_main(int, char**) {
  return ::kill(1, SIGTERM) == 0 ? 0 : 1;
}

}  // namespace kd
