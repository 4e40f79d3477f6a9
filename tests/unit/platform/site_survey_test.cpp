// The scan report, the list of networks, and GetWirelessNetworks with its variant for the band.
#include "platform/site_survey.hpp"

#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

using Survey = DeviceTest;

std::string with_security(const std::string& security) {
  return scan_line({.security = security});
}
std::string secured(const std::string& security) {
  return "Home|INFRASTRUCTURE|802.11bgn|2.4GHz|70|" + security;
}
std::string plain(const std::string& ssid, const std::string& mode = "802.11bgn",
                  const std::string& band = "2.4GHz", const std::string& signal = "70") {
  return ssid + "|INFRASTRUCTURE|" + mode + "|" + band + "|" + signal + "|1|WPA2-PSK|AES";
}

TEST(ScanLine, IsReadByItsColumns) {
  const std::string thirty_two(32, 's');
  const std::pair<std::string, std::string> rows[] = {
      // fields joined by "|"; empty: not listed
      {with_security("NONE"), secured("0||")},
      {with_security("WEP128"), secured("1|WEP-AUTO|WEP-64")},
      {with_security("WPAPSK/TKIP"), secured("1|WPA-PSK|TKIP")},
      {with_security("WPAPSK/TKIPAES"), secured("1|WPA-PSK|TKIP")},
      {with_security("WPAPSK/AES"), ""},
      {with_security("WPA2PSK/TKIPAES"), secured("1|WPA2-PSK|TKIPORAES")},
      {with_security("WPA2PSK/TKIP"), ""},
      {with_security("WPA1PSKWPA2PSK/TKIPAES"), secured("1|WPA2-PSK|TKIPORAES")},
      {with_security("WPA1PSKWPA2PSK/AES"), secured("1|WPA2-PSK|TKIPORAES")},
      {with_security("WPA1PSKWPA2PSK/TKIP"), secured("1|WPA-PSK|TKIP")},
      {with_security("WPA2/AES"), ""},
      {with_security("none"), ""},
      {scan_line({.mode = "11b/g"}), plain("Home", "802.11bg")},
      {scan_line({.mode = "11b"}), plain("Home", "802.11b")},
      {scan_line({.mode = "11a"}), plain("Home", "802.11a")},
      {scan_line({.mode = "11a/n"}), plain("Home", "802.11an")},
      {scan_line({.mode = "11n"}), plain("Home")},
      {scan_line({.channel = 14}), plain("Home")},
      {scan_line({.channel = 15}), plain("Home", "802.11bgn", "5GHz")},
      {scan_line({.channel = 161}), plain("Home", "802.11bgn", "5GHz")},
      {scan_line({.type = "Ad"}), ""},
      {scan_line({.type = ""}), plain("Home")},
      {scan_line({.ssid = "", .length = "00"}), ""},
      {scan_line({.ssid = thirty_two}), plain(thirty_two)},
      {scan_line({.length = "33"}), ""},
      {scan_line({.length = "xx"}), ""},
      {scan_line({.length = "-1"}), ""},
      {scan_line({.ssid = " a ", .length = "05"}), plain(" a   ")},
      {scan_line({.ssid = "caf\xC3\xA9\xFF"}), plain("caf\xC3\xA9\xFF")},
      {scan_line({.signal = "abc"}), plain("Home", "802.11bgn", "2.4GHz", "0")},
      {scan_line({.signal = "100"}), plain("Home", "802.11bgn", "2.4GHz", "100")},
  };
  for (const auto& [line, fields] : rows) {
    site_survey_entry entry{};
    const bool listed = parse_scan_line(line, entry);
    EXPECT_EQ(listed
                  ? std::string{entry.ssid} + "|" + entry.network_type + "|" + entry.mode + "|" + entry.band +
                        "|" + std::to_string(entry.signal) + "|" + std::to_string(entry.security_enabled) +
                        "|" + entry.security_type + "|" + entry.encryption
                  : "",
              fields)
        << line;
  }
}

// The line's end may cut any column: what is missing is empty, and nothing behind the end is read.
TEST(ScanLine, MayEndInAnyColumn) {
  const std::string line = scan_line({});
  for (std::size_t length = 0; length <= line.size(); ++length) {
    const std::string exact = line.substr(0, length);
    site_survey_entry entry{};
    const bool listed = parse_scan_line(exact, entry);
    EXPECT_EQ(listed, length >= 60 + std::string_view{"WPA2PSK/AES"}.size()) << length;
    EXPECT_EQ(entry.signal, length <= 83 ? 0 : length == 84 ? 7 : 70) << length;
  }
}

