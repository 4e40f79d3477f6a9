// How the extender's own programs fail.
#pragma once

#include <stdexcept>
#include <string>

namespace kd {

// Exit statuses of the launcher besides 0.
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNoSandbox = 77;  // the system refuses a step of the sandbox: a test may count as skipped

// A failure with a message for the person at the terminal.
struct Failure : std::runtime_error {
  explicit Failure(const std::string& message, int exit_status = kExitFailed)
      : std::runtime_error(message), status(exit_status) {}
  int status;
};

}  // namespace kd
