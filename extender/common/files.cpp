#include "common/files.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kd {

Fd& Fd::operator=(Fd&& other) noexcept {
  if (this != &other) {
    reset();
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

void Fd::reset() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

std::optional<std::string> read_file(const std::string& path) {
  const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  std::string text;
  char block[16384];
  for (;;) {
    const ssize_t n = ::read(file.get(), block, sizeof block);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) return text;
    text.append(block, static_cast<std::size_t>(n));
  }
}

std::string read_file_or_empty(const std::string& path) {
  return read_file(path).value_or(std::string());
}

bool write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = ::write(fd, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

bool write_file(const std::string& path, std::string_view text, mode_t mode) {
  Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  return file && write_all(file.get(), text) && file.close();
}

namespace {

// Gives a file the owner, where that is allowed, and the mode of another; one that is not there has none.
bool take_owner(int fd, const std::string& from) {
  struct stat old {};
  if (::stat(from.c_str(), &old) != 0) return errno == ENOENT;
  if (::fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM && errno != EINVAL) return false;
  return ::fchmod(fd, old.st_mode & 0777) == 0;
}

}  // namespace

bool replace_file(const std::string& path, std::string_view text) {
  // The process id keeps two writers apart.
  const std::string fresh = path + ".new." + std::to_string(::getpid());
  Fd file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (file && take_owner(file.get(), path) && write_all(file.get(), text) && file.close() &&
      std::rename(fresh.c_str(), path.c_str()) == 0) {
    return true;
  }
  const int error = errno;
  ::unlink(fresh.c_str());
  errno = error;
  return false;
}

bool append_file(const std::string& path, std::string_view text) {
  Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  return file && write_all(file.get(), text) && file.close();
}

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

}  // namespace kd
