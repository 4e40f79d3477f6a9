#include "common/scenario.hpp"

#include "common/files.hpp"
#include "common/layout.hpp"

namespace kd {

std::string scenario_file(const std::string& name) {
  const std::string own = std::string(layout::kScenario) + "/" + name;
  return exists(own) ? own : std::string(layout::kHomeScenario) + "/" + name;
}

}  // namespace kd
