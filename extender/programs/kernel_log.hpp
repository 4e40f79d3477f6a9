// The device's own kernel log.
#pragma once

#include <string_view>

namespace kd {

// Appends to the log that dmesg prints. False on an error. Like a ring buffer the log does not grow without
// bound: when it is full, it starts anew.
bool append_kernel_log(std::string_view text);

}  // namespace kd
