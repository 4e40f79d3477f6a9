#include "radio/association.hpp"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace kd::radio {
namespace {

std::string_view value(const store::Table& settings, const char* key) {
  const char* text = settings.find(key);
  return text != nullptr ? std::string_view(text) : std::string_view();
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// What a network offers, taken from the driver's text: "WPA1PSKWPA2PSK/TKIPAES", "WEP", "NONE".
struct Offer {
  bool open, wep, wpa, wpa2, tkip, aes;

  explicit Offer(std::string_view security) {
    const std::size_t slash = std::min(security.find('/'), security.size());
    const std::string_view authentication = security.substr(0, slash);
    const std::string_view cipher = security.substr(slash);
    open = authentication == "NONE" || authentication == "OPEN";
    wep = authentication == "WEP" || contains(cipher, "WEP");
    wpa = authentication.substr(0, 6) == "WPAPSK" || contains(authentication, "WPA1PSK");
    wpa2 = contains(authentication, "WPA2PSK");  // also beside WPA3
    tkip = contains(cipher, "TKIP");
    aes = contains(cipher, "AES");
  }
};

bool security_matches(const Network& network, const store::Table& settings) {
  const Offer offer(network.security);
  const std::string_view authentication = value(settings, "ApCliAuthMode");
  const std::string_view cipher = value(settings, "ApCliEncrypType");
  if (cipher == "WEP") return offer.wep;
  if (authentication == "OPEN") return cipher == "NONE" && offer.open && !offer.wep;
  const bool cipher_offered = (cipher == "TKIP" && offer.tkip) || (cipher == "AES" && offer.aes);
  if (authentication == "WPAPSK") return offer.wpa && cipher_offered;
  if (authentication == "WPA2PSK") return offer.wpa2 && cipher_offered;
  return false;
}

// WEP keys are the same whether written as characters or as hexadecimal digits.
std::string hexadecimal_key(std::string_view key) {
  if (key.size() != 5 && key.size() != 13) return std::string(key);
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char c : key) {
    text += digits[static_cast<unsigned char>(c) >> 4];
    text += digits[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

bool key_matches(const Network& network, const store::Table& settings) {
  const Offer offer(network.security);
  if (offer.open && !offer.wep) return true;
  if (network.key.empty()) return false;
  if (offer.wep) {
    return same_address(hexadecimal_key(network.key), hexadecimal_key(value(settings, "ApCliKey1Str")));
  }
  const std::string_view key = value(settings, "ApCliWPAPSK");
  // 64 digits are the key itself, of which only the value counts; shorter ones are a pass phrase.
  return network.key.size() == 64 ? same_address(network.key, key) : network.key == key;
}

Link link_to(const Network& network, const store::Table& settings) {
  Link link;
  link.state = 1;
  link.ssid = network.ssid;
  link.bssid = network.bssid;
  link.channel = network.channel;
  link.rssi = network.rssi;
  const bool high_throughput = contains(network.mode, "n");
  // Both ends must use the same second half: above the channel (1) or below it (0).
  const std::string_view above = value(settings, "HT_EXTCHA");
  const bool same_half =
      (network.extension == "ABOVE" && above == "1") || (network.extension == "BELOW" && above == "0");
  const bool wide = high_throughput && same_half && value(settings, "HT_BW") == "1";
  link.phy = high_throughput ? "HTMIX" : network.mode == "11b" ? "CCK" : "OFDM";
  link.extension = wide ? network.extension : "NONE";
  link.bandwidth = wide ? "40M" : "20M";
  const int usual_rate = high_throughput ? (wide ? 270 : 130) : network.mode == "11b" ? 11 : 54;
  link.rate = network.rate > 0 ? network.rate : usual_rate;
  return link;
}

}  // namespace

Association associate(const std::vector<Network>& networks, const store::Table& settings) {
  const Network* best = nullptr;
  const std::string_view ssid = value(settings, "ApCliSsid");
  const std::string_view pinned = value(settings, "ApCliBssid");
  const auto rank = [&](const Network& network) {
    return (same_address(network.bssid, pinned) ? 1000 : 0) + network.signal;
  };
  for (const Network& network : networks) {
    if (network.ssid != ssid || network.type == "Ad" || !security_matches(network, settings)) continue;
    if (best == nullptr || rank(network) > rank(*best)) best = &network;
  }
  if (best == nullptr || ssid.empty() || value(settings, "ApCliEnable") != "1")
    return {Outcome::no_such_network, {}};
  if (!key_matches(*best, settings)) return {Outcome::wrong_key, {}};
  return {Outcome::joined, link_to(*best, settings)};
}

}  // namespace kd::radio
