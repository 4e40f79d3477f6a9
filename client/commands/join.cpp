// join: the network is found in the survey, the key checked, the choice sent, its outcome waited for.
#include <algorithm>
#include <array>
#include <cstdio>
#include <thread>

#include "commands/commands.hpp"
#include "failure.hpp"
#include "files.hpp"
#include "networks.hpp"
#include "restart.hpp"
#include "text.hpp"

namespace hnap {
namespace {

using namespace std::chrono_literals;

constexpr double kPatience = 90;  // seconds until a choice must have ended

struct Security {
  const char* option;
  const char* type;
  const char* encryption;  // "": by the key's length
};

// The pairs that devices accept; a survey may list others, for networks that offer several ciphers.
constexpr std::array kSecurities = {
    Security{"wpa2", "WPA2-PSK", "AES"},
    Security{"wpa", "WPA-PSK", "TKIP"},
    Security{"wpa-auto", "WPA-AUTO-PSK", "TKIPORAES"},
    Security{"wep", "WEP-AUTO", ""},
};

struct Choice {
  bool secured = false;
  std::string type, encryption, key;
};

[[noreturn]] void wrong(const std::string& line) {
  throw Failure(Exit::usage, line);
}

std::string in_hexadecimal(const std::string& text) {
  std::string result;
  for (const char character : text) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(character));
    result += digits.data();
  }
  return result;
}

bool is_printable(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

bool fits_wpa(const std::string& key) {
  return (key.size() >= 8 && key.size() <= 63 && is_printable(key)) ||
         (key.size() == 64 && is_hexadecimal(key));
}

bool fits_wep(const std::string& key) {
  return ((key.size() == 10 || key.size() == 26) && is_hexadecimal(key)) ||
         ((key.size() == 5 || key.size() == 13) && is_printable(key));
}

constexpr const char* kWpaRule = "a WPA key has 8 to 63 characters, or 64 hexadecimal digits";
constexpr const char* kWepRule = "a WEP key has 10 or 26 hexadecimal digits, or 5 or 13 characters";

void check_before_sending(const JoinOptions& options) {
  if (options.ssid.empty() || options.ssid.size() > 32) wrong("a network's name has 1 to 32 bytes");
  if (const std::string flaw = xml_text_flaw(options.ssid); !flaw.empty())
    wrong("this network's name cannot be sent: " + flaw);
  if (options.key && !options.key_file.empty()) wrong("--key and --key-file exclude each other");
}

// The key from where the user put it; none when it is to be asked for.
std::optional<std::string> given_key(const JoinOptions& options) {
  std::optional<std::string> key = options.key;
  if (!options.key_file.empty()) key = secret_from_file(options.key_file);
  if (key && !fits_wpa(*key) && !fits_wep(*key)) wrong(std::string(kWpaRule) + "; " + kWepRule);
  if (key && options.security == "open") wrong("an open network takes no key");
  return key;
}

Choice by_type(const std::string& type, const std::string& encryption) {
  for (const Security& security : kSecurities)
    if (type == security.type) return {true, type, security.encryption, {}};
  if (type.starts_with("WEP")) return {true, type, "", {}};
  return {true, type, encryption, {}};
}

Choice security_of(Context& context, const JoinOptions& options) {
  if (options.security == "open") return {};
  for (const Security& security : kSecurities)
    if (options.security == security.option) return by_type(security.type, security.encryption);
  const std::vector<Network> networks = survey(context.device);
  for (const Network& network : networks) {  // the strongest of that name
    if (network.ssid != options.ssid) continue;
    return network.secured ? by_type(network.security, network.encryption) : Choice{};
  }
  throw Failure(Exit::refused, "the device does not see \"" + visible(options.ssid) + "\" (it sees " +
                                   std::to_string(networks.size()) +
                                   " others); for a hidden network say --security");
}

void take_key(Choice& choice, std::string key) {
  const bool wep = choice.type.starts_with("WEP");
  if (wep && !fits_wep(key)) wrong(kWepRule);
  if (choice.type.starts_with("WPA") && !fits_wpa(key)) wrong(kWpaRule);
  if (wep && (key.size() == 5 || key.size() == 13)) key = in_hexadecimal(key);
  if (wep) choice.encryption = key.size() == 10 ? "WEP-64" : "WEP-128";
  choice.key = std::move(key);
}

// A device that reloads its radio may be out of reach for a while, above all through its own network.
std::string wait_for_outcome(Context& context, const std::string& label) {
  const auto start = std::chrono::steady_clock::now();
  Progress progress;
  std::string outcome;
  do {
    progress.show(label + ", " + std::to_string(static_cast<int>(seconds_since(start))) + " s");
    std::this_thread::sleep_for(500ms);
    try {
      CallOptions options;
      options.timeout = 10s;
      outcome = context.device.call("GetLastSetWirelessClientSettingsResult", {}, options)["Result"];
    } catch (const Failure& failure) {
      if (failure.status() != Exit::unreachable) throw;
    }
  } while ((outcome.empty() || outcome == "UNKNOWN") && seconds_since(start) < kPatience);
  return outcome;
}

std::string meaning_of(const std::string& outcome) {
  if (outcome == "AUTHENTICATION_FAILURE") return outcome + " (a wrong key?)";
  if (outcome == "CONNECTION_FAILURE") return outcome + " (out of reach, or its security differs)";
  if (outcome.empty() || outcome == "UNKNOWN") return "nothing within " + decimal(kPatience, 0) + " s";
  return visible(outcome);
}

}  // namespace

void join(Context& context, const JoinOptions& options) {
  check_before_sending(options);
  const std::optional<std::string> key = given_key(options);
  Choice choice = security_of(context, options);
  const std::string label = "\"" + visible(options.ssid) + "\"";
  if (!choice.secured && key) wrong(label + " is open and takes no key");
  if (choice.secured)
    take_key(choice,
             key ? *key : ask("Key of " + label + ": ", true, label + " needs a key; see --key-file"));
  context.device.call("SetWirelessClientSettings", {{"SSID", options.ssid},
                                                    {"NetworkType", "INFRASTRUCTURE"},
                                                    {"SecurityEnabled", choice.secured ? "true" : "false"},
                                                    {"SecurityType", choice.type},
                                                    {"Encryption", choice.encryption},
                                                    {"Key", choice.key}});
  const auto start = std::chrono::steady_clock::now();
  const std::string outcome = options.wait ? wait_for_outcome(context, "Joining " + label) : "";
  if (options.wait && outcome != "SUCCESS")
    throw Failure(Exit::refused, label + ": the device said " + meaning_of(outcome));
  if (context.json)
    return print(Json::object()
                     .text("ssid", options.ssid)
                     .text("security", choice.type)
                     .text("encryption", choice.encryption)
                     .text_or_null("result", outcome)
                     .real("seconds", seconds_since(start)));
  print(options.wait ? "Joined " + label + " after " + decimal(seconds_since(start), 1) + " s."
                     : "The device reloads its radio to join " + label + ".");
}

}  // namespace hnap