TEST_F(Survey, ReadsReports) {
  const std::string header = kScanHeader, home = scan_line({}), b = scan_line({.ssid = "b"}) + "\n";
  const struct {
    const char* name;
    std::string report;
    int count;
    std::string names;
  } rows[] = {
      {"149 bytes", std::string(149, '\n'), -1, ""},
      {"150 bytes", std::string(150, '\n'), 0, ""},
      {"in their order", scan_report({{.ssid = "one"}, {.ssid = "two", .type = "Ad"}, {.ssid = "three"}}), 2,
       "one,three,"},
      {"no last line end", header + home, 1, "Home,"},
      {"short lines between", header + "\n \n" + home + "\n\nx\nxy\n" + b, 2, "Home,b,"},
      // Neither skip consumes an empty line, so no network is taken for a header.
      {"an empty first line", "\n" + home + "\n" + b, 2, "Home,b,"},
      {"blanks before a network go with the header", header + "  \t " + home + "\n", 1, "Home,"},
      {"header of 9000 bytes", std::string(9000, 'h') + "\nsecond\n" + home + "\n", 1, "Home,"},
      {"the end of a long line is none", header + std::string(7999, 'x') + home + "\n" + b, 1, "b,"},
      {"nul bytes", header + std::string(3, '\0') + "\n" + home + "\n", 1, "Home,"},
  };
  for (const auto& row : rows) {
    device.outputs[kScanCommand] = row.report;
    site_survey_list list;
    EXPECT_EQ(kd_hnap_repeater_get_networks(list), row.count) << row.name;
    std::string names;
    for (const site_survey_entry* entry = list.head; entry; entry = entry->next)
      names += entry->ssid + std::string{","};
    EXPECT_EQ(names, row.names) << row.name;
    kd_hnap_repeater_free_networks(list);
    EXPECT_TRUE(list.head == nullptr && list.count == 0);
  }
}

// Both are asked for again, together five times.
TEST_F(Survey, CountsReportsThatAreShortOrCannotBeOpened) {
  device.outputs[kScanCommand] = scan_report({{}});
  device.broken.insert("/tmp/scanList.txt");
  int scans = 0;
  device.steps["iwpriv ra0 get_site_survey > /tmp/scanList.txt"] = [&scans](Device& d) {
    if (++scans <= 3) d.files["/tmp/scanList.txt"] = "short";
    if (scans == 6) d.broken.clear();
  };
  site_survey_list list;
  EXPECT_EQ(kd_hnap_repeater_get_networks(list), 1);
  EXPECT_EQ(scans, 6);
  // A second report goes behind the first.
  EXPECT_EQ(kd_hnap_repeater_get_networks(list), 2);
  EXPECT_STREQ(list.head->next->ssid, "Home");
  kd_hnap_repeater_free_networks(list);
}

// A list's last entry is kept, and serves the next list: no more than one is ever kept.
TEST_F(Survey, KeepsOneEntry) {
  const std::string one = kScanHeader + scan_line({}) + "\n";
  for (const std::string& report : {one, one + one, std::string{kScanHeader}, one + one + one, one}) {
    device.outputs[kScanCommand] = report;
    ask(soap("GetWirelessNetworks"));
    EXPECT_LE(heap.given_up(), 1U);
    EXPECT_EQ(heap.leaks(), "");
  }
}

const Effects kScan = {"run iwpriv ra0 get_site_survey > /tmp/scanList.txt"};
ActionRow row(const char* name, const char* action, std::string reply, const std::string& report,
              std::size_t scans = 1, const char* asked_in = kCore) {
  return {.name = name,
          .action = action,
          .reply = std::move(reply),
          .changes = Effects(scans, kScan.front()),
          .prepare = prints(kScanCommand, report),
          .asked_in = asked_in,
          .reads = true};
}
std::string network(const std::string& ssid, const char* band = nullptr) {
  return (band ? "WirelessNetwork2{SSID=" : "WirelessNetwork{SSID=") + ssid +
         "|NetworkType=INFRASTRUCTURE|Mode=802.11bgn" + (band ? std::string{"|Band="} + band : "") +
         "|SignalStrength=70|SecurityEnabled=true|SecurityType=WPA2-PSK|Encryption=AES}";
}
std::string many(const std::string& text, const std::string& separator) {
  std::string all;
  for (int i = 0; i < 64; ++i) all += (i ? separator : "") + text;
  return all;
}
const ActionRow kRows[] = {
    row("escaped where needed, in the report's order", "GetWirelessNetworks",
        "OK|WirelessNetworkList{" + network("A&amp;B &lt;1&gt;") +
            "|WirelessNetwork{SSID=Plain|NetworkType=INFRASTRUCTURE|Mode=802.11bgn|SignalStrength=5"
            "|SecurityEnabled=false|SecurityType=|Encryption=}}",
        scan_report({{.ssid = "A&B <1>"}, {.ssid = "Plain", .security = "NONE", .signal = "5"}})),
    row("no report", "GetWirelessNetworks", "ERROR", "", 6),
    row("nothing to be seen, in the extender's namespace", "GetWirelessNetworks", "OK|WirelessNetworkList{}",
        kScanHeader, 1, kExtenderB),
    row("64 networks", "GetWirelessNetworks", "OK|WirelessNetworkList{" + many(network("Home"), "|") + "}",
        kScanHeader + many(scan_line({}), "\n")),
    row("each with its band", "GetWirelessNetworks2",
        "OK|WirelessNetworkList{" + network("Low", "2.4GHz") + "|" + network("High", "5GHz") + "}",
        scan_report({{.ssid = "Low"}, {.channel = 36, .ssid = "High"}})),
    row("no report", "GetWirelessNetworks2", "ERROR", "", 6),
};
const bool kAdded = add_rows("WirelessNetworks", kRows);

}  // namespace
}  // namespace kd::test
