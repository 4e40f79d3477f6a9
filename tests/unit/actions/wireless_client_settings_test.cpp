// SetWirelessClientSettings and its variant for one band, GetWirelessClientSettings, what can be set, and how
// the last choice ended.
#include <cstring>

#include "actions/client_security.hpp"
#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using UpstreamChoice = DeviceTest;

constexpr const char* kType = "ERROR_TYPE_NOT_SUPPORTED";
constexpr const char* kEncryption = "ERROR_ENCRYPTION_NOT_SUPPORTED";
constexpr const char* kKey = "ERROR_ILLEGAL_KEY_VALUE";
constexpr const char* kNetworkType = "ERROR_NETWORK_TYPE_NOT_SUPPORTED";
const std::string kHex10 = "01234abCDe", kHex26 = "0123456789abcdefABCDEF0123";

std::string choice(const std::string& type, const std::string& encryption, const std::string& key,
                   const std::string& enabled = "true", const std::string& ssid = "Den") {
  return "SSID=" + ssid + "|NetworkType=INFRASTRUCTURE|SecurityEnabled=" + enabled + "|SecurityType=" + type +
         "|Encryption=" + encryption + "|Key=" + key;
}

// What is saved, the network, its security, and what goes with it.
Effects stored(const std::string& ssid, const Effects& security, const std::string& band = "") {
  Effects all = {"console Save last repeater settings\n"};
  for (const char* key : {"SSID1", "Channel", "AuthMode", "EncrypType", "DefaultKeyID", "Key1Type",
                          "Key1Str1", "WPAPSK1", "ApCliEnable", "WscConfigured", "ApCliBssid", "HT_BW"}) {
    all.push_back("nvram set Last" + std::string{key} + "=");
  }
  all.insert(all.end(), {"nvram set SSID1=" + ssid, "nvram set ApCliSsid=" + ssid});
  for (const std::string& setting : security) all.push_back("nvram set " + setting);
  all.insert(all.end(), {"nvram set HNAPConfiguredBand=" + band, "nvram set ApCliEnable=1",
                         "nvram set WscConfigured=1"});
  return all;
}
Effects wpa(const char* width, const char* auth, const char* client_auth, const char* cipher,
            const char* client_cipher, const std::string& key) {
  return {std::string{"HT_BW="} + width,
          std::string{"AuthMode="} + auth,
          std::string{"ApCliAuthMode="} + client_auth,
          std::string{"EncrypType="} + cipher,
          std::string{"ApCliEncrypType="} + client_cipher,
          "WPAPSK1=" + key,
          "ApCliWPAPSK=" + key};
}
Effects wep(const std::string& auth, const std::string& key) {
  return {
      "AuthMode=" + auth,   "ApCliAuthMode=" + auth, "HT_BW=0",    "EncrypType=WEP",  "ApCliEncrypType=WEP",
      "DefaultKeyID=1",     "ApCliDefaultKeyID=1",   "Key1Type=0", "ApCliKey1Type=0", "Key1Str1=" + key,
      "ApCliKey1Str=" + key};
}
const Effects kOpen = {"AuthMode=OPEN", "ApCliAuthMode=OPEN", "EncrypType=NONE", "ApCliEncrypType=NONE",
                       "HT_BW=1"};
const Effects kWpa2 = wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678");

ActionRow set(const char* name, std::string arguments, const char* error, Effects changes = {},
              const char* action = "SetWirelessClientSettings") {
  const bool accepted = !changes.empty();
  return {.name = name,
          .action = action,
          .arguments = std::move(arguments),
          .reply = accepted ? "REBOOT" : error,
          .changes = std::move(changes),
          .reloads = accepted};
}
ActionRow set2(const char* name, const std::string& band, const char* error, Effects changes = {},
               const char* type = "WPA2-PSK", const std::string& ssid = "Den") {
  return set(name, choice(type, "AES", "12345678", "true", ssid) + band, error, std::move(changes),
             "SetWirelessClientSettings2");
}

