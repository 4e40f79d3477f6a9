// The numbers of a scenario: its file `settings`, fields "name=value".
#pragma once

#include <string>

#include "common/format.hpp"

namespace kd {

struct Settings {
  int ready_delay = 0;          // milliseconds from boot to /var/is_dev_ready
  int reboot_pause = 1500;      // milliseconds without an answer between two boots
  int association_delay = 500;  // milliseconds from a joined or failed association to its stored result
  int factory_pause = 6000;     // milliseconds from the order to restore the defaults to the restart
  int upgrade_time = 4000;      // milliseconds that mtd_write takes
  std::string upgrade = "ok";   // ok; stall: stops half-way for good; fail: ends without any progress
};

const Format& settings_format();

// The settings in a file; what is missing or wrong has the value above.
Settings read_settings(const std::string& path);

}  // namespace kd
