#include "launcher/event_loop.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.hpp"

namespace kd {

unsigned EventLoop::at(Clock::time_point moment, std::function<void()> action) {
  timers_[++last_timer_] = {moment, std::move(action)};
  return last_timer_;
}

int EventLoop::timeout() const {
  if (timers_.empty()) return -1;
  Clock::time_point next = Clock::time_point::max();
  for (const auto& [number, timer] : timers_) next = std::min(next, timer.moment);
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
  return static_cast<int>(std::clamp<long>(left, 0, 1000000));
}

void EventLoop::turn() {
  std::vector<pollfd> waiting;
  for (const auto& [fd, watched] : watched_) waiting.push_back({fd, watched.events, 0});
  if (::poll(waiting.data(), waiting.size(), timeout()) < 0 && errno != EINTR) {
    throw Failure(std::string("poll: ") + std::strerror(errno));
  }
  for (const pollfd& each : waiting) {
    // An action before this one may have ended it.
    const auto watched = watched_.find(each.fd);
    if (each.revents == 0 || watched == watched_.end()) continue;
    const Action action = watched->second.action;
    action(each.revents);
  }
  const Clock::time_point now = Clock::now();
  std::vector<unsigned> due;
  for (const auto& [number, timer] : timers_) {
    if (timer.moment <= now) due.push_back(number);
  }
  for (const unsigned number : due) {
    auto timer = timers_.extract(number);
    if (!timer.empty()) timer.mapped().action();
  }
}

}  // namespace kd
