// The radio's files as the device finds them. They are read at each use, so that an edit counts at once.
#ifndef KD_EXTENDER_RADIO_FILES_HPP
#define KD_EXTENDER_RADIO_FILES_HPP

#include <optional>
#include <string>

#include "radio/model.hpp"
#include "table.hpp"

namespace kd::radio {

std::vector<Network> load_networks();
std::vector<Station> load_stations();
std::vector<Client> load_clients();
Link load_link();

// A file under radio/raw replaces what a tool would print, byte for byte: survey, iwconfig.apcli0,
// iwconfig.ra0, stainfo.apcli0, stainfo.ra0, stat.apcli0, client_list.
std::optional<std::string> raw_text(const std::string& name);

// The store as the driver last read it; empty before its first configuration.
void load_driver_settings(store::Table& settings);

// Replaces the file `link`, keeping its WPS status. False on an error.
bool save_link(Link link);

}  // namespace kd::radio

#endif
