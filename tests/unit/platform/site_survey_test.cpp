// The scan report, the list of networks, GetWirelessNetworks with its variant for the band, and how the radio
// is pinned to the chosen network.
#include "platform/site_survey.hpp"

#include "platform/upstream_target.hpp"
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
      // Neither skip consumes an empty line, so no network is taken for a header.
      {"an empty first line", "\n" + home + "\n" + b, 2, "Home,b,"},
      {"two lines go, whatever they hold", std::string(150, 'h') + "\n" + home + "\n" + b, 1, "b,"},
      {"header of 9000 bytes", std::string(9000, 'h') + "\nsecond\n" + home + "\n", 1, "Home,"},
      {"the end of a long line is none", header + std::string(7999, 'x') + home + "\n" + b, 1, "b,"},
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
    row("with its band", "GetWirelessNetworks2",
        "OK|WirelessNetworkList{WirelessNetwork2{SSID=High|NetworkType=INFRASTRUCTURE|Mode=802.11bgn"
        "|Band=5GHz|SignalStrength=70|SecurityEnabled=true|SecurityType=WPA2-PSK|Encryption=AES}}",
        scan_report({{.channel = 36, .ssid = "High"}})),
};
const bool kAdded = add_rows("WirelessNetworks", kRows);

// Channel and extension channel of the chosen network; empty when the line is not the one.
std::string target_in(const std::string& line, const char* ssid = "Home", const char* band = "") {
  UpstreamTarget target{};
  if (!match_target_line(line, ssid, band, target)) return "";
  EXPECT_STREQ(target.bssid, "02:00:00:00:00:01");
  const char* extensions[] = {"", " below", " above"};
  return std::to_string(target.channel) + extensions[target.extension];
}
std::string on(int channel, const std::string& extension = "NONE") {
  return scan_line({.channel = channel, .extension = extension});
}

TEST(TargetLine, IsTheChosenNetwork) {
  EXPECT_EQ(target_in(on(6), "House"), "");
  EXPECT_EQ(target_in(on(6), "WPA2PSK"), "6 above") << "anywhere in the line";
  expect_each(
      [](const char* band) {
        return target_in(on(14), "Home", band) + "|" + target_in(on(15), "Home", band);
      },
      "2.4", "14 above|", "5", "|15 above", "5GHz", "14 above|15 above");
  expect_each([](const std::string& line) { return target_in(line); }, scan_line({.length = "00"}), "",
              scan_line({.security = "WPA2/AES", .type = "Ad"}), "6 above", on(36, "BELOW"), "36 below",
              on(48, "ABOVE"), "48 above", on(36, "LEFT"), "36", on(6).substr(0, 56), "", on(6).substr(0, 57),
              "6", on(36, "ABOVE").substr(0, 104), "36", on(36, "ABOVE").substr(0, 105), "36 above");
  std::string upper;
  for (int channel = 1; channel <= 165; ++channel) {
    if (target_in(on(channel)).ends_with("below")) upper += std::to_string(channel) + " ";
  }
  EXPECT_EQ(upper, "40 48 56 64 104 112 120 128 136 140 153 161 ");
}

using Target = DeviceTest;

const std::string kScan = "run iwpriv ra0 get_site_survey > /tmp/scanList.txt",
                  kGone = "run rm -rf /tmp/scanList.txt";

Effects pinned(const std::string& channel, const std::string& bssid) {
  return {"run echo 1 > /tmp/targetApFound", "nvram set Channel=" + channel, "nvram set ApCliBssid=" + bssid,
          "console Configure Channel to " + channel + " and ApCliBssid to " + bssid + "\n"};
}

TEST_F(Target, IsPinned) {
  const std::string first = "02:00:00:00:00:01", second = "02:00:00:00:00:02";
  const Effects above = {"run iwpriv ra0 set HtExtcha=1", "nvram set HT_EXTCHA=1"},
                below = {"run iwpriv ra0 set HtExtcha=0", "nvram set HT_EXTCHA=0"};
  const auto check = [&](const char* name, const std::string& report, const Effects& done) {
    device.outputs[kScanCommand] = report;
    EXPECT_EQ(kd_update_settings_by_site_survey(), 0);
    EXPECT_EQ(changes(), Effects{kScan} + done + Effects{kGone}) << name;
  };
  check("no name stored", scan_report({{}}), {});
  has_stored({{"ApCliSsid", "Home"}, {"HNAPConfiguredBand", "5"}})(device);
  check("not there", scan_report({{.channel = 36, .ssid = "Other"}}), {});
  check("the first that fits",
        scan_report({{}, {.channel = 44, .extension = "BELOW", .bssid = second}, {.channel = 48}}),
        below + pinned("44", second));
  has_stored({{"ApCliSsid", ""}, {"HNAPConfiguredBand", ""}})(device);
  check("any network", kScanHeader + std::string(5000, 'x') + "\n" + on(1), above + pinned("1", first));
  device.outputs.clear();
  device.statuses["rm -rf /tmp/scanList.txt"] = 256;
  EXPECT_EQ(kd_update_settings_by_site_survey(), 256);
  const Effects tries = changes();
  EXPECT_EQ(count(tries, kScan), 6);
  EXPECT_EQ(count(tries, "console get scan result failed, retry "), 5);
  EXPECT_EQ(tries[9], "console get scan result failed, retry 5");
}

}  // namespace kd::test::site_survey
