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

const ActionCase kRows[] = {
    {.name = "escaped where needed, in the report's order",
     .action = "GetWirelessNetworks",
     .reply = listed(network("A&amp;B &lt;1&gt;", "70", kWpa2) + network("Plain", "5", kOpen)),
     .changes = {kScan},
     .prepare =
         [](Device& d) {
           d.outputs[kScanCommand] =
               scan_report({{.ssid = "A&B <1>"}, {.ssid = "Plain", .security = "NONE", .signal = "5"}});
         },
     .varies = true},
    {.name = "nothing to be seen",
     .action = "GetWirelessNetworks",
     .reply = listed(""),
     .changes = {kScan},
     .prepare = [](Device& d) { d.outputs[kScanCommand] = kScanHeader; },
     .varies = true},
    {.name = "no report",
     .action = "GetWirelessNetworks",
     .reply = "ERROR",
     .changes = {kScan, kScan, kScan, kScan, kScan, kScan}},
    {.name = "in the extender's namespace",
     .action = "GetWirelessNetworks",
     .reply = listed(""),
     .changes = {kScan},
     .prepare = [](Device& d) { d.outputs[kScanCommand] = kScanHeader; },
     .request_namespace = EXTENDER_NAMESPACE_B,
     .reply_namespace = EXTENDER_NAMESPACE_B,
     .varies = true},
};
INSTANTIATE_TEST_SUITE_P(WirelessNetworks, ActionTest, ::testing::ValuesIn(kRows), row_name);

// A reply far beyond the customary buffer of 76,800 bytes.
TEST_F(DeviceTest, ListsThousandNetworks) {
  std::string report = kScanHeader;
  std::string networks;
  for (int i = 0; i < 1000; ++i) {
    const std::string ssid = "net " + std::to_string(i);
    report += scan_line({.ssid = ssid}) + "\n";
    networks += network(ssid, "70", kWpa2);
  }
  device.outputs[kScanCommand] = report;
  host::Request request = soap_request("GetWirelessNetworks");
  send(request);
  EXPECT_EQ(request.reply, whole_reply("GetWirelessNetworks", listed(networks), HNAP1_NAMESPACE));
}

}  // namespace
}  // namespace kd::test
