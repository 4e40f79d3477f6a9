// Small file helpers for the launcher and the device programs.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kd {

// An open descriptor, closed at the end of its life.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept;
  ~Fd() { reset(); }
  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  void reset();
  // Closes now. False (errno) when the system reports that something was not written.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_;
};

// The whole file; nothing when it cannot be opened or read.
std::optional<std::string> read_file(const std::string& path);

// The whole file, or an empty text.
std::string read_file_or_empty(const std::string& path);

// Writes all bytes, retrying interrupted and short writes. False on an error (errno).
bool write_all(int fd, std::string_view text);

// Creates or truncates and writes a file. False on an error (errno).
bool write_file(const std::string& path, std::string_view text, mode_t mode = 0644);

// Replaces a file through a new one and a rename, so that a reader sees the old text or the new one. The
// new file has the mode and, where that is allowed, the owner of the old one. False on an error (errno).
bool replace_file(const std::string& path, std::string_view text);

// Appends with one write, so that lines of several processes never mix. False on an error (errno).
bool append_file(const std::string& path, std::string_view text);

bool exists(const std::string& path);

}  // namespace kd
