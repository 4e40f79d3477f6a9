// `extender run`: boots the device, restarts it when it asks for that, ends it on a signal.
#pragma once

#include "launcher/options.hpp"

namespace kd {

// Returns the exit status after the device was ended. Throws Failure.
int run(const Options& options);

}  // namespace kd
