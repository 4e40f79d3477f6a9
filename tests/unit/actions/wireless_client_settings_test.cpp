// SetWirelessClientSettings and its variant for one band, GetWirelessClientSettings, what can be set, and how
// the last choice ended.
#include <cstring>

#include "support/action_rows.hpp"

namespace kd::test::wireless_client_settings {

constexpr const char *kSet1 = "SetWirelessClientSettings", *kSet2 = "SetWirelessClientSettings2",
                     *kOutcome = "GetLastSetWirelessClientSettingsResult";
constexpr const char *kType = "ERROR_TYPE_NOT_SUPPORTED", *kEncryption = "ERROR_ENCRYPTION_NOT_SUPPORTED",
                     *kKey = "ERROR_ILLEGAL_KEY_VALUE", *kNetworkType = "ERROR_NETWORK_TYPE_NOT_SUPPORTED";
const std::string kHex10 = "01234abCDe", kHex26 = "0123456789abcdefABCDEF0123", kHex64(64, 'f'),
                  kLong(32, 's'), k63(63, 'k');

std::string choice(const std::string& type, const std::string& encryption, const std::string& key,
                   const std::string& enabled = "true", const std::string& ssid = "Den") {
  return "SSID=" + ssid + "|NetworkType=INFRASTRUCTURE|SecurityEnabled=" + enabled + "|SecurityType=" + type +
         "|Encryption=" + encryption + "|Key=" + key;
}

// What is saved, the network, its security, and what goes with it.
Effects stored(const std::string& ssid, Effects settings, const std::string& band = "") {
  settings = lines("LastSSID1=", "LastChannel=", "LastAuthMode=", "LastEncrypType=", "LastDefaultKeyID=",
                   "LastKey1Type=", "LastKey1Str1=", "LastWPAPSK1=", "LastApCliEnable=", "LastWscConfigured=",
                   "LastApCliBssid=", "LastHT_BW=", "SSID1=" + ssid, "ApCliSsid=" + ssid) +
             settings + Effects{"HNAPConfiguredBand=" + band, "ApCliEnable=1", "WscConfigured=1"};
  Effects all = {"console Save last repeater settings\n"};
  for (const std::string& setting : settings) all.push_back("nvram set " + setting);
  return all;
}
Effects wpa(const std::string& width, const std::string& auth, const std::string& client_auth,
            const std::string& cipher, const std::string& client_cipher, const std::string& key) {
  return lines("HT_BW=" + width, "AuthMode=" + auth, "ApCliAuthMode=" + client_auth, "EncrypType=" + cipher,
               "ApCliEncrypType=" + client_cipher, "WPAPSK1=" + key, "ApCliWPAPSK=" + key);
}
Effects wep(const std::string& auth, const std::string& key) {
  return lines("AuthMode=" + auth, "ApCliAuthMode=" + auth, "HT_BW=0", "EncrypType=WEP",
               "ApCliEncrypType=WEP", "DefaultKeyID=1", "ApCliDefaultKeyID=1", "Key1Type=0",
               "ApCliKey1Type=0", "Key1Str1=" + key, "ApCliKey1Str=" + key);
}
const Effects kOpen = {"AuthMode=OPEN", "ApCliAuthMode=OPEN", "EncrypType=NONE", "ApCliEncrypType=NONE",
                       "HT_BW=1"};
const Effects kWpa2 = wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678");

ActionRow set(const char* name, const std::string& arguments, const Effects& security,
              const std::string& ssid = "Den", const char* action = kSet1, const char* band = "") {
  ActionRow row{name, action, arguments, "REBOOT", stored(ssid, security, band)};
  row.reloads = true;
  return row;
}
const std::string kGood = choice("WPA2-PSK", "AES", "12345678");
const std::string kCapabilities =
    "OK|SupportedNetworkType{string=INFRASTRUCTURE}|SupportedSecurity{"
    "SecurityInfo{SecurityType=WEP-OPEN|Encryptions{string=WEP-64|string=WEP-128}}|"
    "SecurityInfo{SecurityType=WEP-SHARED|Encryptions{string=WEP-64|string=WEP-128}}|"
    "SecurityInfo{SecurityType=WEP-AUTO|Encryptions{string=WEP-64|string=WEP-128}}|"
    "SecurityInfo{SecurityType=WPA-PSK|Encryptions{string=TKIP}}|"
    "SecurityInfo{SecurityType=WPA2-PSK|Encryptions{string=AES}}|"
    "SecurityInfo{SecurityType=WPA-AUTO-PSK|Encryptions{string=TKIPORAES}}}";
const ActionRow kSet[] = {
    set("WPA2", kGood, kWpa2),
    set("WPA", choice("WPA-PSK", "TKIP", k63), wpa("0", "WPAPSK", "WPAPSK", "TKIP", "TKIP", k63)),
    set("mixed mode joins with the better half", choice("WPA-AUTO-PSK", "TKIPORAES", kHex64),
        wpa("1", "WPAPSKWPA2PSK", "WPA2PSK", "TKIPAES", "AES", kHex64)),
    set("WEP 64", choice("WEP-AUTO", "WEP-64", kHex10), wep("WEPAUTO", kHex10)),
    set("WEP 128 by its short name", choice("WEP", "WEP-128", kHex26), wep("WEPAUTO", kHex26)),
    set("WEP shared", choice("WEP-SHARED", "WEP-64", kHex10), wep("SHARED", kHex10)),
    set("WEP open", choice("WEP-OPEN", "WEP-64", kHex10), wep("OPEN", kHex10)),
    set("open ignores the rest", choice("WPA9", "DES", "k", "false"), kOpen),
    set("no text is not secured", choice("WPA9", "", "", ""), kOpen),
    set("SSID of 32 bytes", choice("", "", "", "false", kLong), kOpen, kLong),
    set("lower band", kGood + "|Band=2.4GHz", kWpa2, "Den", kSet2, "2.4"),
    set("upper band", kGood + "|Band=5GHz", kWpa2, "Den", kSet2, "5"),
    {"other network type", kSet1, "SSID=a|NetworkType=ADHOC|SecurityEnabled=maybe", kNetworkType},
    {"what comes first hides a wrong type", kSet1, "SecurityEnabled=TRUE|NetworkType=ADHOC", "ERROR"},
    {"SSID of 33 bytes hides a wrong type", kSet1, choice("WPA9", "AES", "", "true", kLong + "s"), "ERROR"},
    {"no encryption", kSet1, choice("WPA2-PSK", "", "12345678"), "ERROR"},
    {"an unknown type hides a wrong key", kSet1, choice("WPA9", "AES", ""), kType},
    {"WPA2 with both ciphers", kSet1, choice("WPA2-PSK", "TKIPORAES", "12345678"), kEncryption},
    {"WPA with AES", kSet1, choice("WPA-PSK", "AES", "12345678"), kEncryption},
    {"WEP key of the other length", kSet1, choice("WEP-AUTO", "WEP-128", kHex10), kKey},
    {"WEP key that is not hexadecimal", kSet1, choice("WEP-AUTO", "WEP-64", "012345678g"), kKey},
    {"WPA key of 7 characters", kSet1, choice("WPA2-PSK", "AES", "1234567"), kKey},
    {"WPA key of 65", kSet1, choice("WPA2-PSK", "AES", kHex64 + "f"), kKey},
    {"WPA key of 64 that is not hexadecimal", kSet1, choice("WPA2-PSK", "AES", k63 + "k"), kKey},
    {"WPA key with a byte above 127", kSet1, choice("WPA2-PSK", "AES", "1234567\xC2\x80"), kKey},
    {"band with a blank", kSet2, kGood + "|Band=5 GHz", "ERROR"},
    {"no band", kSet2, kGood, "ERROR"},
    {"a bad band hides a bad type", kSet2, choice("WPA9", "AES", "12345678") + "|Band=5", "ERROR"},
    {"all of them", "GetWirelessClientCapabilities", "", kCapabilities, {}, nullptr, kExtenderA},
};
const bool kSetAdded = add_rows("SetWirelessClientSettings", kSet);

Device::Step security(const std::string& auth, const std::string& cipher, const std::string& key = "",
                      const std::string& ssid = "Den") {
  return has_stored({{"SSID1", ssid}, {"AuthMode", auth}, {"EncrypType", cipher}, {"WPAPSK1", key}});
}
Device::Step wep_key(const std::string& index, const std::string& key, const char* auth = "SHARED") {
  return in_turn(
      {security(auth, "WEP"), has_stored({{"DefaultKeyID", index}, {"Key" + index + "Str1", key}})});
}
ActionRow get(const char* name, Device::Step prepare, const std::string& type, const std::string& encryption,
              const std::string& key, const std::string& ssid = "Den", const char* enabled = "true",
              const char* connected = "false") {
  const std::string reply = "OK|SSID=" + ssid + "|NetworkType=INFRASTRUCTURE|SecurityEnabled=" + enabled +
                            "|SecurityType=" + type + "|Encryption=" + encryption + "|Key=" + key +
                            "|Connected=" + connected;
  return {name, "GetWirelessClientSettings", "", reply, {}, std::move(prepare)};
}
// The device's own repeater mode, and a driver that answers; besides, something that stands in the way.
ActionRow open(const char* name, Device::Step more, const char* is_connected) {
  const auto answers = [](Device& device) {
    device.driver = [](DriverRequest& request) {
      const std::uint32_t state = 0x80000000;
      const bool asked = request.number == 0x8BE1 && request.flags == 0x060B &&
                         request.length == sizeof state && request.ifname == "apcli0";
      if (asked) std::memcpy(request.data, &state, sizeof state);
      return asked;
    };
  };
  return get(name, in_turn({security("OPEN", "NONE"), answers, std::move(more)}), "", "", "", "Den", "false",
             is_connected);
}

const Effects kReopened = {"nvram close 0", "nvram init 0"};
const ActionRow kGet[] = {
    open("connected", has_stored({}), "true"),
    open("mode 3 is a repeater too", has_stored({{"OperationMode", "3"}, {"apClient", "0"}}), "true"),
    open("no repeater", has_stored({{"apClient", "0"}}), "false"),
    open("no socket", cannot_open("socket"), "false"),
    get("nothing stored counts as secured", nullptr, "", "", "", ""),
    get("WPA, escaped", security("WPAPSK", "TKIP", "<key>", "A&B"), "WPA-PSK", "TKIP", "&lt;key&gt;",
        "A&amp;B"),
    get("mixed mode", security("WPAPSKWPA2PSK", "TKIPAES", "k"), "WPA-AUTO-PSK", "TKIPORAES", "k"),
    get("too long for their fields",
        security("WPA2PSK", "AES", std::string(1023, 'k'), std::string(1023, 's')), "WPA2-PSK", "AES",
        k63 + "kk", kLong),
    get("WEP auto, second key", wep_key("2", kHex10, "WEPAUTO"), "WEP-AUTO", "WEP-64", kHex10),
    get("third key, 26 digits", wep_key("3", kHex26), "WEP-SHARED", "WEP-128", kHex26),
    get("5 characters are ASCII", wep_key("1", "AZz9 "), "WEP-SHARED", "WEP-64", "415a7a3920"),
    get("13 characters", wep_key("4", "\tabcdefghipq\xFF"), "WEP-SHARED", "WEP-128",
        " 96162636465666768697071ff"),
    get("a key that is not there", wep_key("5", "abcde"), "WEP-SHARED", "WEP-128", ""),
    {"the other namespace", kOutcome, "", "OK|Result=UNKNOWN", kReopened, nullptr, kExtenderB},
};
const bool kGetAdded = add_rows("GetWirelessClientSettings", kGet);

using UpstreamChoice = DeviceTest;

TEST_F(UpstreamChoice, HasAnOutcome) {
  expect_each(
      [&](const char* stored) {
        device.store["LastSetWirelessClientResult"] = stored;  // by another program meanwhile
        return value_in(ask(soap(kOutcome)), "Result");
      },
      "0", "UNKNOWN", "1", "SUCCESS", "2", "AUTHENTICATION_FAILURE", "3", "CONNECTION_FAILURE", "-1",
      "CONNECTION_FAILURE", "no", "UNKNOWN");
}

// The previous values are saved, and the choice is not lost when its outcome is asked for before it is
// committed.
TEST_F(UpstreamChoice, KeepsThePreviousValuesAndItself) {
  // One is too long to be read, and is not to be saved as another's value.
  const std::string longest(1023, 'a'), too_long(1024, '9');
  has_stored({{"SSID1", "Before"}, {"Channel", too_long}, {"AuthMode", longest}, {"HT_BW", "1"}})(device);
  server.receive(soap(kSet1, kGood));
  server.receive(soap(kOutcome));
  expect_each([&](const char* key) { return device.library[key]; }, "LastSSID1", "Before", "LastChannel", "",
              "LastAuthMode", longest, "LastEncrypType", "", "LastHT_BW", "1", "ApCliSsid", "Den");
}

}  // namespace kd::test::wireless_client_settings
