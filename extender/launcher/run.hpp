// `extender run`: boots the device, restarts it when it asks for that, ends it on a signal.
#ifndef KD_EXTENDER_RUN_HPP
#define KD_EXTENDER_RUN_HPP

#include "launcher/options.hpp"

namespace kd {

// Returns the exit status after the device was ended. Throws Failure.
int run(const Options& options);

}  // namespace kd

#endif
