#include "radio/reports.hpp"

#include <cstdio>
#include <string_view>

namespace kd::radio {
namespace {

// `text` from column `column` on: what is there already is filled up with blanks, or cut.
void put_at(std::string& line, std::size_t column, std::string_view text) {
  line.resize(column, ' ');
  line += text;
}

std::string two_digits(std::size_t number) {
  char text[24];
  std::snprintf(text, sizeof text, "%02zu", number);
  return text;
}

std::string survey_line(const Network& network) {
  const std::string ssid = network.hidden ? std::string() : network.ssid.substr(0, 32);
  std::string line = std::to_string(network.channel);
  put_at(line, 4, two_digits(ssid.size()));
  put_at(line, 7, ssid);
  put_at(line, 40, network.bssid);
  put_at(line, 60, network.security);
  put_at(line, 83, std::to_string(network.signal));
  put_at(line, 92, network.mode);
  put_at(line, 100, network.extension);
  put_at(line, 107, network.type);
  return line + "\n";
}

std::string survey_header(const std::string& interface) {
  std::string first = interface;
  put_at(first, 10, "get_site_survey:");
  put_at(first, 60, "\n");
  std::string titles = "Ch";
  put_at(titles, 4, "L  SSID");
  put_at(titles, 40, "BSSID");
  put_at(titles, 60, "Security");
  put_at(titles, 83, "Signal");
  put_at(titles, 92, "W-Mode");
  put_at(titles, 100, "ExtCH");
  put_at(titles, 107, "NT\n");
  return first + titles;
}

}  // namespace

std::string survey_text(const std::string& interface, const std::vector<Network>& networks) {
  std::string text = survey_header(interface);
  for (const Network& network : networks) text += survey_line(network);
  return text;
}

std::string iwconfig_text(const InterfaceReport& report) {
  std::string text = report.name;
  put_at(text, 10, "RTWIFI SoftAP  ESSID:\"" + report.ssid + "\"  Nickname:\"\"\n");
  text += "          Mode:Managed  Channel=" + std::to_string(report.channel) +
          "  Access Point: " + (report.access_point.empty() ? "Not-Associated" : report.access_point) +
          "   \n";
  text += "          Bit Rate=" + std::to_string(report.rate) + " Mb/s   \n";
  text += "          RTS thr:off   Fragment thr:off\n\n";
  return text;
}

std::string station_table(const std::vector<Station>& stations) {
  std::string text =
      "\nMAC                AID BSS PSM WMM MIMOPS RSSI0 RSSI1 RSSI2 PhMd      BW    MCS   SGI   STBC  Idle  "
      "Rate\n";
  int number = 0;
  for (const Station& station : stations) {
    char line[256];
    std::snprintf(
        line, sizeof line,
        "%-18.32s %-3d 0   0   1   3      %-5d %-5d %-5d %-9.16s %-5.16s 7     1     0     0     %d\n",
        station.mac.c_str(), ++number, station.rssi, station.rssi, station.rssi, station.phy.c_str(),
        station.bandwidth.c_str(), station.rate);
    text += line;
  }
  return text;
}

std::string stat_text(const Link& link) {
  const std::string rssi = std::to_string(link.rssi);
  return "Tx success                      = 0\n"
         "Rx success                      = 0\n"
         "RSSI-A                          = " +
         rssi +
         "\n"
         "RSSI-B (if available)           = " +
         rssi +
         "\n"
         "WirelessMode                    = 9\n";
}

std::string client_list_text(const std::vector<Client>& clients) {
  std::string text;
  for (const Client& client : clients) {
    text += client.time + '\t' + client.mac + '\t' + client.ip + '\t' + client.name + '\t' +
            client.interface + '\t' + (client.wireless ? "Wireless" : "Wired") + '\t' + client.active + '\n';
  }
  return text;
}

}  // namespace kd::radio
