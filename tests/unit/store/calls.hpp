// The system as the store sees it: one of its calls fails, or is its process's last, and each write takes
// only a part of what it should. The linker puts these functions before libc's (--wrap in CMakeLists.txt), so
// one source file includes this.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace kd::test {
namespace {

struct Fault {
  int at = -1;                 // which call, from 0; none
  int error = 0;               // the errno that it fails with; 0: the process ends there (at no allocation)
  std::string_view name = {};  // the only calls that count
};

bool armed = false, met = false;
Fault fault;
int counted = 0;
// What was called until the fault was met: "close written" for a file that was open for writing.
std::vector<std::string> made;

constexpr int kKilled = 99;

bool fails(std::string_view name) {
  if (!armed) return false;
  if (!met) made.emplace_back(name);
  const bool is_memory = name == "malloc" || name == "realloc" || name == "strdup";
  const bool counts = fault.name.empty() ? fault.error != 0 || !is_memory : fault.name == name;
  if (!counts || counted++ != fault.at) return false;
  met = true;
  if (fault.error == 0) ::_exit(kKilled);
  errno = fault.error;
  return true;
}

// Lets the calls meet the fault until `armed` is false.
void befall(Fault new_fault) {
  fault = new_fault;
  counted = 0;
  made.clear();
  met = false;
  armed = true;
}

// Runs `work` in a child process under a fault: what it returns, or kKilled.
int in_child(const auto& work, Fault fault_there = {}) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    befall(fault_there);
    errno = EIO;  // of an earlier call: nobody is to take it for his own
    ::_exit(work());
  }
  int status = 0;
  return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

extern "C" {

#define WRAP(type, failure, name, parameters, arguments)     \
  type __real_##name parameters;                             \
  type __wrap_##name parameters {                            \
    return fails(#name) ? failure : __real_##name arguments; \
  }
WRAP(void*, nullptr, malloc, (std::size_t size), (size))
WRAP(void*, nullptr, realloc, (void* block, std::size_t size), (block, size))
WRAP(char*, nullptr, strdup, (const char* text), (text))
WRAP(ssize_t, -1, read, (int fd, void* data, std::size_t size), (fd, data, size))
WRAP(ssize_t, -1, write, (int fd, const void* data, std::size_t size),
     (fd, data, std::min<std::size_t>(size, 500)))
WRAP(int, -1, fsync, (int fd), (fd))
WRAP(int, -1, flock, (int fd, int operation), (fd, operation))
WRAP(int, -1, rename, (const char* from, const char* to), (from, to))
WRAP(int, -1, unlink, (const char* path), (path))
WRAP(int, -1, fchown, (int fd, uid_t user, gid_t group), (fd, user, group))
WRAP(int, -1, fchmod, (int fd, mode_t mode), (fd, mode))
WRAP(int, EOF, fflush, (FILE * file), (file))
#undef WRAP

int __real_open64(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return fails("open") ? -1 : __real_open64(path, flags, mode);
}

// A failing close has closed all the same.
int __real_close(int fd);
int __wrap_close(int fd) {
  const bool failing = fails((::fcntl(fd, F_GETFL) & O_ACCMODE) == O_WRONLY ? "close written" : "close");
  const int error = errno;
  const int result = __real_close(fd);
  if (failing) errno = error;
  return failing ? -1 : result;
}

}  // extern "C"
}  // namespace kd::test
