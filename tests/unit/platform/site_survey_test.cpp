// The scan report, the list of networks, and GetWirelessNetworks with its variant for the band.
#include "platform/site_survey.hpp"

#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test::site_survey {

// The fields of what is listed, up to the security or the security alone.
std::string listed(const std::string& line, bool security = false) {
  site_survey_entry entry{};
  if (!parse_scan_line(line, entry)) return "";
  EXPECT_STREQ(entry.network_type, "INFRASTRUCTURE");
  if (security)
    return std::to_string(entry.security_enabled) + "|" + entry.security_type + "|" + entry.encryption;
  return std::string{entry.ssid} + "|" + entry.mode + "|" + entry.band + "|" + std::to_string(entry.signal);
}

TEST(ScanLine, IsReadByItsColumns) {
  expect_each([](const char* security) { return listed(scan_line({.security = security}), true); }, "NONE",
              "0||", "none", "", "WEP128", "1|WEP-AUTO|WEP-64", "WPAPSK/TKIP", "1|WPA-PSK|TKIP",
              "WPAPSK/TKIPAES", "1|WPA-PSK|TKIP", "WPAPSK/AES", "", "WPA2PSK/AES", "1|WPA2-PSK|AES",
              "WPA2PSK/TKIPAES", "1|WPA2-PSK|TKIPORAES", "WPA2PSK/TKIP", "", "WPA1PSKWPA2PSK/TKIPAES",
              "1|WPA2-PSK|TKIPORAES", "WPA2/AES", "", "WPA1PSKWPA2PSK/AES", "1|WPA2-PSK|TKIPORAES",
              "WPA1PSKWPA2PSK/TKIP", "1|WPA-PSK|TKIP");
  const std::string s32(32, 's'), rest = "|802.11bgn|2.4GHz|70";
  // The line's end may cut any column: what is missing is empty.
  const auto cut = [](std::size_t length) { return scan_line({}).substr(0, length); };
  expect_each([](const std::string& line) { return listed(line); }, scan_line({.mode = "11b/g"}),
              "Home|802.11bg|2.4GHz|70", scan_line({.mode = "11b"}), "Home|802.11b|2.4GHz|70",
              scan_line({.channel = 14, .mode = "11a"}), "Home|802.11a|2.4GHz|70",
              scan_line({.channel = 15, .mode = "11a/n"}), "Home|802.11an|5GHz|70",
              scan_line({.channel = 161, .signal = "100", .mode = "11n"}), "Home|802.11bgn|5GHz|100",
              scan_line({.type = "Ad"}), "", scan_line({.type = ""}), "Home" + rest, scan_line({.ssid = ""}),
              "", scan_line({.ssid = s32}), s32 + rest, scan_line({.length = "041"}), "Home" + rest,
              scan_line({.length = "33"}), "", scan_line({.length = "xx"}), "", scan_line({.length = "-1"}),
              "", scan_line({.ssid = " a ", .length = "05"}), " a   " + rest,
              scan_line({.ssid = "caf\xC3\xA9\xFF"}), "caf\xC3\xA9\xFF" + rest, "", "", cut(70), "", cut(71),
              "Home|802.11bgn|2.4GHz|0", cut(84), "Home|802.11bgn|2.4GHz|7", cut(85), "Home" + rest);
}

using Survey = DeviceTest;

