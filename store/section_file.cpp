#include "section_file.hpp"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>
#include <memory>

#include "section_text.hpp"

namespace kd::store {
namespace {

constexpr const char* kSectionNames[kSections] = {"2860", "second"};
constexpr off_t kLargestFile = off_t{16} * 1024 * 1024;

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  // Closes now. False when the system reports that something was not written.
  bool close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

struct Path {
  char text[PATH_MAX];

  // False when the path is too long.
  bool set(const char* directory, const char* prefix, int section, const char* suffix) {
    const int length =
        snprintf(text, sizeof text, "%s/%s%s%s", directory, prefix, kSectionNames[section], suffix);
    return length > 0 && static_cast<size_t>(length) < sizeof text;
  }
};

bool write_all(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// Reads up to `size` bytes; -1 on an error.
ssize_t read_all(int fd, char* out, size_t size) {
  size_t got = 0;
  while (got < size) {
    const ssize_t n = ::read(fd, out + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    got += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(got);
}

// Gives a new file the owner and mode of the one that it will replace, so that root may set a value in an
// ordinary user's store without locking that user out.
bool keep_owner(int fd, const char* old_path) {
  struct stat old;
  struct stat fresh;
  if (::stat(old_path, &old) != 0) return errno == ENOENT;
  if (::fstat(fd, &fresh) != 0) return false;
  if (old.st_uid != fresh.st_uid && ::fchown(fd, old.st_uid, static_cast<gid_t>(-1)) != 0) return false;
  mode_t mode = old.st_mode & 0777;
  // An owner may belong to the file's group no more: then the rights of that group go to no other.
  if (old.st_gid != fresh.st_gid && ::fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0)
    mode &= ~mode_t{070};
  return ::fchmod(fd, mode) == 0;
}

bool write_file(const char* path, const char* old_path, const char* text, size_t size) {
  // The name is fixed: what a killed writer left behind, whoever that was, goes under the lock.
  if (::unlink(path) != 0 && errno != ENOENT) return false;
  Descriptor file(::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return file && keep_owner(file.get(), old_path) && write_all(file.get(), text, size) &&
         ::fsync(file.get()) == 0 && file.close();
}

bool sync_directory(const char* directory) {
  const Descriptor fd(::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return fd && ::fsync(fd.get()) == 0;
}

}  // namespace

int section_index(const char* name) {
  for (int i = 0; i < kSections; ++i) {
    const char number[] = {static_cast<char>('0' + i), '\0'};
    if (strcmp(name, kSectionNames[i]) == 0 || strcmp(name, number) == 0) return i;
  }
  return -1;
}

const char* directory() {
  const char* named = getenv("NVRAM_DIR");
  return named != nullptr && *named != '\0' ? named : "/etc/nvram";
}

ReadStatus read_section(const char* directory, int section, Table& out) {
  Path path;
  if (!path.set(directory, "", section, ".nvram")) return ReadStatus::failed;
  // O_NONBLOCK: something that is no file must not hang the web server.
  const Descriptor file(::open(path.text, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return errno == ENOENT ? ReadStatus::ok : ReadStatus::failed;

  struct stat status;
  if (::fstat(file.get(), &status) != 0) return ReadStatus::failed;
  if (!S_ISREG(status.st_mode) || status.st_size > kLargestFile) return ReadStatus::damaged;
  const auto size = static_cast<size_t>(status.st_size);
  const OwnedText text(static_cast<char*>(malloc(size + 1)));
  if (!text) return ReadStatus::failed;
  const ssize_t got = read_all(file.get(), text.get(), size);
  if (got < 0) return ReadStatus::failed;

  switch (parse({text.get(), static_cast<size_t>(got)}, out).status) {
    case ParseStatus::ok:
      return ReadStatus::ok;
    case ParseStatus::damaged:
      return ReadStatus::damaged;
    case ParseStatus::no_memory:
      break;
  }
  return ReadStatus::failed;
}

Lock::~Lock() {
  if (fd_ >= 0) ::close(fd_);
}

bool Lock::acquire(const char* directory, int section) {
  // A file of its own: the section's file is replaced by every commit, and a lock on it would go with it.
  Path path;
  if (!path.set(directory, ".", section, ".lock")) return false;
  fd_ = ::open(path.text, O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (fd_ < 0) return false;
  while (::flock(fd_, LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

bool replace_section(const char* directory, int section, const Table& table) {
  Path path;
  Path fresh;
  if (!path.set(directory, "", section, ".nvram") || !fresh.set(directory, "", section, ".nvram.new"))
    return false;
  size_t size = 0;
  const OwnedText text(write(table, size));
  if (!text || static_cast<off_t>(size) > kLargestFile) return false;

  if (!write_file(fresh.text, path.text, text.get(), size) || ::rename(fresh.text, path.text) != 0) {
    ::unlink(fresh.text);
    return false;
  }
  return sync_directory(directory);
}

}  // namespace kd::store
