// The devices attached to the extender, as the client-list daemon writes them down.
#pragma once

#include <cstdint>
#include <string_view>

namespace kd {

struct client_entry {
  char connect_time[20];
  char mac[18];
  char device_name[256];
  char port_name[13];  // "LAN", "WLAN 802.11b", "... g", "... a", "... n" or "unknow"
  char wireless[6];    // "true" or "false"
  char active[6];
  char network_address[17];
  client_entry* next;
};

// In the order of the daemon's file.
struct ClientList {
  client_entry* head = nullptr;
  std::int32_t count = 0;
};

// Lets the daemon write its list and reads it into an empty `list`. Takes 2 seconds at least, and waits as
// long as the daemon is there but its file is not.
//   returns  the number of entries; -1 when the daemon's process id cannot be read
std::int32_t kd_hnap_get_client_list(ClientList& list);

// Frees the entries and empties the list.
void kd_hnap_free_client_list(ClientList& list);

// Reads a line of the daemon's file, without its line end, into a zeroed entry, all but the port name. Long
// columns are cut.
//   returns  false when the line has fewer than six tabs
bool parse_client_line(std::string_view line, client_entry& entry);

// Replaces the device name by the one that the network taught, cut to one character less than the old one.
void learn_device_name(client_entry& entry);

// Makes a device name printable: a control character, or a byte above 127, becomes "?" and takes the
// character behind it along, which may lengthen the name by one. Line ends stay.
void clean_device_name(char (&name)[256]);

}  // namespace kd
