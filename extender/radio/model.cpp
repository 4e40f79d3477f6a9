#include "radio/model.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "radio/formats.hpp"

namespace kd::radio {
namespace {

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string upper_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), upper);
  return text;
}

// An address for a network that has none in its line: the same one every time.
std::string invented_address(std::string_view ssid, int channel) {
  std::uint32_t hash = 2166136261U;
  for (const char c : ssid) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  char text[18];
  std::snprintf(text, sizeof text, "02:%02X:%02X:%02X:%02X:%02X", static_cast<unsigned>(channel) & 255U,
                hash >> 24, (hash >> 16) & 255U, (hash >> 8) & 255U, hash & 255U);
  return text;
}

Network network_of(const Record& record) {
  Network network{};
  network.ssid = record.text("ssid");
  network.channel = record.number("channel", 6);
  const bool high_band = network.channel > 14;
  network.bssid = upper_case(record.text("bssid", invented_address(network.ssid, network.channel)));
  network.security = record.text("security", record.has("key") ? "WPA2PSK/AES" : "NONE");
  network.signal = record.number("signal", 60);
  network.rssi = record.number("rssi", rssi_of_signal(network.signal));
  network.mode = record.text("mode", high_band ? "11a/n" : "11b/g/n");
  network.extension = record.text("extension", "NONE");
  network.type = record.text("type", "In");
  network.key = record.text("key");
  network.hidden = record.flag("hidden", false);
  network.rate = record.number("rate");
  return network;
}

template <typename Item, typename Make>
std::vector<Item> parse_all(std::string_view text, const Format& format, Make make) {
  std::vector<Item> items;
  for (const Record& record : check_records(text, format).records) items.push_back(make(record));
  return items;
}

}  // namespace

// The driver shows percent of a span that is steeper below -80 dBm.
int rssi_of_signal(int percent) {
  const int signal = std::clamp(percent, 0, 100);
  return signal >= 24 ? -80 + (signal - 24) * 30 / 76 : -90 + signal * 10 / 26;
}

std::vector<Network> parse_networks(std::string_view text) {
  return parse_all<Network>(text, neighbours_format(), network_of);
}

std::vector<Station> parse_stations(std::string_view text) {
  return parse_all<Station>(text, stations_format(), [](const Record& r) {
    return Station{r.text("mac"), r.text("phy", "HTMIX"), r.text("bandwidth", "20M"), r.number("rate", 65),
                   r.number("rssi", -50)};
  });
}

std::vector<Client> parse_clients(std::string_view text) {
  return parse_all<Client>(text, clients_format(), [](const Record& r) {
    const bool wireless = r.flag("wireless", false);
    return Client{r.text("time", "2014-04-19T12:00:00"),
                  r.text("mac"),
                  r.text("ip"),
                  r.text("name"),
                  r.text("interface", wireless ? "ra0" : "eth2"),
                  wireless,
                  r.flag("active", true) ? "true" : "false",
                  r.text("netbios"),
                  r.text("mdns")};
  });
}

Link parse_link(std::string_view text) {
  const Record r = check_records(text, link_format()).records.front();
  const Link usual;
  return {r.number("state"),
          r.number("wsc"),
          r.text("ssid"),
          r.text("bssid"),
          r.number("channel"),
          r.text("extension", usual.extension),
          r.text("phy", usual.phy),
          r.text("bandwidth", usual.bandwidth),
          r.number("rate", usual.rate),
          r.number("rssi", usual.rssi)};
}

std::string format_link(const Link& link) {
  std::string text =
      "# The upstream link. The device writes this file when it joins or leaves a network; edit it to "
      "change\n"
      "# what the driver reports: state (0 is down), the network, its station line and its signal.\n";
  const auto add = [&text](std::string_view name, std::string_view value) {
    Record record;
    record.set(name, value);
    text += format_record(record) + "\n";
  };
  add("state", std::to_string(link.state));
  add("ssid", link.ssid);
  add("bssid", link.bssid);
  add("channel", std::to_string(link.channel));
  add("extension", link.extension);
  add("phy", link.phy);
  add("bandwidth", link.bandwidth);
  add("rate", std::to_string(link.rate));
  add("rssi", std::to_string(link.rssi));
  add("wsc", std::to_string(link.wsc));
  return text;
}

const Network* find_network(const std::vector<Network>& networks, std::string_view ssid) {
  const auto at = std::find_if(networks.begin(), networks.end(),
                               [&](const Network& network) { return network.ssid == ssid; });
  return at == networks.end() ? nullptr : &*at;
}

bool same_address(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return upper(x) == upper(y); });
}

std::string without_records(std::string_view text, std::string_view field, std::string_view value,
                            bool address) {
  std::string kept;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end == std::string_view::npos ? end : end + 1);
    text.remove_prefix(line.size());
    const Record record = parse_record(line.substr(0, line.find('\n')));
    const std::string found = record.text(field);
    const bool matches = record.has(field) && (address ? same_address(found, value) : found == value);
    if (!matches) kept += line;
  }
  return kept;
}

}  // namespace kd::radio
