// Finding the chosen network in the air, and what the choice stores.
#include "platform/upstream_target.hpp"

#include "base/text.hpp"
#include "platform/repeater_settings.hpp"
#include "support/fixture.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

using Target = DeviceTest;

std::string on(int channel, const std::string& extension = "NONE") {
  return scan_line({.channel = channel, .extension = extension});
}

TEST(TargetLine, IsTheChosenNetwork) {
  const struct {
    const char* name;
    std::string line, ssid, band;
    std::string target;  // channel and extension; empty: not the one
  } rows[] = {
      {"by name", on(6, "ABOVE"), "Home", "", "6 above"},
      {"another name", on(6), "House", "", ""},
      {"anywhere in the line", on(6), "WPA2PSK", "", "6 above"},
      {"2.4 on 14", on(14), "Home", "2.4", "14 above"},
      {"2.4 on 15", on(15), "Home", "2.4", ""},
      {"5 on 15", on(15), "Home", "5", "15 above"},
      {"5 on 14", on(14), "Home", "5", ""},
      {"another band text is either", on(14), "Home", "5GHz", "14 above"},
      {"hidden", scan_line({.length = "00"}), "Home", "", ""},
      {"ad hoc and enterprise count here", scan_line({.security = "WPA2/AES", .type = "Ad"}), "Home", "",
       "6 above"},
      {"below", on(36, "BELOW"), "Home", "", "36 below"},
      {"above wins over the channel", on(48, "ABOVE"), "Home", "", "48 above"},
      {"unknown extension", on(36, "LEFT"), "Home", "", "36 -"},
      {"ends in the BSSID", on(6).substr(0, 56), "Home", "", ""},
      {"ends behind the BSSID", on(6).substr(0, 57), "Home", "", "6 -"},
      {"ends in the extension", on(36, "ABOVE").substr(0, 104), "Home", "", "36 -"},
      {"ends behind the extension", on(36, "ABOVE").substr(0, 105), "Home", "", "36 above"},
  };
  for (const auto& row : rows) {
    UpstreamTarget target{};
    const bool found = match_target_line(row.line, row.ssid, row.band, target);
    const char* extensions[] = {" -", " below", " above"};
    EXPECT_EQ(found ? std::to_string(target.channel) + extensions[target.extension] : "", row.target)
        << row.name;
    EXPECT_STREQ(target.bssid, found ? "02:00:00:00:00:01" : "") << row.name;
  }
  std::string upper;
  for (int channel = 1; channel <= 165; ++channel) {
    UpstreamTarget target{};
    match_target_line(on(channel), "Home", "", target);
    if (target.extension == UpstreamTarget::below) upper += std::to_string(channel) + " ";
  }
  EXPECT_EQ(upper, "40 48 56 64 104 112 120 128 136 140 153 161 ");
}

constexpr const char* kScan = "run iwpriv ra0 get_site_survey > /tmp/scanList.txt";
constexpr const char* kGone = "run rm -rf /tmp/scanList.txt";

TEST_F(Target, PinsTheRadioToTheNetwork) {
  const std::string found = "run echo 1 > /tmp/targetApFound", second = "02:00:00:00:00:02";
  const auto set = [](const std::string& channel, const std::string& bssid) {
    return Effects{"nvram set Channel=" + channel, "nvram set ApCliBssid=" + bssid,
                   "console Configure Channel to " + channel + " and ApCliBssid to " + bssid + "\n"};
  };
  const struct {
    const char *name, *ssid, *band;  // stored
    std::string report;
    Effects extension, target;
  } rows[] = {
      {"no name stored", nullptr, "", scan_report({{}}), {}, {}},
      {"not there", "Home", "", scan_report({{.ssid = "Other"}}), {}, {}},
      {"the first that fits",
       "Home",
       "5",
       scan_report({{}, {.channel = 44, .extension = "BELOW", .bssid = second}, {.channel = 48}}),
       {"run iwpriv ra0 set HtExtcha=0", "nvram set HT_EXTCHA=0"},
       set("44", second)},
      {"an extension that nobody knows",
       "Home",
       "",
       scan_report({{.extension = "LEFT"}}),
       {},
       set("6", "02:00:00:00:00:01")},
      {"any network",
       "",
       "",
       kScanHeader + std::string(5000, 'x') + "\n" + on(1),
       {"run iwpriv ra0 set HtExtcha=1", "nvram set HT_EXTCHA=1"},
       set("1", "02:00:00:00:00:01")},
  };
  for (const auto& row : rows) {
    if (row.ssid) device.set("ApCliSsid", row.ssid);
    device.set("HNAPConfiguredBand", row.band);
    device.outputs[kScanCommand] = row.report;
    EXPECT_EQ(kd_update_settings_by_site_survey(), 0);
    Effects expected = {kScan};
    expected.insert(expected.end(), row.extension.begin(), row.extension.end());
    if (!row.target.empty()) expected.push_back(found);
    expected.insert(expected.end(), row.target.begin(), row.target.end());
    expected.push_back(kGone);
    EXPECT_EQ(changes(), expected) << row.name;
  }
  EXPECT_FALSE(device.files.contains("/tmp/scanList.txt"));
  device.statuses["rm -rf /tmp/scanList.txt"] = 256;
  EXPECT_EQ(kd_update_settings_by_site_survey(), 256);
}

TEST_F(Target, TellsTheConsoleOfEachRetry) {
  kd_update_settings_by_site_survey();
  Effects expected = {kScan};
  for (const char* number : {"1", "2", "3", "4", "5"}) {
    expected.insert(expected.end(), {"console get scan result failed, retry " + std::string{number}, kScan});
  }
  expected.push_back(kGone);
  EXPECT_EQ(changes(), expected);
}

TEST_F(Target, LeavesTheSecurityOfAnUnknownType) {
  repeater_settings settings{};
  settings.security_enabled = 1;
  copy_text(settings.security_type, "WPA9");
  kd_hnap_set_repeater_settings(settings);
  const Effects done = changes();
  EXPECT_EQ(Effects(done.end() - 5, done.end()),
            (Effects{"nvram set SSID1=", "nvram set ApCliSsid=", "nvram set HNAPConfiguredBand=",
                     "nvram set ApCliEnable=1", "nvram set WscConfigured=1"}));
}

}  // namespace
}  // namespace kd::test
