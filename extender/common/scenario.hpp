// The scenario as the device finds it.
#pragma once

#include <string>

namespace kd {

// A file of the scenario, or of `home` when the scenario has none of that name.
std::string scenario_file(const std::string& name);

}  // namespace kd
