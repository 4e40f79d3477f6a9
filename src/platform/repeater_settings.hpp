// The choice of the upstream network in the configuration store. The access point serves the name and the
// security of the network that the repeater joins, so every choice is stored twice.
#pragma once

#include <cstdint>

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

// Saves the previous values and stores the new ones without committing them: a wireless reload makes them
// take effect. The cipher follows from the security type alone; an unknown type leaves the stored security as
// it was.
void kd_hnap_set_repeater_settings(const repeater_settings& settings);

// Copies twelve current values to their "Last" keys.
void kd_save_last_rp_settings();

// Fills `settings`, zeroed by the caller, from the access point's keys; `band` stays as it is.
//   returns  `connected`: the link state of the repeater client
std::int32_t kd_hnap_get_repeater_settings(repeater_settings& settings);

}  // namespace kd
