// What the virtual radio knows: the records of the files under radio/, with their defaults filled in.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/record.hpp"

namespace kd::radio {

// One network around (file `neighbours`).
struct Network {
  std::string ssid;
  std::string bssid;  // upper case, with colons
  int channel;
  std::string security;   // as the driver writes it: NONE, WEP, WPAPSK/TKIP, WPA2PSK/AES, ...
  int signal;             // percent
  int rssi;               // dBm
  std::string mode;       // 11b/g/n, 11b/g, 11b, 11a/n, 11a
  std::string extension;  // ABOVE, BELOW, NONE
  std::string type;       // In, Ad
  std::string key;        // empty: nobody has the right key
  bool hidden;            // the survey does not show its name
  int rate;               // Mbps of the link to it; 0: by mode and width
};

// One station of a station table (file `stations`).
struct Station {
  std::string mac;
  std::string phy;        // CCK, OFDM, HTMIX
  std::string bandwidth;  // 20M, 40M
  int rate;               // Mbps
  int rssi;               // dBm
};

// One connected device as the client-list daemon knows it (file `clients`).
struct Client {
  std::string time;
  std::string mac;
  std::string ip;
  std::string name;
  std::string interface;  // the list's fifth column
  bool wireless;
  std::string active;   // true, false
  std::string netbios;  // names learned by other services; empty: none
  std::string mdns;
};

// The upstream link (file `link`, written by radiod, editable).
struct Link {
  int state = 0;  // what the driver answers; 0 is down
  int wsc = 0;    // the driver's WPS status code
  std::string ssid;
  std::string bssid;
  int channel = 0;
  std::string extension = "NONE";  // the second half of a 40 MHz channel: ABOVE, BELOW, NONE
  std::string phy = "HTMIX";
  std::string bandwidth = "20M";
  int rate = 65;
  int rssi = -60;
};

// Lines that radio/formats.hpp does not allow are left out.
std::vector<Network> parse_networks(std::string_view text);
std::vector<Station> parse_stations(std::string_view text);
std::vector<Client> parse_clients(std::string_view text);
Link parse_link(std::string_view text);
std::string format_link(const Link& link);

// The first network of a name; null when there is none.
const Network* find_network(const std::vector<Network>& networks, std::string_view ssid);

// The signal in dBm for percent, as the driver shows it.
int rssi_of_signal(int percent);

// Addresses and hexadecimal keys compare without letter case.
bool same_address(std::string_view a, std::string_view b);

// The text without the lines whose record has this field with this value (compared as an address, or
// exactly); every other line, comments too, stays byte for byte.
std::string without_records(std::string_view text, std::string_view field, std::string_view value,
                            bool address);

}  // namespace kd::radio
