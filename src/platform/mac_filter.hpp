// The access point's MAC address filter, as the store keeps it.
#pragma once

#include <string_view>

namespace kd {

inline constexpr int kMostMacFilters = 32;
inline constexpr std::size_t kMacLength = 17;
// As many addresses as there can be, each with its separator or terminator.
using MacList = char[kMostMacFilters * (kMacLength + 1)];

struct MacFilterSettings {
  bool enabled;
  bool is_allow_list;  // else the list says who is refused
  int count;
  char addresses[kMostMacFilters][kMacLength + 1];
};

// Reads "AccessPolicy0" and the valid addresses of "AccessControlList0".
void kd_hnap_get_mac_filter_settings(MacFilterSettings& settings);

// Sets policy and list without committing them; switching the filter off leaves the stored list.
//   list  addresses separated by ";"
void kd_hnap_set_mac_filter_settings(bool enabled, bool is_allow_list, const char* list);

// Six octets of two hexadecimal digits with colons between them, not a multicast address.
bool kd_hnap_valid_mac(std::string_view text);
bool kd_hnap_is_multicast_mac(std::string_view text);

// Whether the list holds the address. Only the address is turned to upper case, so one that is listed in
// lower case is not found again.
bool kd_hnap_is_duplicate_entry(std::string_view list, std::string_view mac);

// Restarts the access point with the stored settings.
void kd_hnap_reactive_wifi();

}  // namespace kd
