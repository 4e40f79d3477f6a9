// Devices to test on.
#pragma once

#include <cstdio>

#include "support/device.hpp"

namespace kd::test {

// Steps, for the rows of tables.
inline Device::Step in_turn(std::vector<Device::Step> steps) {
  return [=](Device& d) {
    for (const Device::Step& step : steps) step(d);
  };
}
inline Device::Step has_stored(std::vector<std::pair<std::string, std::string>> values) {
  return [=](Device& d) {
    for (const auto& [key, value] : values) d.set(key, value);
  };
}
inline Device::Step has_file(std::string path, std::string text) {
  return [=](Device& d) { d.files[path] = text; };
}
inline Device::Step has_no_file(std::string path) {
  return [=](Device& d) { d.files.erase(path); };
}
inline Device::Step prints(std::string command, std::string text) {
  return [=](Device& d) { d.outputs[command] = text; };
}
inline Device::Step cannot_open(std::string what) {
  return [=](Device& d) { d.broken.insert(what); };
}
inline Device::Step has_serial_number(std::string serial) {
  return [=](Device& d) {
    for (unsigned i = 0; i < serial.size(); ++i) {
      char offset[8], answer[40];
      std::snprintf(offset, sizeof offset, "%04X", 0x1D3 + i);
      // Only the low byte of a word counts.
      std::snprintf(answer, sizeof answer, "\n[0x%s]:0x7F%02X ", offset, static_cast<unsigned>(serial[i]));
      d.eeprom[offset] = answer;
    }
  };
}

// A started extender of the first model: credentials admin/password, a name, a process list.
inline void prepare_extender(Device& device) {
  has_stored({{"Login", "admin"}, {"Password", "password"}, {"HostName", "Attic"}})(device);
  has_stored({{"OperationMode", "0"}, {"apClient", "1"}})(device);
  device.files["/var/boardid"] = "027210\n";
  device.files["/var/is_dev_ready"] = "";
  device.outputs["ps"] =
      "  PID USER       VSZ STAT COMMAND\n"
      "    1 admin     1500 S    init\n"
      "  321 admin     1500 S    nvram_daemon\n";
}

}  // namespace kd::test
