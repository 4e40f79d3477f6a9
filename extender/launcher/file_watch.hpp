// Tells when files of a directory are written, replaced or removed.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "common/files.hpp"
#include "launcher/event_loop.hpp"

namespace kd {

// One for all directories: a user has few of the kernel's watches, and fleets need many.
class FileWatch {
 public:
  explicit FileWatch(EventLoop& loop);
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // Calls `action` after changes in a directory. False when the kernel has no watches left.
  bool add(const std::string& directory, std::function<void()> action);

 private:
  void take();

  Fd fd_;
  std::map<int, std::function<void()>> actions_;
};

}  // namespace kd