const std::string kLong(32, 's'), k63(63, 'k');
const ActionRow kSet[] = {
    set("WPA2", choice("WPA2-PSK", "AES", "12345678"), "", stored("Den", kWpa2)),
    set("WPA", choice("WPA-PSK", "TKIP", k63), "",
        stored("Den", wpa("0", "WPAPSK", "WPAPSK", "TKIP", "TKIP", k63))),
    set("mixed mode joins with the better half", choice("WPA-AUTO-PSK", "TKIPORAES", "&lt;123456&gt;"), "",
        stored("Den", wpa("1", "WPAPSKWPA2PSK", "WPA2PSK", "TKIPAES", "AES", "<123456>"))),
    set("WEP 64", choice("WEP-AUTO", "WEP-64", kHex10), "", stored("Den", wep("WEPAUTO", kHex10))),
    set("WEP 128 by its short name", choice("WEP", "WEP-128", kHex26), "",
        stored("Den", wep("WEPAUTO", kHex26))),
    set("WEP shared", choice("WEP-SHARED", "WEP-64", kHex10), "", stored("Den", wep("SHARED", kHex10))),
    set("WEP open", choice("WEP-OPEN", "WEP-64", kHex10), "", stored("Den", wep("OPEN", kHex10))),
    set("open ignores the rest", choice("WPA9", "DES", "k", "false"), "", stored("Den", kOpen)),
    set("no text is not secured", choice("WPA9", "", "", ""), "", stored("Den", kOpen)),
    set("SSID of 32 bytes", choice("", "", "", "false", kLong), "", stored(kLong, kOpen)),
    set("empty SSID", choice("", "", "", "false", ""), "", stored("", kOpen)),
    set("other network type", "SSID=a|NetworkType=ADHOC|SecurityEnabled=maybe", kNetworkType),
    set("network type without text", "NetworkType=", kNetworkType),
    set("what comes first hides a wrong type", "SecurityEnabled=TRUE|NetworkType=ADHOC", "ERROR"),
    set("no key in an open network",
        "SSID=a|NetworkType=INFRASTRUCTURE|SecurityEnabled=false|SecurityType=|Encryption=", "ERROR"),
    set("SSID of 33 bytes hides a wrong type", choice("WPA9", "", "", "true", kLong + "s"), "ERROR"),
    set("no security type", choice("", "AES", "12345678"), "ERROR"),
    set("no encryption", choice("WPA2-PSK", "", "12345678"), "ERROR"),
    set("an unknown type hides a wrong key", choice("WPA9", "AES", ""), kType),
    set("WPA2 with both ciphers", choice("WPA2-PSK", "TKIPORAES", "12345678"), kEncryption),
    set("WPA with AES", choice("WPA-PSK", "AES", "12345678"), kEncryption),
    set("WEP with a WPA cipher", choice("WEP", "TKIP", kHex10), kEncryption),
    set("WEP key of the other length", choice("WEP-AUTO", "WEP-128", kHex10), kKey),
    set("no WEP key", choice("WEP-AUTO", "WEP-64", ""), kKey),
    set("WPA key of 7 characters", choice("WPA2-PSK", "AES", "1234567"), kKey),
    set("no WPA key", choice("WPA2-PSK", "AES", ""), kKey),
    set2("lower band", "|Band=2.4GHz", "", stored("Den", kWpa2, "2.4")),
    set2("upper band", "|Band=5GHz", "", stored("Den", kWpa2, "5")),
    set2("band with a blank", "|Band=5 GHz", "ERROR"),
    set2("empty band", "|Band=", "ERROR"),
    set2("no band", "", "ERROR"),
    set2("a bad band hides a bad type", "|Band=5", "ERROR", {}, "WPA9"),
    set2("bad encryption", "|Band=5GHz", kEncryption, {}, "WPA-PSK"),
    set2("bad type", "|Band=5GHz", kType, {}, "WPA9"),
    {"all of them",
     "GetWirelessClientCapabilities",
     "",
     "OK|SupportedNetworkType{string=INFRASTRUCTURE}|SupportedSecurity{"
     "SecurityInfo{SecurityType=WEP-OPEN|Encryptions{string=WEP-64|string=WEP-128}}|"
     "SecurityInfo{SecurityType=WEP-SHARED|Encryptions{string=WEP-64|string=WEP-128}}|"
     "SecurityInfo{SecurityType=WEP-AUTO|Encryptions{string=WEP-64|string=WEP-128}}|"
     "SecurityInfo{SecurityType=WPA-PSK|Encryptions{string=TKIP}}|"
     "SecurityInfo{SecurityType=WPA2-PSK|Encryptions{string=AES}}|"
     "SecurityInfo{SecurityType=WPA-AUTO-PSK|Encryptions{string=TKIPORAES}}}",
     {},
     nullptr,
     kExtenderA},
};
const bool kSetAdded = add_rows("WirelessClientSettings", kSet);

