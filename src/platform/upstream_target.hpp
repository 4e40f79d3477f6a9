// The chosen upstream network in the air: at a wireless reload the radio is pinned to where it was seen.
#pragma once

#include <string_view>

namespace kd {

// Finds the chosen network in a fresh site survey and stores its channel, extension channel and BSSID. A
// network that is not there changes nothing.
//   returns  the status of the command that removes the report
int kd_update_settings_by_site_survey();

// What a line of the scan report says about the chosen network; `bssid` is null-terminated.
struct UpstreamTarget {
  int channel;
  char bssid[18];
  enum ExtensionChannel { unchanged, below, above } extension;
};

// Whether a line of the report, without its line end, is the chosen network.
//   ssid   searched anywhere in the line: part of another network's name will do, and an empty one always
//   band   "2.4" or "5"; anything else is either
bool match_target_line(std::string_view line, std::string_view ssid, std::string_view band,
                       UpstreamTarget& target);

}  // namespace kd
