// SetWirelessClientSettings2, GetWirelessNetworks2: complete, but in the table only on request. What they
// share with the actions without a band is tested there.
#include "support/cases.hpp"
#include "support/radio_reports.hpp"
#include "support/wireless_choice.hpp"

namespace kd::test {
namespace {

using Effects = std::vector<std::string>;

Arguments in_band(const std::string& band, const std::string& ssid = "Den",
                  const std::string& type = "WPA2-PSK") {
  Arguments arguments = choice(type, "AES", "12345678", "true", ssid);
  arguments.emplace_back("Band", band);
  return arguments;
}

ActionCase set(const char* name, Arguments arguments, const char* reply, Effects changes = {},
               int deferred = 0) {
  ActionCase made{
      name, "SetWirelessClientSettings2", std::move(arguments), reply, std::move(changes), nullptr, deferred};
  made.handler = set_wireless_client_settings2;
  return made;
}
ActionCase accepted(const char* name, Arguments arguments, const std::string& band) {
  return set(name, std::move(arguments), "REBOOT",
             wpa("1", "WPA2PSK", "WPA2PSK", "AES", "AES", "12345678", band), kReloadWirelessAtClose);
}
ActionCase refused(const char* name, Arguments arguments, const char* error = "ERROR") {
  return set(name, std::move(arguments), error);
}

const ActionCase kSet[] = {
    accepted("lower band", in_band("2.4GHz"), "2.4"),
    accepted("upper band", in_band("5GHz"), "5"),
    refused("band with a blank", in_band("5 GHz")),
    refused("empty band", in_band("")),
    refused("no band", choice("WPA2-PSK", "AES", "12345678")),
    refused("long SSID before a bad band", in_band("5", std::string(33, 's'))),
    refused("bad band before a bad type", in_band("5", "Den", "WPA9")),
    refused("bad encryption", in_band("5GHz", "Den", "WPA-PSK"), "ERROR_ENCRYPTION_NOT_SUPPORTED"),
    refused("bad type", in_band("5GHz", "Den", "WPA9"), "ERROR_TYPE_NOT_SUPPORTED"),
};
INSTANTIATE_TEST_SUITE_P(SetBand, ActionTest, ::testing::ValuesIn(kSet), row_name);

std::string network(const std::string& ssid, const std::string& mode, const std::string& band) {
  return "<WirelessNetwork2>\n<SSID>" + ssid + "</SSID>\n<NetworkType>INFRASTRUCTURE</NetworkType>\n<Mode>" +
         mode + "</Mode>\n<Band>" + band +
         "</Band>\n<SignalStrength>70</SignalStrength>\n<SecurityEnabled>true</SecurityEnabled>\n"
         "<SecurityType>WPA2-PSK</SecurityType>\n<Encryption>AES</Encryption>\n</WirelessNetwork2>\n";
}

const std::string kScan = "run iwpriv ra0 get_site_survey > /tmp/scanList.txt";

ActionCase get(const char* name, std::string reply, Effects changes, const std::string& report) {
  ActionCase made{
      name, "GetWirelessNetworks2", {}, std::move(reply), std::move(changes), prints(kScanCommand, report)};
  made.varies = true;
  made.handler = get_wireless_networks2;
  return made;
}

const ActionCase kGet[] = {
    get("each with its band",
        "<GetWirelessNetworks2Result>OK</GetWirelessNetworks2Result>\n<WirelessNetworkList>\n" +
            network("Low", "802.11bgn", "2.4GHz") + network("High", "802.11an", "5GHz") +
            "</WirelessNetworkList>\n",
        {kScan}, scan_report({{.ssid = "Low"}, {.channel = 36, .ssid = "High", .mode = "11a/n"}})),
    get("no report", "ERROR", {kScan, kScan, kScan, kScan, kScan, kScan}, ""),
};
INSTANTIATE_TEST_SUITE_P(GetBand, ActionTest, ::testing::ValuesIn(kGet), row_name);

}  // namespace
}  // namespace kd::test
