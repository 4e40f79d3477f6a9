// Waiting for a device that restarts.
#pragma once

#include <string>

#include "device.hpp"

namespace hnap {

/// Waits until the device has gone and is back, ready where it lets us ask. Throws Failure (unreachable) when
/// it does not go or does not return. Shows a progress line.
void wait_for_restart(Device& device, const std::string& what);

/// A clock that runs from its making.
double seconds_since(std::chrono::steady_clock::time_point start);

}  // namespace hnap
