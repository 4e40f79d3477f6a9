#include "launcher/radio_commands.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/failure.hpp"
#include "common/faults.hpp"
#include "common/files.hpp"
#include "radio/formats.hpp"
#include "radio/model.hpp"
#include "radio/scenes.hpp"

namespace kd {
namespace {

void replace(const std::string& path, const std::string& text) {
  if (!replace_file(path, text)) throw Failure(path + ": " + std::strerror(errno));
}

void require(const Record& record, const Format& format) {
  const std::string wrong = check_fields(record, format);
  if (!wrong.empty()) throw Failure(wrong, kExitUsage);
}

std::string with_line(std::string text, const Record& record) {
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text + format_record(record) + "\n";
}

bool is_of_station(const std::string& field) {
  return field == "phy" || field == "bandwidth" || field == "rate" || field == "rssi";
}

}  // namespace

std::string radio_path(const std::string& state, const char* name) {
  if (!exists(state + "/radio")) {
    throw Failure(state + " is no state directory of a device; \"extender run --state " + state +
                  "\" makes one");
  }
  return state + "/radio/" + name;
}

Record record_of(const std::vector<std::string>& words) {
  Record record;
  for (const std::string& word : words) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Failure("\"" + word + "\" is no field name=value", kExitUsage);
    }
    const std::string name = word.substr(0, equals);
    if (record.has(name)) throw Failure(name + " stands twice", kExitUsage);
    record.set(name, word.substr(equals + 1));
  }
  return record;
}

int list_radio(const std::string& state) {
  const std::vector<Fault> faults = parse_faults(read_file_or_empty(radio_path(state, "faults")));
  std::vector<radio::Network> networks =
      radio::parse_networks(read_file_or_empty(radio_path(state, "neighbours")));
  radio::apply_scenes(faults, networks);
  std::printf("%-17s  %3s  %4s  %-22s  %s\n", "network", "ch.", "dBm", "security", "name");
  for (const radio::Network& network : networks) {
    const std::string why = radio::why_not_listed(network);
    std::printf("%-17s  %3d  %4d  %-22s  %s%s\n", network.bssid.c_str(), network.channel, network.rssi,
                network.security.c_str(), network.ssid.c_str(),
                why.empty() ? "" : ("  (not listed: " + why + ")").c_str());
  }
  std::printf("\n%-17s  %-15s  %-8s  %s\n", "client", "address", "", "name");
  for (const radio::Client& client : radio::parse_clients(read_file_or_empty(radio_path(state, "clients")))) {
    std::printf("%-17s  %-15s  %-8s  %s%s\n", client.mac.c_str(), client.ip.c_str(),
                client.wireless ? "wireless" : "wired", client.name.c_str(),
                client.active == "true" ? "" : "  (not active)");
  }
  radio::Link link = radio::parse_link(read_file_or_empty(radio_path(state, "link")));
  radio::apply_scenes(faults, link);
  if (link.state == 0) {
    std::puts("\nlink  down");
  } else {
    std::printf("\nlink  up: %s, %s, channel %d, %d dBm, %d Mbps\n", link.ssid.c_str(), link.bssid.c_str(),
                link.channel, link.rssi, link.rate);
  }
  return 0;
}

int add_network(const std::string& state, const std::vector<std::string>& fields) {
  const Record record = record_of(fields);
  require(record, radio::neighbours_format());
  const std::string path = radio_path(state, "neighbours");
  const std::string text = read_file_or_empty(path);
  const std::string bssid = radio::parse_networks(format_record(record)).front().bssid;
  for (const radio::Network& network : radio::parse_networks(text)) {
    if (radio::same_address(network.bssid, bssid)) {
      throw Failure("a network with the address " + bssid + " is there already: " + network.ssid +
                    " (\"radio remove\" it, or say bssid=...)");
    }
  }
  replace(path, with_line(text, record));
  return 0;
}

int remove_network(const std::string& state, const std::string& ssid) {
  const std::string path = radio_path(state, "neighbours");
  const std::string text = read_file_or_empty(path);
  const std::string kept = radio::without_records(text, "ssid", ssid, false);
  if (kept == text)
    throw Failure("no network is named \"" + ssid + "\" (\"extender radio list\" shows them)");
  replace(path, kept);
  // The device sees by itself that its network is gone; one that does not run would find its link up.
  const std::string link_path = radio_path(state, "link");
  const radio::Link link = radio::parse_link(read_file_or_empty(link_path));
  if (link.state != 0 && link.ssid == ssid) replace(link_path, radio::format_link({}));
  return 0;
}

int connect_client(const std::string& state, const std::vector<std::string>& fields) {
  const Record record = record_of(fields);
  Record client;
  Record station;
  for (const auto& [name, value] : record.fields()) {
    if (is_of_station(name) || name == "mac") station.set(name, value);
    if (!is_of_station(name)) client.set(name, value);
  }
  require(client, radio::clients_format());
  require(station, radio::stations_format());
  const bool wireless = record.flag("wireless", false);
  if (!wireless && station.fields().size() > 1) {
    throw Failure("phy, bandwidth, rate and rssi go with wireless=yes", kExitUsage);
  }
  const std::string mac = record.text("mac");
  const auto add = [&](const char* name, const Record& line, bool wanted) {
    const std::string path = radio_path(state, name);
    const std::string others = radio::without_records(read_file_or_empty(path), "mac", mac, true);
    replace(path, wanted ? with_line(others, line) : others);
  };
  add("clients", client, true);
  add("stations", station, wireless);
  return 0;
}

int disconnect_client(const std::string& state, const std::string& mac) {
  bool found = false;
  for (const char* name : {"clients", "stations"}) {
    const std::string path = radio_path(state, name);
    const std::string text = read_file_or_empty(path);
    const std::string kept = radio::without_records(text, "mac", mac, true);
    if (kept == text) continue;
    replace(path, kept);
    found = true;
  }
  if (!found) throw Failure("no client has the address \"" + mac + "\" (\"extender radio list\" shows them)");
  return 0;
}

int change_link(const std::string& state, const std::vector<std::string>& words) {
  const std::string path = radio_path(state, "link");
  const std::string text = read_file_or_empty(path);
  for (const Problem& problem : radio::check_file("link", text)) {
    throw Failure(path + ", line " + std::to_string(problem.line) + ": " + problem.text);
  }
  std::vector<std::string> fields = words;
  std::replace(fields.begin(), fields.end(), std::string("up"), std::string("state=1"));
  std::replace(fields.begin(), fields.end(), std::string("down"), std::string("state=0"));
  const Record change = record_of(fields);
  Record record = parse_record(text);
  for (const auto& [name, value] : change.fields()) record.set(name, value);
  require(record, radio::link_format());
  replace(path, radio::format_link(radio::parse_link(format_record(record))));
  return 0;
}

}  // namespace kd
