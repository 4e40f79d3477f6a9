// What the radio driver and its tools print, in their layouts.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>

namespace kd::test {

struct ScanNetwork {
  int channel = 6;
  std::string ssid = "Home";
  std::string security = "WPA2PSK/AES";
  std::string signal = "70";
  std::string mode = "11b/g/n";
  std::string extension = "NONE";
  std::string type = "In";
  std::string bssid = "02:00:00:00:00:01";
  std::string length = "";  // of the SSID; its true length unless given
};

inline constexpr const char* kScanHeader =
    "ra0       get_site_survey:                                                  \n"
    "Ch  SSID                             BSSID               Security               \n";
inline constexpr const char* kScanCommand = "iwpriv ra0 get_site_survey";
inline constexpr const char* kStationsCommand = "dmesg -c | grep -in '^..:.*$'";

// A line of the scan report, without its line end.
inline std::string scan_line(const ScanNetwork& network) {
  char line[200], length[12];
  std::snprintf(length, sizeof length, "%02zu", network.ssid.size());
  std::snprintf(line, sizeof line, "%-4d%-3s%-33s%-20s%-23s%-9s%-8s%-7s%s", network.channel,
                network.length.empty() ? length : network.length.c_str(), network.ssid.c_str(),
                network.bssid.c_str(), network.security.c_str(), network.signal.c_str(), network.mode.c_str(),
                network.extension.c_str(), network.type.c_str());
  return line;
}

// A whole report: its two header lines have 151 bytes, so that no network is needed to make it long enough.
inline std::string scan_report(std::initializer_list<ScanNetwork> networks) {
  std::string report = kScanHeader;
  for (const ScanNetwork& network : networks) report += scan_line(network) + "\n";
  return report;
}

// What "iwconfig" prints for an interface in use.
inline std::string iwconfig(const std::string& ssid, const std::string& channel,
                            const std::string& access_point) {
  return "apcli0    Ralink STA  ESSID:\"" + ssid +
         "\"  Nickname:\"\"\n          Mode:Managed  Channel=" + channel + "  Access Point: " + access_point +
         "   \n          Bit Rate=270 Mb/s   \n";
}

// A line of the station table as grep hands it on, with its line end: 16 words and more.
inline std::string station(const std::string& mac, const std::string& phy_mode, const std::string& bandwidth,
                           const std::string& rate) {
  return "3:" + mac + " 1 0 0 0 -55 0 0 0 " + phy_mode + " " + bandwidth + " 7 1 0 0 " + rate + " 1 12%\n";
}

}  // namespace kd::test
