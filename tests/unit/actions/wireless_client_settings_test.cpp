// SetWirelessClientSettings, GetWirelessClientSettings, GetLastSetWirelessClientSettingsResult.
#include <cstring>

#include "actions/client_security.hpp"
#include "module/mod_kd_hnap.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

constexpr const char* kSet = "SetWirelessClientSettings";
constexpr const char* kType = "ERROR_TYPE_NOT_SUPPORTED";
constexpr const char* kEncryption = "ERROR_ENCRYPTION_NOT_SUPPORTED";
constexpr const char* kKey = "ERROR_ILLEGAL_KEY_VALUE";
constexpr const char* kNetworkType = "ERROR_NETWORK_TYPE_NOT_SUPPORTED";

Arguments choice(const std::string& type, const std::string& encryption, const std::string& key,
                 const std::string& enabled = "true", const std::string& ssid = "Den") {
  return {{"SSID", ssid},         {"NetworkType", "INFRASTRUCTURE"}, {"SecurityEnabled", enabled},
          {"SecurityType", type}, {"Encryption", encryption},        {"Key", key}};
}

Arguments without(Arguments arguments, const std::string& name) {
  std::erase_if(arguments, [&](const auto& argument) { return argument.first == name; });
  return arguments;
}
Arguments with(const std::string& name, const std::string& value) {
  Arguments arguments = choice("WPA2-PSK", "AES", "12345678");
  for (auto& argument : arguments) {
    if (argument.first == name) argument.second = value;
  }
  return arguments;
}
Arguments inserted(std::size_t at, const std::string& name, const std::string& value) {
  Arguments arguments = choice("WPA2-PSK", "AES", "12345678");
  arguments.insert(arguments.begin() + static_cast<std::ptrdiff_t>(at), {name, value});
  return arguments;
}

// The store's writes of a set: the saved values, then the given ones.
std::vector<std::string> stored(const std::vector<std::string>& settings) {
  std::vector<std::string> all = {"console Save last repeater settings\n"};
  for (const char* key : {"SSID1", "Channel", "AuthMode", "EncrypType", "DefaultKeyID", "Key1Type",
                          "Key1Str1", "WPAPSK1", "ApCliEnable", "WscConfigured", "ApCliBssid", "HT_BW"}) {
    all.push_back("nvram set Last" + std::string{key} + "=");
  }
  for (const std::string& setting : settings) all.push_back("nvram set " + setting);
  return all;
}

std::vector<std::string> wpa(const std::string& width, const std::string& auth,
                             const std::string& client_auth, const std::string& cipher,
                             const std::string& client_cipher, const std::string& key) {
  return stored({"SSID1=Den", "ApCliSsid=Den", "HT_BW=" + width, "AuthMode=" + auth,
                 "ApCliAuthMode=" + client_auth, "EncrypType=" + cipher, "ApCliEncrypType=" + client_cipher,
                 "WPAPSK1=" + key, "ApCliWPAPSK=" + key, "HNAPConfiguredBand=", "ApCliEnable=1",
                 "WscConfigured=1"});
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
  return {.name = name,
          .action = kSet,
          .arguments = std::move(arguments),
          .reply = "REBOOT",
          .changes = std::move(changes),
          .deferred = kReloadWirelessAtClose};
}
ActionCase refused(const char* name, Arguments arguments, const char* error) {
  return {.name = name, .action = kSet, .arguments = std::move(arguments), .reply = error};
}

const std::string kHex10 = "01234abCDe", kHex26 = "0123456789abcdefABCDEF0123";

