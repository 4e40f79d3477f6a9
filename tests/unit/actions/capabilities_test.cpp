// GetWirelessClientCapabilities.
#include "support/cases.hpp"

namespace kd::test {
namespace {

std::string security(const std::string& type, std::initializer_list<const char*> encryptions) {
  std::string strings;
  for (const char* encryption : encryptions) strings += "<string>" + std::string{encryption} + "</string>\n";
  return "<SecurityInfo>\n<SecurityType>" + type + "</SecurityType>\n<Encryptions>\n" + strings +
         "</Encryptions>\n</SecurityInfo>\n";
}

const std::string kCapabilities =
    "<GetWirelessClientCapabilitiesResult>OK</GetWirelessClientCapabilitiesResult>\n"
    "<SupportedNetworkType>\n<string>INFRASTRUCTURE</string>\n</"
    "SupportedNetworkType>\n<SupportedSecurity>\n" +
    security("WEP-OPEN", {"WEP-64", "WEP-128"}) + security("WEP-SHARED", {"WEP-64", "WEP-128"}) +
    security("WEP-AUTO", {"WEP-64", "WEP-128"}) + security("WPA-PSK", {"TKIP"}) +
    security("WPA2-PSK", {"AES"}) + security("WPA-AUTO-PSK", {"TKIPORAES"}) + "</SupportedSecurity>\n";

const ActionCase kRows[] = {
    {.name = "all", .action = "GetWirelessClientCapabilities", .reply = kCapabilities},
    {.name = "in the extender's namespace",
     .action = "GetWirelessClientCapabilities",
     .reply = kCapabilities,
     .request_namespace = EXTENDER_NAMESPACE_A,
     .reply_namespace = EXTENDER_NAMESPACE_A},
};
INSTANTIATE_TEST_SUITE_P(Capabilities, ActionTest, ::testing::ValuesIn(kRows), row_name);

}  // namespace
}  // namespace kd::test
