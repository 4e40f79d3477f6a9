#include "support/radio_reports.hpp"

namespace kd::test {

const char* const kScanHeader =
    "ra0       get_site_survey:                                                  \n"
    "Ch  SSID                             BSSID               Security               \n";
const char* const kScanCommand = "iwpriv ra0 get_site_survey";
const char* const kStationsCommand = "dmesg -c | grep -in '^..:.*$'";

std::string scan_line(const ScanNetwork& network) {
  std::string line;
  const auto put = [&line](std::size_t column, const std::string& text) {
    if (line.size() < column) line.resize(column, ' ');
    line += text;
  };
  const auto two_digits = [](std::size_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
  };
  put(0, std::to_string(network.channel));
  put(4, network.length.empty() ? two_digits(network.ssid.size()) : network.length);
  put(7, network.ssid);
  put(40, network.bssid);
  put(60, network.security);
  put(83, network.signal);
  put(92, network.mode);
  put(100, network.extension);
  put(107, network.type);
  return line;
}

std::string scan_report(std::initializer_list<ScanNetwork> networks) {
  std::string report = kScanHeader;
  for (const ScanNetwork& network : networks) report += scan_line(network) + "\n";
  return report;
}

std::string iwconfig(const std::string& ssid, const std::string& channel, const std::string& access_point) {
  return "apcli0    Ralink STA  ESSID:\"" + ssid +
         "\"  Nickname:\"\"\n"
         "          Mode:Managed  Channel=" +
         channel + "  Access Point: " + access_point +
         "   \n"
         "          Bit Rate=270 Mb/s   \n";
}

std::string station(const std::string& mac, const std::string& phy_mode, const std::string& bandwidth,
                    const std::string& rate) {
  return "3:" + mac + " 1 0 0 0 -55 0 0 0 " + phy_mode + " " + bandwidth + " 7 1 0 0 " + rate + " 1 12%\n";
}

}  // namespace kd::test