TEST(ClientKey, JudgesLengthAndCharacters) {
  const struct {
    std::string key;
    bool wep64, wep128, wpa;
  } rows[] = {
      {"", false, false, true},  // judged elsewhere
      {kHex10, true, false, true},
      {"012345678g", false, false, true},
      {kHex26, false, true, true},
      {"1234567", false, false, false},
      {"!~ <&>{}", false, false, true},
      {k63, false, false, true},
      {std::string(62, 'x') + '\x80', false, false, false},
      {std::string(64, 'f'), false, false, true},
      {std::string(63, 'f') + 'g', false, false, false},
      {std::string(65, 'f'), false, false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kd_hnap_verify_wep_key(row.key.c_str(), 64), row.wep64) << row.key;
    EXPECT_EQ(kd_hnap_verify_wep_key(row.key.c_str(), 128), row.wep128) << row.key;
    EXPECT_EQ(kd_hnap_verify_wpa_key(row.key.c_str()), row.wpa) << row.key;
  }
}

std::string settings(const std::string& ssid, const std::string& enabled, const std::string& type,
                     const std::string& encryption, const std::string& key,
                     const std::string& connected = "false") {
  return "OK|SSID=" + ssid + "|NetworkType=INFRASTRUCTURE|SecurityEnabled=" + enabled +
         "|SecurityType=" + type + "|Encryption=" + encryption + "|Key=" + key + "|Connected=" + connected;
}
Device::Step security(const std::string& auth, const std::string& cipher, const std::string& key = "",
                      const std::string& ssid = "Den") {
  return has_stored({{"SSID1", ssid}, {"AuthMode", auth}, {"EncrypType", cipher}, {"WPAPSK1", key}});
}
Device::Step wep_key(const std::string& index, const std::string& key, const char* auth = "SHARED") {
  return in_turn(
      {security(auth, "WEP"), has_stored({{"DefaultKeyID", index}, {"Key" + index + "Str1", key}})});
}
ActionRow get(const char* name, Device::Step prepare, std::string reply) {
  return {name, "GetWirelessClientSettings", "", std::move(reply), {}, std::move(prepare)};
}

// The device's own repeater mode, an answering driver and the tool that is asked besides.
void connected(Device& device) {
  security("OPEN", "NONE")(device);
  device.driver = [](DriverRequest& request) {
    if (request.number != 0x8BE1 || request.flags != 0x060B || request.length != 4) return false;
    const std::uint32_t state = request.ifname == "apcli0" ? 0x80000000 : 0;
    std::memcpy(request.data, &state, sizeof state);
    return true;
  };
}

const std::string kUp = settings("Den", "false", "", "", "", "true"),
                  kDown = settings("Den", "false", "", "", "");
