// The choice of the upstream network in the configuration store. The access point serves the name and the
// security of the network that the repeater joins, so every choice is stored twice.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/hnap_request.hpp"

namespace kd {

struct repeater_settings {
  char ssid[33];
  char network_type[16];  // "INFRASTRUCTURE"
  char band[7];           // "2.4GHz", "5GHz" or empty for either
  std::int32_t security_enabled;
  char security_type[16];  // "WEP-AUTO", "WEP", "WEP-OPEN", "WEP-SHARED", "WPA-PSK", "WPA2-PSK",
                           // "WPA-AUTO-PSK"
  char encryption[10];     // "WEP-64", "WEP-128", "TKIP", "AES" or "TKIPORAES"
  char key[66];
  std::int32_t connected;  // only read
};

// Saves the previous values, stores the new ones without committing them, and leaves the wireless reload to
// the connection's end. The cipher follows from the security type alone; an unknown type leaves the stored
// security as it was.
void kd_hnap_set_repeater_settings(hnap_request& request, const repeater_settings& settings);

// Copies twelve current values to their "Last" keys.
void kd_save_last_rp_settings(const hnap_request* request);

// Fills `settings`, zeroed by the caller, from the access point's keys; `band` stays as it is.
//   returns  `connected`: the link state of the repeater client
std::int32_t kd_hnap_get_repeater_settings(const hnap_request* request, repeater_settings& settings);

// At a wireless reload: finds the chosen network in a fresh site survey and stores its channel, extension
// channel and BSSID. A network that is not there changes nothing.
//   returns  the status of the command that removes the report
int kd_update_settings_by_site_survey();

// What a line of the scan report says about the chosen network; `bssid` is null-terminated.
struct upstream_target {
  int channel;
  char bssid[18];
  enum extension_channel { kUnchanged, kBelow, kAbove } extension;
};

// Whether a line of the report, without its line end, is the chosen network.
//   ssid   searched anywhere in the line: part of another network's name will do, and an empty one always
//   band   "2.4" or "5"; anything else is either
bool match_target_line(std::string_view line, std::string_view ssid, std::string_view band,
                       upstream_target& target);

}  // namespace kd
