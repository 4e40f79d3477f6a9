// iwconfig and iwpriv: the driver's tools over the files of the virtual radio.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "common/files.hpp"
#include "programs/kernel_log.hpp"
#include "programs/programs.hpp"
#include "radio/reports.hpp"
#include "radio/surroundings.hpp"

namespace kd {
namespace {

constexpr int kDefaultChannel = 6;

int print(const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  return written && std::fflush(stdout) == 0 ? 0 : 1;
}

bool is_radio(const std::string& name) {
  return name == "ra0" || name == "apcli0";
}

int configured_channel(const store::Table& settings) {
  const char* text = settings.find("Channel");
  const int channel = text != nullptr ? std::atoi(text) : 0;
  return channel > 0 ? channel : kDefaultChannel;
}

std::string interface_text(const std::string& name) {
  if (const std::optional<std::string> raw = radio::raw_text("iwconfig." + name)) return *raw;
  store::Table settings;
  radio::load_driver_settings(settings);
  const radio::Link link = radio::load_link();
  const bool up = link.state != 0;
  // One radio: the access point works on the channel of the upstream network.
  const int channel = up ? link.channel : configured_channel(settings);
  if (name == "apcli0")
    return radio::iwconfig_text({name, up ? link.ssid : "", channel, up ? link.bssid : "", link.rate});
  const char* ssid = settings.find("SSID1");
  return radio::iwconfig_text({name, ssid != nullptr ? ssid : "", channel, radio::device_address(), 300});
}

int survey(const std::string& interface) {
  if (const std::optional<std::string> raw = radio::raw_text("survey")) return print(*raw);
  return print(radio::survey_text(interface, radio::load_networks()));
}

int show_stations(const std::string& interface) {
  if (const std::optional<std::string> raw = radio::raw_text("stainfo." + interface)) {
    return append_kernel_log(*raw) ? 0 : 1;
  }
  std::vector<radio::Station> stations;
  const radio::Link link = radio::load_link();
  if (interface == "apcli0" && link.state != 0) {
    stations.push_back({link.bssid, link.phy, link.bandwidth, link.rate, link.rssi});
  }
  for (radio::Station& station : radio::load_stations()) stations.push_back(std::move(station));
  return append_kernel_log(radio::station_table(stations)) ? 0 : 1;
}

int statistics(const std::string& interface) {
  if (const std::optional<std::string> raw = radio::raw_text("stat." + interface)) return print(*raw);
  return print(radio::stat_text(radio::load_link()));
}

// A setting of the running driver, by its own name or by that of the store's value that it changes.
int set_driver(const std::string& setting) {
  const std::size_t equals = setting.find('=');
  const std::string name = setting.substr(0, equals);
  store::Table settings;
  radio::load_driver_settings(settings);
  const bool set = settings.set(name == "HtExtcha" ? "HT_EXTCHA" : name, setting.substr(equals + 1));
  if (set && radio::save_driver_settings(settings)) return 0;
  std::perror("iwpriv");
  return 1;
}

int usage() {
  std::fputs("usage: iwpriv ra0|apcli0 get_site_survey | show stainfo | stat | set NAME=VALUE\n", stderr);
  return 1;
}

}  // namespace

int iwconfig_main(int argc, char** argv) {
  if (argc < 2) return print(interface_text("ra0") + interface_text("apcli0"));
  const std::string name = argv[1];
  if (!is_radio(name)) {
    std::fprintf(stderr, "%s  no wireless extensions.\n", argv[1]);
    return 1;
  }
  return print(interface_text(name));
}

int iwpriv_main(int argc, char** argv) {
  if (argc < 3 || !is_radio(argv[1])) return usage();
  const std::string interface = argv[1];
  const std::string command = argv[2];
  const std::string argument = argc > 3 ? argv[3] : "";
  if (command == "get_site_survey") return survey(interface);
  if (command == "stat") return statistics(interface);
  if (command == "show" && argument == "stainfo") return show_stations(interface);
  if (command == "set" && argument.find('=') != std::string::npos) return set_driver(argument);
  return usage();
}

}  // namespace kd