TEST_F(Survey, ReadsReports) {
  const std::string header = kScanHeader, home = scan_line({}), b = scan_line({.ssid = "b"}) + "\n";
  const std::tuple<const char*, std::string, int, std::string> rows[] = {
      {"149 bytes", std::string(149, '\n'), -1, ""},
      {"150 bytes", std::string(150, '\n'), 0, ""},
      {"in their order", header + b + scan_line({.type = "Ad"}) + "\n" + home, 2, "b,Home,"},
      {"short lines between", header + "\n \n" + home + "\n\nx\nxy\n" + b, 2, "Home,b,"},
      // Neither skip consumes an empty line, so no network is taken for a header.
      {"an empty first line", "\n" + home + "\n" + b, 2, "Home,b,"},
      {"blanks before a network go with the header", header + "  \t " + home + "\n", 1, "Home,"},
      {"header of 9000 bytes", std::string(9000, 'h') + "\nsecond\n" + home + "\n", 1, "Home,"},
      {"the end of a long line is none", header + std::string(7999, 'x') + home + "\n" + b, 1, "b,"},
      {"nul bytes", header + std::string(3, '\0') + "\n" + home + "\n", 1, "Home,"},
  };
  for (const auto& [name, report, count, names] : rows) {
    device.outputs[kScanCommand] = report;
    site_survey_list list;
    EXPECT_EQ(kd_hnap_repeater_get_networks(list), count) << name;
    std::string all;
    for (const site_survey_entry* entry = list.head; entry; entry = entry->next)
      all += entry->ssid + std::string{","};
    EXPECT_EQ(all, names) << name;
    kd_hnap_repeater_free_networks(list);
    EXPECT_TRUE(list.head == nullptr && list.count == 0);
  }
}

// A second report goes behind the first.
TEST_F(Survey, AddsToAList) {
  device.outputs[kScanCommand] = scan_report({{}});
  site_survey_list list;
  for (int count = 1; count <= 3; ++count) EXPECT_EQ(kd_hnap_repeater_get_networks(list), count);
  EXPECT_STREQ(list.head->next->next->ssid, "Home");
  kd_hnap_repeater_free_networks(list);
}

std::string repeated(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// A list's last entry is kept, and serves the next list: no more than one is ever kept.
TEST_F(Survey, KeepsOneEntry) {
  for (const int networks : {1, 2, 0, 3, 1}) {
    device.outputs[kScanCommand] = kScanHeader + repeated(networks, scan_line({}) + "\n");
    ask(soap("GetWirelessNetworks"));
    EXPECT_LE(heap.given_up(), 1U);
    EXPECT_EQ(heap.leaks(), "");
  }
}

ActionRow row(const char* name, const char* action, std::string reply, const std::string& report,
              const char* asked_in = kCore) {
  const Effects scans(report.empty() ? 6 : 1, "run iwpriv ra0 get_site_survey > /tmp/scanList.txt");
  ActionRow row{name, action, "", std::move(reply), scans, prints(kScanCommand, report), asked_in};
  row.reads = true;
  return row;
}
const std::string kHome =
    "WirelessNetwork{SSID=Home|NetworkType=INFRASTRUCTURE|Mode=802.11bgn|SignalStrength=70"
    "|SecurityEnabled=true|SecurityType=WPA2-PSK|Encryption=AES}";
const ActionRow kRows[] = {
    row("escaped, in the report's order", "GetWirelessNetworks",
        "OK|WirelessNetworkList{WirelessNetwork{SSID=A&amp;B &lt;1&gt;|NetworkType=INFRASTRUCTURE"
        "|Mode=802.11bgn|SignalStrength=5|SecurityEnabled=false|SecurityType=|Encryption=}|" +
            kHome + "}",
        scan_report({{.ssid = "A&B <1>", .security = "NONE", .signal = "5"}, {}})),
    row("no report", "GetWirelessNetworks", "ERROR", ""),
    row("nothing to be seen", "GetWirelessNetworks", "OK|WirelessNetworkList{}", kScanHeader, kExtenderB),
    row("64 networks", "GetWirelessNetworks", "OK|WirelessNetworkList{" + repeated(64, kHome + "|") + "}",
        kScanHeader + repeated(64, scan_line({}) + "\n")),
    row("with its band", "GetWirelessNetworks2",
        "OK|WirelessNetworkList{WirelessNetwork2{SSID=High|NetworkType=INFRASTRUCTURE|Mode=802.11bgn|Band="
        "5GHz"
        "|SignalStrength=70|SecurityEnabled=true|SecurityType=WPA2-PSK|Encryption=AES}}",
        scan_report({{.channel = 36, .ssid = "High"}})),
    row("no report", "GetWirelessNetworks2", "ERROR", ""),
};
const bool kAdded = add_rows("WirelessNetworks", kRows);

}  // namespace kd::test::site_survey
