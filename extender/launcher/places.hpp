// Where things are on the host.
#pragma once

#include <string>

namespace kd {

// Where the state is kept when the command line does not say: below XDG_STATE_HOME or ~/.local/state.
std::string default_state_directory();

// The folder with `scenarios` and `web`, next to this program's own folder. Throws Failure.
std::string shared_directory();

// This program's own path, and the folder above the one that holds it.
std::string program_path();
std::string install_prefix();

}  // namespace kd
