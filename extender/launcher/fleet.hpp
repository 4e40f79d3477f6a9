// `extender fleet`: many devices, each a launcher of its own with a state directory below that of the fleet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kd {

struct FleetOptions {
  int count = 0;
  std::vector<std::string> scenarios;  // by turns; none: home
  int base_port = 0;                   // 0: any free ports
  std::vector<std::string> listen;
  std::string module;
  bool keep = false;
};

// Starts the devices and waits until each answers. When one does not, it is named and the others end.
int fleet_up(const std::string& directory, const FleetOptions& options);

// Lists the devices. Exit status 1 when one has crashed.
int fleet_status(const std::string& directory, bool as_json);

// Ends the devices, whatever became of whoever started them.
int fleet_down(const std::string& directory, bool keep);

}  // namespace kd
