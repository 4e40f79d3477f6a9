// What happens when a connection closes.
#include "module/mod_kd_hnap.hpp"
#include "support/cases.hpp"
#include "support/radio_reports.hpp"
#include "support/wireless_choice.hpp"

namespace kd::test {
namespace {

const std::string kMarkerGone = "run rm -f /tmp/postponeSiteSurvey";
const std::string kKill =
    "run killall kd_wps_led;killall -9 kelda_nmbd;kill -9 `cat /var/run/kd_rp_autochannel.pid`;kill -9 `cat "
    "/var/run/kd_wps_auto_pin.pid`";

class CloseTest : public DeviceTest {
 protected:
  std::vector<std::string> close(int action, connection_uri uri = connection_uri::hnap) {
    hnap_connection_close_callback(action, uri);
    return effects();
  }
};

TEST_F(CloseTest, DoesWhatTheCodeSays) {
  using Effects = std::vector<std::string>;
  EXPECT_EQ(close(0), Effects{kMarkerGone});
  EXPECT_EQ(close(4), Effects{kMarkerGone});
  EXPECT_EQ(close(-1), Effects{kMarkerGone});
  EXPECT_EQ(close(1), (Effects{"console Reboot by HNAP\n", "run reboot", kMarkerGone}));
  EXPECT_EQ(close(2), (Effects{"console Reload by HNAP\n", kKill, "run internet.sh", kMarkerGone}));
}

TEST_F(CloseTest, JudgesTheUri) {
  device.files["/tmp/postponeSiteSurvey"] = "1\n";
  for (const char* uri : {"", "/", "/hnap1/", "/HNA/P"}) {
    for (int action = 0; action <= 3; ++action) EXPECT_TRUE(close(action, classify_uri(uri)).empty()) << uri;
  }
  EXPECT_EQ(device.files.count("/tmp/postponeSiteSurvey"), 1U);
  EXPECT_EQ(close(0, classify_uri("/x?HNAPExt")), std::vector<std::string>{kMarkerGone});
  EXPECT_EQ(close(0, classify_uri(std::nullopt)), std::vector<std::string>{kMarkerGone});
}

// The source line of the one message that names it.
std::string without_line_number(std::string text) {
  const std::size_t at = text.find("hnap_connection_close_callback, ");
  if (at == std::string::npos) return text;
  const std::size_t digits = at + std::string_view{"hnap_connection_close_callback, "}.size();
  const std::size_t end = text.find_first_not_of("0123456789", digits);
  return end > digits ? text.replace(digits, end - digits, "LINE") : text;
}

// The whole way of a choice: stored by the request, in force when its connection has closed.
TEST_F(CloseTest, ReloadsTheRadioInOrder) {
  device.set("WscModeOption", "7");
  device.outputs[kScanCommand] = scan_report({{.ssid = "Den", .extension = "ABOVE"}});
  host::Request request = soap_request("SetWirelessClientSettings", choice("", "", "", "false"));
  send(request);
  EXPECT_EQ(reply_value(request.reply, "SetWirelessClientSettingsResult"), "REBOOT");
  for (const std::string& line : effects()) {
    EXPECT_FALSE(line.starts_with("nvram commit") || line.starts_with("sleep")) << line;
  }
  hnap_connection_close_callback(request.action, classify_uri(request.uri));
  std::vector<std::string> all = effects();
  for (std::string& line : all) line = without_line_number(line);
  const std::vector<std::string> expected = {
      kKill,
      "run echo reload > /tmp/WLAN_reload",
      "run kill -9 `cat /var/run/kd_rp_autochannel.pid`",
      "run rm /var/run/kd_rp_autochannel.pid",
      "run killall -9 kd_vb_upnpd",
      "sleep 1",
      "run iwpriv ra0 get_site_survey > /tmp/scanList.txt",
      "open /tmp/scanList.txt r",
      "run iwpriv ra0 set HtExtcha=1",
      "nvram set HT_EXTCHA=1",
      "run echo 1 > /tmp/targetApFound",
      "nvram set Channel=6",
      "nvram set ApCliBssid=02:00:00:00:00:01",
      "console Configure Channel to 6 and ApCliBssid to 02:00:00:00:00:01\n",
      "run rm -rf /tmp/scanList.txt",
      "console hnap_connection_close_callback, LINE, Turn off wireless radio...\n",
      "run iwpriv ra0 set RadioOn=0",
      "run nvram_set 2860 LastSetWirelessClientResult 0",
      "sleep 1",
      "nvram commit 0",
      "access /tmp/SetWirelessClientSettings",
      "run echo 1 > /tmp/SetWirelessClientSettings",
      "console Reload WLAN by HNAP\n",
      "run ifconfig ra0 down",
      "run ifconfig apcli0 down",
      "run ralink_init make_wireless_config rt2860",
      "run ifconfig apcli0 up",
      "run ifconfig ra0 up",
      "run kd_rp_autochannel 30 30&",
      "run kd_wps_led&",
      "run echo $(ps |grep -i kd_wps_led | grep -iv grep | awk '{print $1}') > /var/run/kd_wps_led.pid",
      "run kelda_nmbd.sh",
      "run kd_wps_auto_pin&",
      "run echo $(ps |grep -i kd_wps_auto_pin | grep -iv grep | awk '{print $1}') > "
      "/var/run/kd_wps_auto_pin.pid",
      "run gpio l 31 4000 0 1 0 4000;rm -rf /var/wps_led_previous_off;echo 1 > /var/wps_led_previous_on",
      "console iwpriv ra0 set WscConfMode=7\n",
      "run iwpriv ra0 set WscConfMode=7",
      kMarkerGone};
  EXPECT_EQ(all, expected);
  EXPECT_EQ(device.store["ApCliSsid"], "Den");
  EXPECT_EQ(device.store["ApCliBssid"], "02:00:00:00:00:01");
  EXPECT_EQ(device.store["LastSetWirelessClientResult"], "0");
}

TEST_F(CloseTest, CountsReloadsUpToTwo) {
  for (const char* mark : {"1\n", "2\n", "2\n"}) {
    close(kReloadWirelessAtClose);
    EXPECT_EQ(device.files["/tmp/SetWirelessClientSettings"], mark);
  }
}

TEST_F(CloseTest, SetsNoPinModeUnlessTheOptionIsSeven) {
  for (const char* option : {"", "0", "77", "07"}) {
    device.set("WscModeOption", option);
    const std::vector<std::string> all = close(kReloadWirelessAtClose);
    EXPECT_EQ(all[all.size() - 2].find("run gpio"), 0U) << option;
  }
}

}  // namespace
}  // namespace kd::test
