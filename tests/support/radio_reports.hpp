// What the radio driver and its tools print, in their layouts.
#pragma once

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

// A line of the scan report, without its line end.
std::string scan_line(const ScanNetwork& network);
// A whole report: two header lines of together 151 bytes, so that no network is needed to make it long
// enough.
std::string scan_report(std::initializer_list<ScanNetwork> networks);
extern const char* const kScanHeader;
extern const char* const kScanCommand;

// What "iwconfig" prints for an interface in use.
std::string iwconfig(const std::string& ssid, const std::string& channel, const std::string& access_point);

// A line of the station table as grep hands it on, with its line end: 16 words and more.
std::string station(const std::string& mac, const std::string& phy_mode, const std::string& bandwidth,
                    const std::string& rate);
extern const char* const kStationsCommand;

}  // namespace kd::test