const ActionRow kGet[] = {
    get("connected", connected, kUp),
    get("connected without the tool", in_turn({connected, cannot_open("iwconfig apcli0")}), kUp),
    get("mode 3 is a repeater too",
        in_turn({connected, has_stored({{"OperationMode", "3"}, {"apClient", "0"}})}), kUp),
    get("no repeater", in_turn({connected, has_stored({{"apClient", "0"}})}), kDown),
    get("another mode", in_turn({connected, has_stored({{"OperationMode", "1"}})}), kDown),
    get("no socket", in_turn({connected, cannot_open("socket")}), kDown),
    get("nothing stored counts as secured", nullptr, settings("", "true", "", "", "")),
    get("WPA, escaped", security("WPAPSK", "TKIP", "<key>", "A&B"),
        settings("A&amp;B", "true", "WPA-PSK", "TKIP", "&lt;key&gt;")),
    get("WPA2", security("WPA2PSK", "AES"), settings("Den", "true", "WPA2-PSK", "AES", "")),
    get("mixed mode", security("WPAPSKWPA2PSK", "TKIPAES", "k"),
        settings("Den", "true", "WPA-AUTO-PSK", "TKIPORAES", "k")),
    get("unknown cipher", security("WPAPSK", "DES", "k"), settings("Den", "true", "WPA-PSK", "", "")),
    get("too long for their fields",
        security("WPA2PSK", "AES", std::string(1023, 'k'), std::string(1023, 's')),
        settings(kLong, "true", "WPA2-PSK", "AES", k63 + "kk")),
    get("WEP open", security("OPEN", "WEP"), settings("Den", "true", "WEP-OPEN", "WEP-128", "")),
    get("open with a cipher", security("OPEN", "AES", "k"), settings("Den", "true", "", "AES", "k")),
    get("WEP auto, second key", wep_key("2", kHex10, "WEPAUTO"),
        settings("Den", "true", "WEP-AUTO", "WEP-64", kHex10)),
    get("third key, 26 digits", wep_key("3", kHex26),
        settings("Den", "true", "WEP-SHARED", "WEP-128", kHex26)),
    get("5 characters are ASCII", wep_key("1", "AZz9 "),
        settings("Den", "true", "WEP-SHARED", "WEP-64", "415a7a3920")),
    get("13 characters, one below 16 and one above 127", wep_key("4", "\tabcdefghipq\xFF"),
        settings("Den", "true", "WEP-SHARED", "WEP-128", " 96162636465666768697071ff")),
    get("a key that is not there", wep_key("5", "abcde"),
        settings("Den", "true", "WEP-SHARED", "WEP-128", "")),
    {"written by another program",
     "GetLastSetWirelessClientSettingsResult",
     "",
     "OK|Result=SUCCESS",
     {"nvram close 0", "nvram init 0"},
     [](Device& d) { d.store["LastSetWirelessClientResult"] = "1"; },
     kExtenderA},
    {"in the other namespace",
     "GetLastSetWirelessClientSettingsResult",
     "",
     "OK|Result=UNKNOWN",
     {"nvram close 0", "nvram init 0"},
     nullptr,
     kExtenderB},
};
const bool kGetAdded = add_rows("WirelessClientSettingsAsStored", kGet);

TEST_F(UpstreamChoice, NamesEveryOutcome) {
  const std::pair<const char*, const char*> rows[] = {{"0", "UNKNOWN"},
                                                      {"2", "AUTHENTICATION_FAILURE"},
                                                      {"3", "CONNECTION_FAILURE"},
                                                      {"-1", "CONNECTION_FAILURE"},
                                                      {"", "UNKNOWN"},
                                                      {"no", "UNKNOWN"}};
  for (const auto& [stored, name] : rows) {
    device.store["LastSetWirelessClientResult"] = stored;
    EXPECT_EQ(value_in(ask(soap("GetLastSetWirelessClientSettingsResult")), "Result"), name) << stored;
  }
}

// The previous values are saved, and the choice is not lost when its outcome is asked for before it is
// committed.
TEST_F(UpstreamChoice, KeepsThePreviousValuesAndTheChoice) {
  // One is too long to be read, and is not to be saved as another's value.
  has_stored({{"SSID1", "Before"},
              {"Channel", std::string(1024, '9')},
              {"AuthMode", std::string(1023, 'a')},
              {"HT_BW", "1"}})(device);
  server.receive(soap("SetWirelessClientSettings", choice("WPA2-PSK", "AES", "12345678")));
  Server other;
  other.answer(soap("GetLastSetWirelessClientSettingsResult"));
  const std::pair<const char*, std::string> rows[] = {
      {"LastSSID1", "Before"}, {"LastChannel", ""}, {"LastAuthMode", std::string(1023, 'a')},
      {"LastEncrypType", ""},  {"LastHT_BW", "1"},  {"ApCliSsid", "Den"}};
  for (const auto& [key, value] : rows) EXPECT_EQ(device.library[key], value) << key;
}

}  // namespace
}  // namespace kd::test
