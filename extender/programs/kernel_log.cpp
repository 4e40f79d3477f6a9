#include "programs/kernel_log.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "programs/programs.hpp"

namespace kd {
namespace {

constexpr off_t kLargestLog = off_t{256} * 1024;

// The log, locked against a reader that empties it.
Fd open_log() {
  Fd log(::open(layout::kKernelLog, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (log && ::flock(log.get(), LOCK_EX) != 0) log.reset();
  return log;
}

}  // namespace

bool append_kernel_log(std::string_view text) {
  const Fd log = open_log();
  if (!log) return false;
  struct stat status {};
  if (::fstat(log.get(), &status) != 0) return false;
  if (status.st_size > kLargestLog && ::ftruncate(log.get(), 0) != 0) return false;
  return write_all(log.get(), text);
}

int dmesg_main(int argc, char** argv) {
  const bool clear = argc > 1 && std::strcmp(argv[1], "-c") == 0;
  const Fd log = open_log();
  if (!log) {
    std::perror("dmesg");
    return 1;
  }
  char block[16384];
  ssize_t n;
  while ((n = ::read(log.get(), block, sizeof block)) > 0) {
    if (!write_all(STDOUT_FILENO, {block, static_cast<std::size_t>(n)})) return 1;
  }
  return n < 0 || (clear && ::ftruncate(log.get(), 0) != 0) ? 1 : 0;
}

}  // namespace kd
