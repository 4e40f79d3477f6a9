#include "restart.hpp"

#include <thread>

#include "failure.hpp"
#include "terminal.hpp"

namespace hnap {
namespace {

using namespace std::chrono_literals;

constexpr double kGoesWithin = 60;  // seconds
constexpr double kReturnsWithin = 300;
constexpr auto kPause = 100ms;  // a quick device is away for no longer than a few of these

bool answers(Device& device) {
  try {
    device.identity(2s);
    return true;
  } catch (const Failure& failure) {
    return failure.status() == Exit::credentials;
  }
}

// A device that refuses our password now is as ready as it can tell us.
bool is_ready(Device& device) {
  if (!device.settings().password) return true;
  try {
    CallOptions options;
    options.timeout = 5s;
    device.call("IsDeviceReady", {}, options);
    return true;
  } catch (const Failure& failure) {
    return failure.status() == Exit::credentials;
  }
}

}  // namespace

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void wait_for_restart(Device& device, const std::string& what) {
  const auto start = std::chrono::steady_clock::now();
  Progress progress;
  const auto show = [&] {
    progress.show(what + ", " + std::to_string(static_cast<int>(seconds_since(start))) + " s");
  };
  while (answers(device)) {
    if (seconds_since(start) > kGoesWithin)
      throw Failure(Exit::unreachable, device.label() + ": did not restart within a minute");
    show();
    std::this_thread::sleep_for(kPause);
  }
  while (!answers(device) || !is_ready(device)) {
    if (seconds_since(start) > kReturnsWithin)
      throw Failure(Exit::unreachable, device.label() + ": has not come back within five minutes");
    show();
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace hnap
