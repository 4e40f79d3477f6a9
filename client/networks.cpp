#include "networks.hpp"

#include <algorithm>

#include "text.hpp"

namespace hnap {
namespace {

// Devices that do not tell the band tell it by the mode.
std::string band_of(pugi::xml_node node) {
  if (std::string band = text_of(node, "Band"); !band.empty()) return band;
  const std::string mode = text_of(node, "Mode");
  if (mode.starts_with("802.11a")) return "5GHz";
  return mode.starts_with("802.11b") || mode.starts_with("802.11g") ? "2.4GHz" : "";
}

}  // namespace

long signal_of(const Network& network) {
  return whole_number(network.signal).value_or(0);
}

std::vector<Network> survey(Device& device) {
  const Reply reply = device.call("GetWirelessNetworks");
  std::vector<Network> networks;
  for (const pugi::xml_node node : child(reply.response, "WirelessNetworkList").children()) {
    Network network;
    network.ssid = text_of(node, "SSID");
    network.signal = text_of(node, "SignalStrength");
    network.channel = text_of(node, "Channel");
    network.band = band_of(node);
    network.mode = text_of(node, "Mode");
    network.security = text_of(node, "SecurityType");
    network.encryption = text_of(node, "Encryption");
    network.bssid = text_of(node, "BSSID");
    network.secured = text_of(node, "SecurityEnabled") != "false";
    networks.push_back(std::move(network));
  }
  std::stable_sort(networks.begin(), networks.end(),
                   [](const Network& a, const Network& b) { return signal_of(a) > signal_of(b); });
  return networks;
}

}  // namespace hnap
