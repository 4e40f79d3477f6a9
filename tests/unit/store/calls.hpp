// The system as the store sees it: one of its calls fails, takes half of what it should, or is its process's
// last. The linker puts these functions before libc's (--wrap in CMakeLists.txt), so one source file includes
// this.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

namespace kd::test {
namespace {

struct Fault {
  enum Kind { fail, cut, kill } kind = fail;
  int error = 0;  // errno of a failure; a cut write takes half, and the next one fails with it, or kills if 0
  int at = -1;  // which call, from 0: to fail, of all; to cut, of the writes; to kill, of all but allocations
};

// What was called until the fault was met: names, "close written" for a file that was open for writing.
struct Calls {
  std::vector<std::string> made;
  bool met = false;
};
bool armed = false;
Fault fault;
int counted = 0;
Calls calls;

constexpr int kKilled = 99;
enum Order { go_on, refuse, half };

Order next(std::string_view name) {
  if (!armed) return go_on;
  if (!calls.met) calls.made.emplace_back(name);
  const bool is_memory = name == "malloc" || name == "realloc" || name == "strdup";
  const bool counts = fault.kind == Fault::cut ? name == "write" : fault.kind == Fault::fail || !is_memory;
  const int behind = (counts ? counted++ : -2) - fault.at;
  const bool second_half = fault.kind == Fault::cut && behind == 1;
  if (fault.at < 0 || (behind != 0 && !second_half)) return go_on;
  calls.met = true;
  if (fault.kind == Fault::kill || (second_half && fault.error == 0)) ::_exit(kKilled);
  errno = fault.error;
  return fault.kind == Fault::cut && !second_half ? half : refuse;
}

// Lets the calls from here on meet the fault.
void befall(Fault new_fault) {
  fault = new_fault;
  counted = 0;
  calls = {};
  armed = true;
}

// Ends that.
Calls recover() {
  armed = false;
  return calls;
}

// Runs `work` in a child process under a fault: what it returns, or kKilled.
int in_child(int (*work)(), Fault fault_there = {}) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    befall(fault_there);
    ::_exit(work());
  }
  int status = 0;
  return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

extern "C" {

#define WRAP(type, failure, name, parameters, arguments)             \
  type __real_##name parameters;                                     \
  type __wrap_##name parameters {                                    \
    return next(#name) == go_on ? __real_##name arguments : failure; \
  }
WRAP(void*, nullptr, malloc, (std::size_t size), (size))
WRAP(void*, nullptr, realloc, (void* block, std::size_t size), (block, size))
WRAP(char*, nullptr, strdup, (const char* text), (text))
WRAP(ssize_t, -1, read, (int fd, void* data, std::size_t size), (fd, data, size))
WRAP(int, -1, fsync, (int fd), (fd))
WRAP(int, -1, flock, (int fd, int operation), (fd, operation))
WRAP(int, -1, rename, (const char* from, const char* to), (from, to))
WRAP(int, -1, unlink, (const char* path), (path))
WRAP(int, -1, fchown, (int fd, uid_t user, gid_t group), (fd, user, group))
WRAP(int, -1, fchmod, (int fd, mode_t mode), (fd, mode))
#ifdef __LP64__
WRAP(int, -1, fstat64, (int fd, struct stat* status), (fd, status))
WRAP(int, -1, stat64, (const char* path, struct stat* status), (path, status))
#endif
#undef WRAP

int __real_open64(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return next("open") == go_on ? __real_open64(path, flags, mode) : -1;
}

ssize_t __real_write(int fd, const void* data, std::size_t size);
ssize_t __wrap_write(int fd, const void* data, std::size_t size) {
  const Order order = next("write");
  return order == refuse ? -1 : __real_write(fd, data, order == half ? size / 2 : size);
}

// A failing close has closed all the same.
int __real_close(int fd);
int __wrap_close(int fd) {
  const bool written = armed && (::fcntl(fd, F_GETFL) & O_ACCMODE) == O_WRONLY;
  const bool fails = next(written ? "close written" : "close") != go_on;
  const int error = errno;
  const int result = __real_close(fd);
  if (fails) errno = error;
  return fails ? -1 : result;
}

}  // extern "C"
}  // namespace kd::test
