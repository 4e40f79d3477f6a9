// Finding the chosen network again.
#include "platform/repeater_settings.hpp"

#include "base/text.hpp"
#include "support/cases.hpp"
#include "support/radio_reports.hpp"
#include "support/wireless_choice.hpp"

namespace kd::test {
namespace {

struct LineRow {
  const char* name;
  std::string line, ssid, band;
  std::string target;  // channel, BSSID, extension; empty: not the one
};

std::string extended(const std::string& extension, int channel = 36) {
  return scan_line({.channel = channel, .extension = extension});
}
const std::string kBssid = "02:00:00:00:00:01";

const LineRow kLines[] = {
    {"by name", scan_line({.extension = "ABOVE"}), "Home", "", "6 " + kBssid + " above"},
    {"another name", scan_line({}), "House", "", ""},
    {"anywhere in the line", scan_line({}), "WPA2PSK", "", "6 " + kBssid + " above"},
    {"2.4 on 14", scan_line({.channel = 14}), "Home", "2.4", "14 " + kBssid + " above"},
    {"2.4 on 15", scan_line({.channel = 15}), "Home", "2.4", ""},
    {"5 on 15", scan_line({.channel = 15}), "Home", "5", "15 " + kBssid + " above"},
    {"5 on 14", scan_line({.channel = 14}), "Home", "5", ""},
    {"another band text is either", scan_line({.channel = 14}), "Home", "5GHz", "14 " + kBssid + " above"},
    {"hidden", scan_line({.length = "00"}), "Home", "", ""},
    {"ad hoc and enterprise count here", scan_line({.security = "WPA2/AES", .type = "Ad"}), "Home", "",
     "6 " + kBssid + " above"},
    {"below", extended("BELOW"), "Home", "", "36 " + kBssid + " below"},
    {"none on a lower channel", extended("NONE", 44), "Home", "", "44 " + kBssid + " above"},
    {"none on an upper channel", extended("NONE", 48), "Home", "", "48 " + kBssid + " below"},
    {"none on 161", extended("NONE", 161), "Home", "", "161 " + kBssid + " below"},
    {"above wins over the channel", extended("ABOVE", 48), "Home", "", "48 " + kBssid + " above"},
    {"unknown extension", extended("LEFT"), "Home", "", "36 " + kBssid + " -"},
    {"ends in the BSSID", scan_line({}).substr(0, 56), "Home", "", ""},
    {"ends behind the BSSID", scan_line({}).substr(0, 57), "Home", "", "6 " + kBssid + " -"},
    {"ends in the extension", extended("ABOVE").substr(0, 104), "Home", "", "36 " + kBssid + " -"},
    {"ends behind the extension", extended("ABOVE").substr(0, 105), "Home", "", "36 " + kBssid + " above"},
};
TEST(TargetLine, IsTheChosenNetwork) {
  for (const LineRow& row : kLines) {
    SCOPED_TRACE(row.name);
    upstream_target target{};
    const bool found = match_target_line(row.line, row.ssid, row.band, target);
    const char* extensions[] = {" -", " below", " above"};
    EXPECT_EQ(found ? std::to_string(target.channel) + " " + target.bssid + extensions[target.extension] : "",
              row.target);
  }
}

TEST_F(DeviceTest, LeavesTheSecurityOfAnUnknownType) {
  hnap_request request;
  repeater_settings settings{};
  settings.security_enabled = 1;
  copy_text(settings.security_type, "WPA9");
  kd_hnap_set_repeater_settings(request, settings);
  EXPECT_EQ(device.changes(),
            stored({"SSID1=", "ApCliSsid=", "HNAPConfiguredBand=", "ApCliEnable=1", "WscConfigured=1"}));
}

class PinTest : public DeviceTest {
 protected:
  const std::string scan = "run iwpriv ra0 get_site_survey > /tmp/scanList.txt";
  const std::string gone = "run rm -rf /tmp/scanList.txt";

  std::vector<std::string> pin() {
    kd_update_settings_by_site_survey();
    return std::exchange(device.journal, {});
  }
  std::vector<std::string> changes() {
    kd_update_settings_by_site_survey();
    const std::vector<std::string> all = device.changes();
    device.journal.clear();
    return all;
  }
};

TEST_F(PinTest, StoresChannelExtensionAndBssid) {
  device.set("ApCliSsid", "Home");
  device.set("HNAPConfiguredBand", "5");
  device.outputs[kScanCommand] =
      scan_report({{}, {.channel = 44, .extension = "BELOW", .bssid = "02:00:00:00:00:02"}, {.channel = 48}});
  EXPECT_EQ(pin(),
            (std::vector<std::string>{
                scan, "open /tmp/scanList.txt r", "run iwpriv ra0 set HtExtcha=0",
                "nvram set HT_EXTCHA=0", "run echo 1 > /tmp/targetApFound", "nvram set Channel=44",
                "nvram set ApCliBssid=02:00:00:00:00:02",
                "console Configure Channel to 44 and ApCliBssid to 02:00:00:00:00:02\n", gone}));
  EXPECT_EQ(device.files["/tmp/targetApFound"], "1\n");
}

TEST_F(PinTest, LeavesTheExtensionThatItDoesNotKnow) {
  device.set("ApCliSsid", "Home");
  device.outputs[kScanCommand] = scan_report({{.extension = "LEFT"}});
  for (const std::string& effect : pin()) {
    EXPECT_EQ(effect.find("HT_EXTCHA"), std::string::npos) << effect;
    EXPECT_EQ(effect.find("HtExtcha"), std::string::npos) << effect;
  }
  EXPECT_EQ(device.files["/tmp/targetApFound"], "1\n");
}

TEST_F(PinTest, ChangesNothingWithoutTheNetwork) {
  device.outputs[kScanCommand] = scan_report({{.ssid = "Other"}});
  EXPECT_EQ(changes(), (std::vector<std::string>{scan, gone})) << "no name stored";
  device.set("ApCliSsid", "Home");
  EXPECT_EQ(changes(), (std::vector<std::string>{scan, gone}));
  EXPECT_EQ(device.files.count("/tmp/scanList.txt"), 0U);
}

TEST_F(PinTest, TellsTheConsoleOfEachRetry) {
  device.set("ApCliSsid", "Home");
  std::vector<std::string> expected = {scan};
  for (const char* number : {"1", "2", "3", "4", "5"}) {
    expected.push_back("console get scan result failed, retry " + std::string{number});
    expected.push_back(scan);
  }
  expected.push_back(gone);
  EXPECT_EQ(changes(), expected);
}

}  // namespace
}  // namespace kd::test
