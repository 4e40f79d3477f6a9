// GetWirelessNetworks.
#include "support/cases.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

std::string network(const std::string& ssid, const std::string& signal, const std::string& security) {
  return "<WirelessNetwork>\n<SSID>" + ssid +
         "</SSID>\n<NetworkType>INFRASTRUCTURE</NetworkType>\n<Mode>802.11bgn</Mode>\n<SignalStrength>" +
         signal + "</SignalStrength>\n" + security + "</WirelessNetwork>\n";
}
std::string listed(const std::string& networks) {
  return "<GetWirelessNetworksResult>OK</GetWirelessNetworksResult>\n<WirelessNetworkList>" +
         (networks.empty() ? "" : "\n" + networks) + "</WirelessNetworkList>\n";
}

const std::string kOpen =
    "<SecurityEnabled>false</SecurityEnabled>\n<SecurityType></SecurityType>\n<Encryption></Encryption>\n";
const std::string kWpa2 =
    "<SecurityEnabled>true</SecurityEnabled>\n<SecurityType>WPA2-PSK</SecurityType>\n"
    "<Encryption>AES</Encryption>\n";
const std::string kScan = "run iwpriv ra0 get_site_survey > /tmp/scanList.txt";

ActionCase row(const char* name, std::string reply, std::vector<std::string> changes,
               const std::string& report, const char* ns = HNAP1_NAMESPACE) {
  return {name,
          "GetWirelessNetworks",
          {},
          std::move(reply),
          std::move(changes),
          prints(kScanCommand, report),
          0,
          ns,
          ns,
          true};
}

const ActionCase kRows[] = {
    row("escaped where needed, in the report's order",
        listed(network("A&amp;B &lt;1&gt;", "70", kWpa2) + network("Plain", "5", kOpen)), {kScan},
        scan_report({{.ssid = "A&B <1>"}, {.ssid = "Plain", .security = "NONE", .signal = "5"}})),
    row("no report", "ERROR", {kScan, kScan, kScan, kScan, kScan, kScan}, ""),
    row("nothing to be seen, in the extender's namespace", listed(""), {kScan}, kScanHeader,
        EXTENDER_NAMESPACE_B),
};
INSTANTIATE_TEST_SUITE_P(WirelessNetworks, ActionTest, ::testing::ValuesIn(kRows), row_name);

}  // namespace
}  // namespace kd::test
