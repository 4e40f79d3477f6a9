// The networks that the radio driver sees, from its fixed-column report "/tmp/scanList.txt".
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/os.hpp"

namespace kd {

// One network that the repeater can join.
struct site_survey_entry {
  char ssid[33];
  char network_type[16];  // "INFRASTRUCTURE"
  char mode[10];          // "802.11bgn", "802.11bg", "802.11b", "802.11an" or "802.11a"
  char band[7];           // "2.4GHz" or "5GHz"
  std::int32_t signal;    // percent
  std::int32_t security_enabled;
  char security_type[16];  // empty (open), "WEP-AUTO", "WPA-PSK" or "WPA2-PSK"
  char encryption[10];     // empty (open), "WEP-64", "TKIP", "AES" or "TKIPORAES"
  site_survey_entry* next;
};

// In the order of the report.
struct site_survey_list {
  site_survey_entry* head = nullptr;
  std::int32_t count = 0;
};

// Scans and appends one entry a network to `list`. Blocks while the driver scans, up to six times.
//   returns  the list's count; -1, with the list untouched, when there is no usable report
std::int32_t kd_hnap_repeater_get_networks(site_survey_list& list);

// Empties the list. Its last entry is not freed but kept for the next list.
void kd_hnap_repeater_free_networks(site_survey_list& list);

// Reads a line of the report, without its line end, into a zeroed entry. What lies behind its end is empty.
//   returns  false for a network that is not listed: hidden, ad-hoc, of another security, or unreadable
bool parse_scan_line(std::string_view line, site_survey_entry& entry);

// Band on which "apcli0" works, whether it is connected or not: "2.4GHz", also when that is unknown, or
// "5GHz".
//   returns  0, or -1, with `band` untouched, when the command cannot be started
int kd_hnap_get_repeater_wifi_band(char (&band)[7]);

// Channels below this one are in the 2.4 GHz band.
inline constexpr int kFirst5GhzChannel = 15;

// Columns of a line of the report.
struct ScanColumn {
  std::size_t start, length;
  std::string_view of(std::string_view line) const;
};
inline constexpr ScanColumn kChannelColumn{0, 3}, kSsidLengthColumn{4, 2}, kSsidColumn{7, 32},
    kBssidColumn{40, 17}, kSecurityColumn{60, 22}, kSignalColumn{83, 3}, kModeColumn{92, 7},
    kExtensionColumn{100, 5}, kNetworkTypeColumn{107, 2};

// Lets the driver write a fresh report, and opens it at its first network. A report that is too short or
// cannot be opened is asked for again, at most five times, each announced by `report_retry`.
//   returns  null when that was in vain
os::File open_fresh_scan_list(void (*report_retry)(int retry));

}  // namespace kd
