// SetWirelessClientSettings, GetWirelessClientSettings, GetLastSetWirelessClientSettingsResult.
#include <cstring>

#include "actions/client_security.hpp"
#include "module/mod_kd_hnap.hpp"
#include "support/cases.hpp"
#include "support/wireless_choice.hpp"

namespace kd::test {
namespace {

constexpr const char* kSet = "SetWirelessClientSettings";
constexpr const char* kType = "ERROR_TYPE_NOT_SUPPORTED";
constexpr const char* kEncryption = "ERROR_ENCRYPTION_NOT_SUPPORTED";
constexpr const char* kKey = "ERROR_ILLEGAL_KEY_VALUE";
constexpr const char* kNetworkType = "ERROR_NETWORK_TYPE_NOT_SUPPORTED";

Arguments without(Arguments arguments, const std::string& name) {
  std::erase_if(arguments, [&](const auto& argument) { return argument.first == name; });
  return arguments;
}
const Arguments kGood = choice("WPA2-PSK", "AES", "12345678");
Arguments with(const std::string& name, const std::string& value) {
  Arguments arguments = kGood;
  for (auto& argument : arguments) {
    if (argument.first == name) argument.second = value;
  }
  return arguments;
}
Arguments inserted(std::size_t at, const std::string& name, const std::string& value) {
  Arguments arguments = kGood;
  arguments.insert(arguments.begin() + static_cast<std::ptrdiff_t>(at), {name, value});
  return arguments;
}

std::vector<std::string> wep(const std::string& auth, const std::string& key) {
  return stored({"SSID1=Den", "ApCliSsid=Den", "AuthMode=" + auth, "ApCliAuthMode=" + auth, "HT_BW=0",
                 "EncrypType=WEP", "ApCliEncrypType=WEP", "DefaultKeyID=1", "ApCliDefaultKeyID=1",
                 "Key1Type=0", "ApCliKey1Type=0", "Key1Str1=" + key, "ApCliKey1Str=" + key,
                 "HNAPConfiguredBand=", "ApCliEnable=1", "WscConfigured=1"});
}
std::vector<std::string> open_network(const std::string& ssid) {
  return stored({"SSID1=" + ssid, "ApCliSsid=" + ssid, "AuthMode=OPEN", "ApCliAuthMode=OPEN",
                 "EncrypType=NONE", "ApCliEncrypType=NONE", "HT_BW=1", "HNAPConfiguredBand=", "ApCliEnable=1",
                 "WscConfigured=1"});
}

ActionCase accepted(const char* name, Arguments arguments, std::vector<std::string> changes) {
  return {name, kSet, std::move(arguments), "REBOOT", std::move(changes), nullptr, kReloadWirelessAtClose};
}
ActionCase refused(const char* name, Arguments arguments, const char* error) {
  return {name, kSet, std::move(arguments), error};
}

const std::vector<std::string> kGoodStored = wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678");
const std::string kHex10 = "01234abCDe", kHex26 = "0123456789abcdefABCDEF0123";

const ActionCase kAccepted[] = {
    accepted("WPA2", kGood, kGoodStored),
    accepted("WPA", choice("WPA-PSK", "TKIP", std::string(63, 'k')),
             wpa("0", "WPAPSK", "WPAPSK", "TKIP", "TKIP", std::string(63, 'k'))),
    accepted("mixed mode joins with the better half", choice("WPA-AUTO-PSK", "TKIPORAES", "&lt;123456&gt;"),
             wpa("1", "WPAPSKWPA2PSK", "WPA2PSK", "TKIPAES", "AES", "<123456>")),
    accepted("WEP 64", choice("WEP-AUTO", "WEP-64", kHex10), wep("WEPAUTO", kHex10)),
    accepted("WEP 128 by its short name", choice("WEP", "WEP-128", kHex26), wep("WEPAUTO", kHex26)),
    accepted("WEP shared", choice("WEP-SHARED", "WEP-64", kHex10), wep("SHARED", kHex10)),
    accepted("open ignores the rest", choice("WPA9", "DES", "k", "false"), open_network("Den")),
    accepted("no text is not secured", choice("WPA9", "", "", ""), open_network("Den")),
    accepted("SSID of 32 bytes", choice("", "", "", "false", std::string(32, 's')),
             open_network(std::string(32, 's'))),
    accepted("empty SSID", choice("", "", "", "false", ""), open_network("")),
    accepted("any order", {kGood.rbegin(), kGood.rend()}, kGoodStored),
    accepted("what is behind the last is not examined", inserted(6, "Unknown", ""), kGoodStored),
    accepted("a repeat without text changes nothing", inserted(5, "SecurityType", ""), kGoodStored),
};
INSTANTIATE_TEST_SUITE_P(Accepted, ActionTest, ::testing::ValuesIn(kAccepted), row_name);

const ActionCase kRefused[] = {
    refused("no arguments", {}, "ERROR"),
    refused("no SSID", without(kGood, "SSID"), "ERROR"),
    refused("unknown element", inserted(3, "MacAddress", "x"), "ERROR"),
    refused("other network type", with("NetworkType", "ADHOC"), kNetworkType),
    refused("network type without text", with("NetworkType", ""), kNetworkType),
    refused("a wrong type hides what follows", {{"NetworkType", "ADHOC"}, {"SecurityEnabled", "maybe"}},
            kNetworkType),
    refused("what comes first hides a wrong type", {{"SecurityEnabled", "maybe"}, {"NetworkType", "ADHOC"}},
            "ERROR"),
    refused("security neither true nor false", with("SecurityEnabled", "TRUE"), "ERROR"),
    refused("SSID of 33 bytes", with("SSID", std::string(33, 's')), "ERROR"),
    refused("a long SSID hides a wrong type", choice("WPA9", "", "", "true", std::string(33, 's')), "ERROR"),
    refused("no security type", with("SecurityType", ""), "ERROR"),
    refused("no encryption", with("Encryption", ""), "ERROR"),
    refused("no key in an open network", without(choice("", "", "", "false"), "Key"), "ERROR"),
    refused("an unknown type hides a wrong key", choice("WPA9", "AES", ""), kType),
    refused("WPA2 with both ciphers", choice("WPA2-PSK", "TKIPORAES", "12345678"), kEncryption),
    refused("WPA with AES", choice("WPA-PSK", "AES", "12345678"), kEncryption),
    refused("WEP with a WPA cipher", choice("WEP", "TKIP", kHex10), kEncryption),
    refused("WEP key of the other length", choice("WEP-AUTO", "WEP-128", kHex10), kKey),
    refused("WPA key of 7 characters", choice("WPA2-PSK", "AES", "1234567"), kKey),
    refused("no WPA key", choice("WPA2-PSK", "AES", ""), kKey),
};
INSTANTIATE_TEST_SUITE_P(Refused, ActionTest, ::testing::ValuesIn(kRefused), row_name);

TEST(KeyCheck, JudgesLengthAndCharacters) {
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
      {std::string(63, 'x'), false, false, true},
      {std::string(62, 'x') + '\x80', false, false, false},
      {std::string(64, 'f'), false, false, true},
      {std::string(63, 'f') + 'g', false, false, false},
      {std::string(63, 'f') + '\xE6', false, false, false},
      {std::string(65, 'f'), false, false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kd_hnap_verify_wep_key(row.key.c_str(), 64), row.wep64) << row.key;
    EXPECT_EQ(kd_hnap_verify_wep_key(row.key.c_str(), 128), row.wep128) << row.key;
    EXPECT_EQ(kd_hnap_verify_wpa_key(row.key.c_str()), row.wpa) << row.key;
  }
}

std::string read_back(const std::string& ssid, const std::string& enabled, const std::string& type,
                      const std::string& encryption, const std::string& key,
                      const char* connected = "false") {
  return "<GetWirelessClientSettingsResult>OK</GetWirelessClientSettingsResult>\n<SSID>" + ssid +
         "</SSID>\n<NetworkType>INFRASTRUCTURE</NetworkType>\n<SecurityEnabled>" + enabled +
         "</SecurityEnabled>\n<SecurityType>" + type + "</SecurityType>\n<Encryption>" + encryption +
         "</Encryption>\n<Key>" + key + "</Key>\n<Connected>" + connected + "</Connected>\n";
}

Device::Step security(const std::string& auth, const std::string& cipher, const std::string& key = "") {
  return has_stored({{"SSID1", "Den"}, {"AuthMode", auth}, {"EncrypType", cipher}, {"WPAPSK1", key}});
}
Device::Step wep_key(const std::string& index, const std::string& key, const std::string& auth = "SHARED") {
  return in_turn(
      {security(auth, "WEP"), has_stored({{"DefaultKeyID", index}, {"Key" + index + "Str1", key}})});
}

ActionCase reads(const char* name, std::string reply, Device::Step prepare) {
  return {name, "GetWirelessClientSettings", {}, std::move(reply), {}, std::move(prepare)};
}

const ActionCase kStored[] = {
    reads("open", read_back("Den", "false", "", "", ""), security("OPEN", "NONE")),
    reads("nothing stored counts as secured", read_back("", "true", "", "", ""), nullptr),
    reads("WPA, escaped", read_back("A&amp;B", "true", "WPA-PSK", "TKIP", "&lt;key&gt;"),
          in_turn({security("WPAPSK", "TKIP", "<key>"), has_stored({{"SSID1", "A&B"}})})),
    reads("WPA2", read_back("Den", "true", "WPA2-PSK", "AES", ""), security("WPA2PSK", "AES")),
    reads("mixed mode", read_back("Den", "true", "WPA-AUTO-PSK", "TKIPORAES", "k"),
          security("WPAPSKWPA2PSK", "TKIPAES", "k")),
    reads("unknown cipher", read_back("Den", "true", "WPA-PSK", "", ""), security("WPAPSK", "DES", "k")),
    reads("too long for their fields",
          read_back(std::string(32, 's'), "true", "WPA2-PSK", "AES", std::string(65, 'k')),
          in_turn({security("WPA2PSK", "AES", std::string(1023, 'k')),
                   has_stored({{"SSID1", std::string(1023, 's')}})})),
    reads("WEP open", read_back("Den", "true", "WEP-OPEN", "WEP-128", ""), security("OPEN", "WEP")),
    reads("WEP auto, second key", read_back("Den", "true", "WEP-AUTO", "WEP-64", kHex10),
          wep_key("2", kHex10, "WEPAUTO")),
    reads("5 characters are ASCII", read_back("Den", "true", "WEP-SHARED", "WEP-64", "415a7a3920"),
          wep_key("1", "AZz9 ")),
    reads("13 characters, one below 16 and one above 127",
          read_back("Den", "true", "WEP-SHARED", "WEP-128", " 96162636465666768697071ff"),
          wep_key("4", "\tabcdefghipq\xFF")),
    reads("a key that is not there", read_back("Den", "true", "WEP-SHARED", "WEP-128", ""),
          wep_key("5", "abcde")),
};
INSTANTIATE_TEST_SUITE_P(Stored, ActionTest, ::testing::ValuesIn(kStored), row_name);

// The device's own repeater mode, an answering driver and the tool that is asked besides.
void connect(Device& device) {
  security("OPEN", "NONE")(device);
  device.driver = [](DriverRequest& request) {
    if (request.number != 0x8BE1 || request.flags != 0x060B || request.length != 4) return false;
    const std::uint32_t state = request.ifname == "apcli0" ? 0x80000000 : 0;
    std::memcpy(request.data, &state, sizeof state);
    return true;
  };
}

const std::string kUp = read_back("Den", "false", "", "", "", "true");
const std::string kDown = read_back("Den", "false", "", "", "");
const ActionCase kConnected[] = {
    reads("connected", kUp, connect),
    reads("connected without the tool", kUp, in_turn({connect, cannot_open("iwconfig apcli0")})),
    reads("mode 3 is a repeater too", kUp,
          in_turn({connect, has_stored({{"OperationMode", "3"}, {"apClient", "0"}})})),
    reads("no repeater", kDown, in_turn({connect, has_stored({{"apClient", "0"}})})),
    reads("another mode", kDown, in_turn({connect, has_stored({{"OperationMode", "1"}})})),
    reads("no socket", kDown, in_turn({connect, cannot_open("socket")})),
};
INSTANTIATE_TEST_SUITE_P(Connected, ActionTest, ::testing::ValuesIn(kConnected), row_name);

const std::vector<std::string> kReopened{"nvram close 0", "nvram init 0"};
std::string outcome(const std::string& result) {
  const std::string element = "GetLastSetWirelessClientSettingsResultResult>";
  return "<" + element + "OK</" + element + "\n<Result>" + result + "</Result>\n";
}
constexpr const char* kAsk = "GetLastSetWirelessClientSettingsResult";
void succeeded(Device& device) {
  device.store["LastSetWirelessClientResult"] = "1";
}
const ActionCase kOutcome[] = {
    {"written by another program",
     kAsk,
     {},
     outcome("SUCCESS"),
     kReopened,
     succeeded,
     0,
     EXTENDER_NAMESPACE_A,
     EXTENDER_NAMESPACE_A},
    {"in the other namespace",
     kAsk,
     {},
     outcome("UNKNOWN"),
     kReopened,
     nullptr,
     0,
     EXTENDER_NAMESPACE_B,
     EXTENDER_NAMESPACE_B},
};
INSTANTIATE_TEST_SUITE_P(Outcome, ActionTest, ::testing::ValuesIn(kOutcome), row_name);

TEST_F(DeviceTest, NamesEveryOutcome) {
  const std::string no_link = "CONNECTION_FAILURE", unknown = "UNKNOWN";
  const std::pair<const char*, std::string> rows[] = {
      {"0", unknown}, {"1", "SUCCESS"}, {"2", "AUTHENTICATION_FAILURE"}, {"", unknown}, {"no", unknown},
      {"3", no_link}, {"-1", no_link}};
  for (const auto& [stored, name] : rows) {
    device.store["LastSetWirelessClientResult"] = stored;
    host::Request request = soap_request(kAsk);
    send(request);
    EXPECT_EQ(reply_value(request.reply, "Result"), name) << stored;
  }
}

TEST_F(DeviceTest, SavesThePreviousValues) {
  device.set("SSID1", "Before");
  device.set("Channel",
             std::string(1024, '9'));  // too long to be read, and not to be saved as another's value
  device.set("AuthMode", std::string(1023, 'a'));
  device.set("HT_BW", "1");
  host::Request request = soap_request(kSet, kGood);
  send(request);
  EXPECT_EQ(device.library["LastSSID1"], "Before");
  EXPECT_EQ(device.library["LastChannel"], "");
  EXPECT_EQ(device.library["LastAuthMode"], std::string(1023, 'a'));
  EXPECT_EQ(device.library["LastEncrypType"], "");
  EXPECT_EQ(device.library["LastHT_BW"], "1");
}

// The choice of a network is not lost when its outcome is asked for before it is committed.
TEST_F(DeviceTest, KeepsTheChoiceWhenTheStoreIsReopened) {
  host::Request set = soap_request(kSet, choice("", "", "", "false"));
  send(set);
  host::Request ask = soap_request(kAsk);
  send(ask);
  EXPECT_EQ(device.library["ApCliSsid"], "Den");
}

}  // namespace
}  // namespace kd::test
