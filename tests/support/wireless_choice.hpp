// The choice of an upstream network, and what it leaves in the store.
#pragma once

#include <string>
#include <vector>

#include "support/requests.hpp"

namespace kd::test {

inline Arguments choice(const std::string& type, const std::string& encryption, const std::string& key,
                        const std::string& enabled = "true", const std::string& ssid = "Den") {
  return {{"SSID", ssid},         {"NetworkType", "INFRASTRUCTURE"}, {"SecurityEnabled", enabled},
          {"SecurityType", type}, {"Encryption", encryption},        {"Key", key}};
}

// The store's writes of a set: the saved values, then the given ones.
inline std::vector<std::string> stored(const std::vector<std::string>& settings) {
  std::vector<std::string> all = {"console Save last repeater settings\n"};
  for (const char* key : {"SSID1", "Channel", "AuthMode", "EncrypType", "DefaultKeyID", "Key1Type",
                          "Key1Str1", "WPAPSK1", "ApCliEnable", "WscConfigured", "ApCliBssid", "HT_BW"}) {
    all.push_back("nvram set Last" + std::string{key} + "=");
  }
  for (const std::string& setting : settings) all.push_back("nvram set " + setting);
  return all;
}

inline std::vector<std::string> wpa(const std::string& width, const std::string& auth,
                                    const std::string& client_auth, const std::string& cipher,
                                    const std::string& client_cipher, const std::string& key,
                                    const std::string& band = "") {
  return stored({"SSID1=Den", "ApCliSsid=Den", "HT_BW=" + width, "AuthMode=" + auth,
                 "ApCliAuthMode=" + client_auth, "EncrypType=" + cipher, "ApCliEncrypType=" + client_cipher,
                 "WPAPSK1=" + key, "ApCliWPAPSK=" + key, "HNAPConfiguredBand=" + band, "ApCliEnable=1",
                 "WscConfigured=1"});
}

}  // namespace kd::test