const ActionCase kAccepted[] = {
    accepted("WPA2", choice("WPA2-PSK", "AES", "12345678"),
             wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678")),
    accepted("WPA", choice("WPA-PSK", "TKIP", std::string(63, 'k')),
             wpa("0", "WPAPSK", "WPAPSK", "TKIP", "TKIP", std::string(63, 'k'))),
    accepted("mixed mode joins with the better half", choice("WPA-AUTO-PSK", "TKIPORAES", "&lt;123456&gt;"),
             wpa("1", "WPAPSKWPA2PSK", "WPA2PSK", "TKIPAES", "AES", "<123456>")),
    accepted("WEP 64", choice("WEP-AUTO", "WEP-64", kHex10), wep("WEPAUTO", kHex10)),
    accepted("WEP 128 by its short name", choice("WEP", "WEP-128", kHex26), wep("WEPAUTO", kHex26)),
    accepted("WEP open", choice("WEP-OPEN", "WEP-64", kHex10), wep("OPEN", kHex10)),
    accepted("WEP shared", choice("WEP-SHARED", "WEP-64", kHex10), wep("SHARED", kHex10)),
    accepted("open", choice("", "", "", "false"), open_network("Den")),
    accepted("open ignores the rest", choice("WPA9", "DES", "k", "false"), open_network("Den")),
    accepted("no text is not secured", choice("WPA9", "", "", ""), open_network("Den")),
    accepted("SSID of 32 bytes", choice("", "", "", "false", std::string(32, 's')),
             open_network(std::string(32, 's'))),
    accepted("empty SSID", choice("", "", "", "false", ""), open_network("")),
    accepted("any order, the rest not examined",
             {{"Key", "12345678"},
              {"Encryption", "AES"},
              {"SecurityType", "WPA2-PSK"},
              {"SecurityEnabled", "true"},
              {"NetworkType", "INFRASTRUCTURE"},
              {"SSID", "Den"},
              {"Unknown", ""}},
             wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678")),
    accepted("a repeat without text changes nothing", inserted(5, "SecurityType", ""),
             wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678")),
};
INSTANTIATE_TEST_SUITE_P(Accepted, ActionTest, ::testing::ValuesIn(kAccepted), row_name);

const ActionCase kRefused[] = {
    refused("no arguments", {}, "ERROR"),
    refused("no SSID", without(with("", ""), "SSID"), "ERROR"),
    refused("no key in an open network", without(choice("", "", "", "false"), "Key"), "ERROR"),
    refused("unknown element", inserted(3, "MacAddress", "x"), "ERROR"),
    refused("another band element", inserted(0, "Band", "5GHz"), "ERROR"),
    refused("other network type", with("NetworkType", "ADHOC"), kNetworkType),
    refused("network type without text", with("NetworkType", ""), kNetworkType),
    refused("network type in lower case", with("NetworkType", "infrastructure"), kNetworkType),
    refused("a wrong type hides what follows", {{"NetworkType", "ADHOC"}, {"SecurityEnabled", "maybe"}},
            kNetworkType),
    refused("what comes first hides a wrong type", {{"SecurityEnabled", "maybe"}, {"NetworkType", "ADHOC"}},
            "ERROR"),
    refused("security neither true nor false", with("SecurityEnabled", "TRUE"), "ERROR"),
    refused("SSID of 33 bytes", with("SSID", std::string(33, 's')), "ERROR"),
    refused("a long SSID hides a wrong type", choice("WPA9", "", "", "true", std::string(33, 's')), "ERROR"),
    refused("no security type", with("SecurityType", ""), "ERROR"),
    refused("no encryption", with("Encryption", ""), "ERROR"),
    refused("enterprise", choice("WPA-RADIUS", "AES", "12345678"), kType),
    refused("an unknown type hides a wrong key", choice("WPA9", "AES", ""), kType),
    refused("WPA2 with both ciphers", choice("WPA2-PSK", "TKIPORAES", "12345678"), kEncryption),
    refused("WPA2 with TKIP", choice("WPA2-PSK", "TKIP", "12345678"), kEncryption),
    refused("WPA with AES", choice("WPA-PSK", "AES", "12345678"), kEncryption),
    refused("mixed mode with AES", choice("WPA-AUTO-PSK", "AES", "12345678"), kEncryption),
    refused("WEP with a WPA cipher", choice("WEP", "TKIP", kHex10), kEncryption),
    refused("a wrong cipher hides a wrong key", choice("WPA2-PSK", "DES", ""), kEncryption),
    refused("no WEP key", choice("WEP-OPEN", "WEP-64", ""), kKey),
    refused("WEP key in ASCII", choice("WEP-AUTO", "WEP-64", "ABCDE"), kKey),
    refused("WEP key of the other length", choice("WEP-AUTO", "WEP-128", kHex10), kKey),
    refused("no WPA key", choice("WPA2-PSK", "AES", ""), kKey),
    refused("WPA key of 7", choice("WPA2-PSK", "AES", "1234567"), kKey),
};
INSTANTIATE_TEST_SUITE_P(Refused, ActionTest, ::testing::ValuesIn(kRefused), row_name);

struct KeyRow {
  const char* name;
  std::string key;
  bool wep64, wep128, wpa;
};
const KeyRow kKeys[] = {
    {"empty", "", false, false, true},
    {"10 hex", kHex10, true, false, true},
    {"10 not hex", "012345678g", false, false, true},
    {"26 hex", kHex26, false, true, true},
    {"7 characters", "1234567", false, false, false},
    {"8 characters", "!~ <&>{}", false, false, true},
    {"63 characters", std::string(63, 'x'), false, false, true},
    {"63 with a byte above 127", std::string(62, 'x') + '\x80', false, false, false},
    {"64 hex", std::string(64, 'f'), false, false, true},
    {"64 not hex", std::string(63, 'f') + 'g', false, false, false},
    {"64 with a byte above 127", std::string(63, 'f') + '\xE6', false, false, false},
    {"65 hex", std::string(65, 'f'), false, false, false},
};
TEST(KeyCheck, JudgesLengthAndCharacters) {
  for (const KeyRow& row : kKeys) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(kd_hnap_verify_wep_key(row.key.c_str(), 64), row.wep64);
    EXPECT_EQ(kd_hnap_verify_wep_key(row.key.c_str(), 128), row.wep128);
    EXPECT_EQ(kd_hnap_verify_wpa_key(row.key.c_str()), row.wpa);
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

void store_security(Device& device, const char* auth, const char* cipher) {
  device.set("SSID1", "Den");
  device.set("AuthMode", auth);
  device.set("EncrypType", cipher);
}
template <int kIndex>
void store_wep(Device& device, const char* key) {
  store_security(device, "SHARED", "WEP");
  device.set("DefaultKeyID", std::to_string(kIndex));
  device.set("Key" + std::to_string(kIndex) + "Str1", key);
}

ActionCase reads(const char* name, std::string reply, void (*prepare)(Device&)) {
  return {.name = name, .action = "GetWirelessClientSettings", .reply = std::move(reply), .prepare = prepare};
}

const ActionCase kStored[] = {
    reads("open", read_back("Den", "false", "", "", ""),
          [](Device& d) { store_security(d, "OPEN", "NONE"); }),
    reads("nothing stored counts as secured", read_back("", "true", "", "", ""), [](Device&) {}),
    reads("WPA, escaped", read_back("A&amp;B", "true", "WPA-PSK", "TKIP", "&lt;key&gt;"),
          [](Device& d) {
            store_security(d, "WPAPSK", "TKIP");
            d.set("SSID1", "A&B");
            d.set("WPAPSK1", "<key>");
          }),
    reads("WPA2", read_back("Den", "true", "WPA2-PSK", "AES", ""),
          [](Device& d) { store_security(d, "WPA2PSK", "AES"); }),
    reads("mixed mode", read_back("Den", "true", "WPA-AUTO-PSK", "TKIPORAES", "k"),
          [](Device& d) {
            store_security(d, "WPAPSKWPA2PSK", "TKIPAES");
            d.set("WPAPSK1", "k");
          }),
    reads("unknown cipher", read_back("Den", "true", "WPA-PSK", "", ""),
          [](Device& d) {
            store_security(d, "WPAPSK", "DES");
            d.set("WPAPSK1", "k");
          }),
    reads("too long for their fields",
          read_back(std::string(32, 's'), "true", "WPA2-PSK", "AES", std::string(65, 'k')),
          [](Device& d) {
            store_security(d, "WPA2PSK", "AES");
            d.set("SSID1", std::string(1023, 's'));
            d.set("WPAPSK1", std::string(1023, 'k'));
          }),
    reads("WEP open", read_back("Den", "true", "WEP-OPEN", "WEP-128", ""),
          [](Device& d) { store_security(d, "OPEN", "WEP"); }),
    reads("WEP auto, second key", read_back("Den", "true", "WEP-AUTO", "WEP-64", kHex10),
          [](Device& d) {
            store_wep<2>(d, kHex10.c_str());
            d.set("AuthMode", "WEPAUTO");
          }),
    reads("5 characters are ASCII", read_back("Den", "true", "WEP-SHARED", "WEP-64", "415a7a3920"),
          [](Device& d) { store_wep<1>(d, "AZz9 "); }),
    reads("13 characters, one below 16 and one above 127",
          read_back("Den", "true", "WEP-SHARED", "WEP-128", " 96162636465666768697071ff"),
          [](Device& d) { store_wep<4>(d, "\tabcdefghipq\xFF"); }),
    reads("a key that is not there", read_back("Den", "true", "WEP-SHARED", "WEP-128", ""),
          [](Device& d) { store_wep<5>(d, "abcde"); }),
};
INSTANTIATE_TEST_SUITE_P(Stored, ActionTest, ::testing::ValuesIn(kStored), row_name);

// The device's own repeater mode, an answering driver and the tool that is asked besides.
void connect(Device& device) {
  store_security(device, "OPEN", "NONE");
  device.driver = [](DriverRequest& request) {
    if (request.number != 0x8BE1 || request.flags != 0x060B || request.length != 4) return false;
    const std::uint32_t state = request.ifname == "apcli0" ? 0x80000000 : 0;
    std::memcpy(request.data, &state, sizeof state);
    return true;
  };
}

const ActionCase kConnected[] = {
    reads("connected", read_back("Den", "false", "", "", "", "true"), connect),
    reads("connected without the tool", read_back("Den", "false", "", "", "", "true"),
          [](Device& d) {
            connect(d);
            d.broken.insert("iwconfig apcli0");
          }),
    reads("mode 3 is a repeater too", read_back("Den", "false", "", "", "", "true"),
          [](Device& d) {
            connect(d);
            d.set("OperationMode", "3");
            d.set("apClient", "0");
          }),
    reads("no repeater", read_back("Den", "false", "", "", ""),
          [](Device& d) {
            connect(d);
            d.set("apClient", "0");
          }),
    reads("another mode", read_back("Den", "false", "", "", ""),
          [](Device& d) {
            connect(d);
            d.set("OperationMode", "1");
          }),
    reads("no socket", read_back("Den", "false", "", "", ""),
          [](Device& d) {
            connect(d);
            d.broken.insert("socket");
          }),
};
INSTANTIATE_TEST_SUITE_P(Connected, ActionTest, ::testing::ValuesIn(kConnected), row_name);

const ActionCase kOutcome[] = {
    {.name = "written by another program",
     .action = "GetLastSetWirelessClientSettingsResult",
     .reply = "<GetLastSetWirelessClientSettingsResultResult>OK"
              "</GetLastSetWirelessClientSettingsResultResult>\n<Result>SUCCESS</Result>\n",
     .changes = {"nvram close 0", "nvram init 0"},
     .prepare = [](Device& d) { d.store["LastSetWirelessClientResult"] = "1"; },
     .reply_namespace = EXTENDER_NAMESPACE_A},
    {.name = "in the other namespace",
     .action = "GetLastSetWirelessClientSettingsResult",
     .reply = "<GetLastSetWirelessClientSettingsResultResult>OK"
              "</GetLastSetWirelessClientSettingsResultResult>\n<Result>UNKNOWN</Result>\n",
     .changes = {"nvram close 0", "nvram init 0"},
     .request_namespace = EXTENDER_NAMESPACE_B,
     .reply_namespace = EXTENDER_NAMESPACE_B},
};
INSTANTIATE_TEST_SUITE_P(Outcome, ActionTest, ::testing::ValuesIn(kOutcome), row_name);

TEST_F(DeviceTest, NamesEveryOutcome) {
  const std::pair<const char*, const char*> rows[] = {{"0", "UNKNOWN"},
                                                      {"1", "SUCCESS"},
                                                      {"2", "AUTHENTICATION_FAILURE"},
                                                      {"", "UNKNOWN"},
                                                      {"3", "CONNECTION_FAILURE"},
                                                      {"-1", "CONNECTION_FAILURE"},
                                                      {"no", "UNKNOWN"},
                                                      {"99999999999", "CONNECTION_FAILURE"}};
  for (const auto& [stored, name] : rows) {
    device.store["LastSetWirelessClientResult"] = stored;
    host::Request request = soap_request("GetLastSetWirelessClientSettingsResult");
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
  host::Request request = soap_request(kSet, choice("WPA2-PSK", "AES", "12345678"));
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
  host::Request ask = soap_request("GetLastSetWirelessClientSettingsResult");
  send(ask);
  EXPECT_EQ(device.library["ApCliSsid"], "Den");
}

}  // namespace
}  // namespace kd::test
