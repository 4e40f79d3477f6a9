// What the launcher waits for: descriptors and moments.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>

namespace kd {

class EventLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using Action = std::function<void(short events)>;

  // Calls `action` when one of `events` (POLLIN, ...) or an error is there. Watching again replaces the last.
  void watch(int fd, short events, Action action) { watched_[fd] = {events, std::move(action)}; }
  void forget(int fd) { watched_.erase(fd); }

  // Calls `action` once at a moment. The timer's number is never 0.
  unsigned at(Clock::time_point moment, std::function<void()> action);
  void cancel(unsigned timer) { timers_.erase(timer); }

  // Waits for what comes next and does it. Throws Failure.
  void turn();

 private:
  struct Watched {
    short events;
    Action action;
  };
  struct Timer {
    Clock::time_point moment;
    std::function<void()> action;
  };
  int timeout() const;

  std::map<int, Watched> watched_;
  std::map<unsigned, Timer> timers_;
  unsigned last_timer_ = 0;
};

}  // namespace kd
