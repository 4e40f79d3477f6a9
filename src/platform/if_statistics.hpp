#pragma once

#include <cstdint>

namespace kd {

// Traffic of one port since the start of the device. Counters wrap at 32 bits.
struct IfStatistics {
  char port_name[32];  // "LAN", or "WLAN " and the 802.11 mode; empty for a mode without a name
  std::uint32_t received_bytes, received_packets, sent_bytes, sent_packets;
};

// Reads the counters of "ra0" or "eth2"; they stay as they were when the kernel does not list the interface.
//   record   cleared by the caller
//   returns  0, or -1 when the pipe cannot be opened or for any other interface
//   source   "/proc/net/dev"
int kd_hnap_get_if_statistics(const char* ifname, bool is_wireless, IfStatistics& record);

// Reads one line of "/proc/net/dev"; columns that are missing give 0.
void scan_if_line(const char* line, IfStatistics& record);

// The wireless port's name for a stored "WirelessMode"; null for a mode without one.
const char* wireless_port_name(int mode);

}  // namespace kd
