#include "launcher/file_watch.hpp"

#include <poll.h>
#include <sys/inotify.h>

#include <cstring>
#include <set>
#include <utility>

namespace kd {

FileWatch::FileWatch(EventLoop& loop) : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (fd_) loop.watch(fd_.get(), POLLIN, [this](short) { take(); });
}

bool FileWatch::add(const std::string& directory, std::function<void()> action) {
  const int number =
      ::inotify_add_watch(fd_.get(), directory.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE);
  if (number < 0) return false;
  actions_[number] = std::move(action);
  return true;
}

void FileWatch::take() {
  std::set<int> changed;
  alignas(inotify_event) char block[4096];
  for (ssize_t n; (n = ::read(fd_.get(), block, sizeof block)) > 0;) {
    for (ssize_t at = 0; at < n;) {
      inotify_event event;
      std::memcpy(&event, block + at, sizeof event);
      changed.insert(event.wd);
      at += static_cast<ssize_t>(sizeof event + event.len);
    }
  }
  for (const int number : changed) {
    if (const auto action = actions_.find(number); action != actions_.end()) action->second();
  }
}

}  // namespace kd
