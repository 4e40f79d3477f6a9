// Devices to test on. A set-up for a family of actions starts from `prepare_extender` and adds to it.
#pragma once

#include "support/device.hpp"

namespace kd::test {

// A started extender of the first model: credentials admin/password, a name, a process list.
void prepare_extender(Device& device);

// A serial number in the radio's EEPROM, 14 characters.
void put_serial_number(Device& device, const char* serial);

// Set-ups for the rows of tables.
Device::Step in_turn(std::vector<Device::Step> steps);
Device::Step has_stored(std::vector<std::pair<std::string, std::string>> values);
Device::Step has_file(std::string path, std::string text);
Device::Step has_no_file(std::string path);
Device::Step prints(std::string command, std::string text);
Device::Step cannot_open(std::string what);

}  // namespace kd::test
