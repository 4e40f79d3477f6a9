// The state of the uplink, gathered from what the driver's tools print.
#pragma once

#include <cstdint>
#include <string_view>

namespace kd {

struct repeater_conninfo {
  std::int32_t link_state;  // 0 down, 1 up on "apcli0", any other value up on "ra0"
  char ssid[36];
  std::int32_t band;           // 2 or 5; 0 when down
  char mode[12];               // "802.11b", "802.11g", "802.11a", "802.11n" or empty
  std::int32_t channel_width;  // MHz: 20 or 40
  std::int32_t channel;
  std::int32_t signal;           // percent
  std::int32_t noise;            // a random value from 8 to 16
  std::uint32_t link_speed_in;   // kbps
  std::uint32_t link_speed_out;  // the same
  bool wmm_enabled;
};

// Fills `out`, zeroed by the caller; what is not reached stays zero or empty.
void kd_hnap_get_repeater_conninfo(repeater_conninfo& out);

// What iwconfig tells about the link. Each marker is looked for behind the one before; a missing one leaves
// its field empty or 0.
struct IwconfigLink {
  std::string_view ssid;
  std::int32_t channel = 0;
  std::string_view access_point;  // 17 characters, or empty
};
IwconfigLink parse_iwconfig(std::string_view text);

// Signal in percent of an RSSI in dBm.
std::int32_t signal_percent(std::int32_t rssi);

}  // namespace kd
