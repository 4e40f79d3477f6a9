// What a boot gets from the host: the files that are bound in, and what its first process is told.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "launcher/options.hpp"
#include "launcher/sandbox.hpp"
#include "launcher/state.hpp"

namespace kd {

// Throws Failure when a file that the device needs is not there.
void check_files(const Options& options);

std::vector<Source> sources(const Options& options, const State& state);

// The arguments of init_main (init/init.hpp).
std::vector<std::string> init_arguments(const Options& options, const State& state, int boot, int port,
                                        std::size_t listeners);

}  // namespace kd
