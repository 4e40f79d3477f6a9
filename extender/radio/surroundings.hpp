// The radio's files as the device finds them. They are read at each use, so that an edit counts at once.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/faults.hpp"
#include "radio/model.hpp"
#include "value_table.hpp"

namespace kd::radio {

// With the faults laid over them.
std::vector<Network> load_networks();
std::vector<Station> load_stations();
std::vector<Client> load_clients();
Link load_link();
std::vector<Fault> load_faults();

// The device's own address, from its EEPROM: "02:4B:44:00:00:01".
std::string device_address();

// A file under radio/raw replaces what a tool would print, byte for byte: survey, iwconfig.apcli0,
// iwconfig.ra0, stainfo.apcli0, stainfo.ra0, stat.apcli0, client_list.
std::optional<std::string> raw_text(const std::string& name);

// What the driver works with: the store as it last read it, and what iwpriv set since; empty before its first
// configuration.
void load_driver_settings(store::Table& settings);

// Replaces them. False on an error.
bool save_driver_settings(const store::Table& settings);

// Replaces the file `link`, keeping its WPS status. False on an error.
bool save_link(Link link);

}  // namespace kd::radio
