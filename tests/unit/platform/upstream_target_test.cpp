// Finding the chosen network in the air, and pinning the radio to it.
#include "platform/upstream_target.hpp"

#include "support/fixture.hpp"
#include "support/radio_reports.hpp"

namespace kd::test::upstream_target {

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
  check("an extension that nobody knows", scan_report({{.extension = "LEFT"}}), pinned("6", first));
  device.outputs.clear();
  device.statuses["rm -rf /tmp/scanList.txt"] = 256;
  EXPECT_EQ(kd_update_settings_by_site_survey(), 256);
  const Effects tries = changes();
  EXPECT_EQ(count(tries, kScan), 6);
  EXPECT_EQ(count(tries, "console get scan result failed, retry "), 5);
  EXPECT_EQ(tries[9], "console get scan result failed, retry 5");
}

}  // namespace kd::test::upstream_target
