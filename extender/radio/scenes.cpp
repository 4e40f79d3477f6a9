#include "radio/scenes.hpp"

#include <algorithm>
#include <string_view>

namespace kd::radio {
namespace {

constexpr int kWeakRssi = -86;
constexpr int kWeakRate = 6;

bool concerns(const Fault& fault, const std::string& ssid) {
  return !fault.record.has("ssid") || fault.record.text("ssid") == ssid;
}

void weaken(const Fault& fault, Network& network) {
  network.rssi = fault.record.number("rssi", kWeakRssi);
  network.signal = std::clamp((network.rssi + 90) * 26 / 10, 0, 100);
  network.rate = kWeakRate;
}

Network twin_of(const Fault& fault, const Network& network) {
  Network twin = network;
  const Record& record = fault.record;
  twin.channel = record.number("channel", network.channel);
  if (record.has("channel") && (twin.channel > 14) != (network.channel > 14)) {
    twin.mode = twin.channel > 14 ? "11a/n" : "11b/g/n";
  }
  twin.key = record.text("key", network.key);
  twin.signal = record.number("signal", network.signal);
  twin.rssi = record.has("signal") ? rssi_of_signal(twin.signal) : network.rssi;
  // Its address differs in the last digit.
  twin.bssid.back() = twin.bssid.back() == 'F' ? '0' : 'F';
  twin.bssid = record.text("bssid", twin.bssid);
  return twin;
}

void change(const Fault& fault, Network& network) {
  if (fault.is("weak-signal")) weaken(fault, network);
  if (fault.is("new-key")) network.key = fault.record.text("key");
  if (fault.is("wpa3-only")) network.security = "WPA3PSK/AES";
  if (fault.is("wpa3-mixed")) network.security = "WPA2PSKWPA3PSK/AES";
  if (fault.is("radar")) network.channel = fault.record.number("channel");
}

}  // namespace

void apply_scenes(const std::vector<Fault>& faults, std::vector<Network>& networks) {
  for (const Fault& fault : faults) {
    if (fault.is("upstream-gone")) {
      std::erase_if(networks, [&](const Network& network) { return concerns(fault, network.ssid); });
    } else if (fault.is("twin")) {
      const auto first = std::find_if(networks.begin(), networks.end(),
                                      [&](const Network& network) { return concerns(fault, network.ssid); });
      if (first != networks.end()) networks.push_back(twin_of(fault, *first));
    } else {
      for (Network& network : networks) {
        if (concerns(fault, network.ssid)) change(fault, network);
      }
    }
  }
}

void apply_scenes(const std::vector<Fault>& faults, Link& link) {
  for (const Fault& fault : faults) {
    if (!fault.is("weak-signal") || link.state == 0 || !concerns(fault, link.ssid)) continue;
    link.rssi = fault.record.number("rssi", kWeakRssi);
    link.rate = kWeakRate;
  }
}

std::string why_not_listed(const Network& network) {
  if (network.hidden) return "its name is hidden";
  if (network.type == "Ad") return "it is an ad-hoc network";
  const std::string_view security = network.security;
  if (security.find("WPA3") != std::string_view::npos) return "the device's radio knows no WPA3";
  // The forms that the device's software knows.
  for (const std::string_view known :
       {"NONE", "WEP", "WPAPSK/TKIP", "WPA2PSK/AES", "WPA2PSK/TKIPAES", "WPA1PSKWPA2PSK/"}) {
    if (security.substr(0, known.size()) == known) return "";
  }
  return "the device joins no " + network.security;
}

}  // namespace kd::radio
