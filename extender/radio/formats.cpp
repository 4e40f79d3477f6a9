#include "radio/formats.hpp"

#include <algorithm>
#include <array>
#include <ctime>

#include "common/faults.hpp"
#include "section_text.hpp"

namespace kd::radio {
namespace {

std::string wrong_security(const std::string& value) {
  static constexpr const char* kTexts[] = {"NONE",
                                           "WEP",
                                           "WPAPSK/TKIP",
                                           "WPAPSK/AES",
                                           "WPAPSK/TKIPAES",
                                           "WPA2PSK/TKIP",
                                           "WPA2PSK/AES",
                                           "WPA2PSK/TKIPAES",
                                           "WPA1PSKWPA2PSK/TKIP",
                                           "WPA1PSKWPA2PSK/AES",
                                           "WPA1PSKWPA2PSK/TKIPAES",
                                           "WPA3PSK/AES",
                                           "WPA2PSKWPA3PSK/AES",
                                           "WPA/TKIP",
                                           "WPA2/AES"};
  return wrong_choice(value, kTexts);
}

std::string wrong_mode(const std::string& value) {
  static constexpr const char* kModes[] = {"11b/g/n", "11b/g", "11b", "11a/n", "11a"};
  return wrong_choice(value, kModes);
}

std::string wrong_extension(const std::string& value) {
  static constexpr const char* kChannels[] = {"ABOVE", "BELOW", "NONE"};
  return wrong_choice(value, kChannels);
}

std::string wrong_type(const std::string& value) {
  static constexpr const char* kTypes[] = {"In", "Ad"};
  return wrong_choice(value, kTypes);
}

std::string wrong_phy(const std::string& value) {
  static constexpr const char* kModes[] = {"CCK", "OFDM", "HTMIX"};
  return wrong_choice(value, kModes);
}

std::string wrong_bandwidth(const std::string& value) {
  static constexpr const char* kWidths[] = {"20M", "40M"};
  return wrong_choice(value, kWidths);
}

std::string wrong_ip(const std::string& value) {
  std::size_t parts = 0;
  for (std::string_view rest = value;; ++parts) {
    const std::size_t dot = std::min(rest.find('.'), rest.size());
    if (dot > 3 || !is_number_within(std::string(rest.substr(0, dot)), 0, 255)) break;
    if (dot == rest.size()) return parts == 3 ? "" : "an address as 192.168.1.10";
    rest.remove_prefix(dot + 1);
  }
  return "an address as 192.168.1.10";
}

std::string wrong_time(const std::string& value) {
  std::tm parts{};
  const char* end = value.size() == 19 ? ::strptime(value.c_str(), "%Y-%m-%dT%H:%M:%S", &parts) : nullptr;
  const int day = parts.tm_mday;
  // A day that its month has not becomes another one.
  const bool right = end != nullptr && *end == '\0' && ::timegm(&parts) != -1 && parts.tm_mday == day;
  return right ? "" : "a time as 2014-04-19T12:00:00";
}

std::string wrong_interface(const std::string& value) {
  const bool right =
      !value.empty() && value.size() < 16 && value.find_first_of(" \t\n/") == std::string::npos;
  return right ? "" : "an interface name of up to 15 characters, such as ra0";
}

// A line is a column of a list whose columns stand between tabs.
std::string wrong_name(const std::string& value) {
  return value.find_first_of("\t\n") == std::string::npos ? "" : "a text without tab and line end";
}

std::string anything(const std::string&) {
  return "";
}

// Up links have names and addresses; a link that is down may have none.
std::string wrong_link_ssid(const std::string& value) {
  return value.empty() ? "" : wrong_ssid(value);
}
std::string wrong_link_address(const std::string& value) {
  return value.empty() ? "" : wrong_address(value);
}
std::string wrong_link_channel(const std::string& value) {
  return value == "0" ? "" : wrong_channel(value);
}

constexpr ValueCheck kDbm = number_within<-120, 0>;
constexpr ValueCheck kRate = number_within<1, 10000>;
constexpr ValueCheck kCode = number_within<-2147483647, 2147483647>;

constexpr Field kNeighbours[] = {
    {"ssid", wrong_ssid, true},
    {"key", anything},
    {"security", wrong_security},
    {"channel", wrong_channel},
    {"signal", number_within<0, 100>},
    {"rssi", kDbm},
    {"mode", wrong_mode},
    {"extension", wrong_extension},
    {"type", wrong_type},
    {"hidden", wrong_flag},
    {"rate", kRate},
    {"bssid", wrong_address},
};
constexpr Field kClients[] = {
    {"mac", wrong_address, true},   {"ip", wrong_ip},        {"name", wrong_name},
    {"wireless", wrong_flag},       {"active", wrong_flag},  {"time", wrong_time},
    {"interface", wrong_interface}, {"netbios", wrong_name}, {"mdns", wrong_name},
};
constexpr Field kStations[] = {{"mac", wrong_address, true},
                               {"phy", wrong_phy},
                               {"bandwidth", wrong_bandwidth},
                               {"rate", kRate},
                               {"rssi", kDbm}};
constexpr Field kLink[] = {
    {"state", kCode},
    {"wsc", kCode},
    {"ssid", wrong_link_ssid},
    {"bssid", wrong_link_address},
    {"channel", wrong_link_channel},
    {"extension", wrong_extension},
    {"phy", wrong_phy},
    {"bandwidth", wrong_bandwidth},
    {"rate", kRate},
    {"rssi", kDbm},
};

// A key that nobody could type at a device of that security is a mistake of the one who wrote it.
std::string wrong_key(const Record& record) {
  if (!record.has("key")) return "";
  const std::string key = record.text("key");
  const std::string security = record.text("security", "WPA2PSK/AES");
  if (security == "NONE") return "a network without security has no key: leave out key=... or security=NONE";
  if (is_key_of(security, key)) return "";
  return "nobody can join: " + key_form(security) + " (here " + std::to_string(key.size()) + " bytes)";
}

std::string wrong_network(const Record& record) {
  const bool high = record.number("channel", 6) > 14;
  const std::string mode = record.text("mode");
  if (!mode.empty() && high != (mode.compare(0, 3, "11a") == 0)) {
    return "mode " + mode + " does not exist on channel " + record.text("channel", "6") +
           ": 11b, 11b/g and 11b/g/n go to channel 14, 11a and 11a/n begin at 36";
  }
  return wrong_key(record);
}

std::string wrong_eeprom_line(std::string_view line) {
  line = line.substr(0, line.find('#'));
  while (!line.empty() && (line.back() == ' ' || line.back() == '\r')) line.remove_suffix(1);
  const bool right = line.empty() || (line.size() == 9 && line[4] == ' ' &&
                                      is_hexadecimal(line.substr(0, 4)) && is_hexadecimal(line.substr(5)));
  return right ? "" : "offset and word have four hexadecimal digits each, such as 01D3 004B";
}

std::string address_in(const Record& record, const char* field) {
  std::string address = record.text(field);
  std::transform(address.begin(), address.end(), address.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
  return std::string(field) + "=" + address;
}

// A network without an address is given one for its name and channel.
std::string network_identity(const Record& record) {
  if (record.has("bssid")) return address_in(record, "bssid");
  return format_record(record, "ssid") + " channel=" + record.text("channel", "6");
}

std::string station_identity(const Record& record) {
  return address_in(record, "mac");
}

bool is_raw_name(const std::string& name) {
  constexpr std::array kNames = {"survey",      "client_list",    "iwconfig.ra0", "iwconfig.apcli0",
                                 "stainfo.ra0", "stainfo.apcli0", "stat.ra0",     "stat.apcli0"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

constexpr Format kNeighboursFormat{kNeighbours, true, wrong_network, network_identity};
constexpr Format kClientsFormat{kClients, true, nullptr, station_identity};
constexpr Format kStationsFormat{kStations, true, nullptr, station_identity};
constexpr Format kLinkFormat{kLink, false};

}  // namespace

const Format& neighbours_format() {
  return kNeighboursFormat;
}
const Format& clients_format() {
  return kClientsFormat;
}
const Format& stations_format() {
  return kStationsFormat;
}
const Format& link_format() {
  return kLinkFormat;
}

std::vector<Problem> check_file(const std::string& name, std::string_view text) {
  if (name == "neighbours") return check_records(text, kNeighboursFormat).problems;
  if (name == "clients") return check_records(text, kClientsFormat).problems;
  if (name == "stations") return check_records(text, kStationsFormat).problems;
  if (name == "link") return check_records(text, kLinkFormat).problems;
  if (name == "eeprom") return check_lines(text, wrong_eeprom_line);
  if (name == "faults") return check_faults(text).problems;
  constexpr std::string_view kRaw = "raw/";
  if (name.compare(0, kRaw.size(), kRaw) == 0) {
    const std::string tool = name.substr(kRaw.size());
    if (is_raw_name(tool) || is_note(tool)) return {};
    return {{0, "replaces no tool's output; raw/README lists the names"}};
  }
  return {
      {0, "no file of the radio; there are neighbours, clients, stations, link, eeprom, faults and raw/"}};
}

bool is_note(const std::string& name) {
  return name.empty() || name.rfind("README", 0) == 0 || name.front() == '.' || name.back() == '~';
}

}  // namespace kd::radio
