// Reaching a running device from the host: commands inside it, its end, its state.
#pragma once

#include <string>
#include <vector>

namespace kd {

// Runs a command inside the device that runs on this state directory, with the device's environment and
// the caller's standard streams. An empty command is a shell.
// Ends this process with the command's exit status, 128 + signal when it was ended by one. Throws Failure.
[[noreturn]] void run_inside(const std::string& state, const std::vector<std::string>& command);

// Ends the device and waits for its end. Throws Failure when none runs.
int stop(const std::string& state);

}  // namespace kd
