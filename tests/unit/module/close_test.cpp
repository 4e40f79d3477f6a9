// What happens when a connection closes.
#include "module/mod_kd_hnap.hpp"
#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test::close {

using Close = DeviceTest;

const std::string kKill =
    "run killall kd_wps_led;killall -9 kelda_nmbd;kill -9 `cat /var/run/kd_rp_autochannel.pid`;kill -9 `cat "
    "/var/run/kd_wps_auto_pin.pid`";

TEST_F(Close, DoesWhatTheRequestLeft) {
  const struct {
    DeferredAction action;
    Effects done;
  } rows[] = {
      {DeferredAction::none, {kMarkerGone}},
      {DeferredAction::reboot, {"console Reboot by HNAP\n", "run reboot", kMarkerGone}},
      {DeferredAction::reload_network, {"console Reload by HNAP\n", kKill, "run internet.sh", kMarkerGone}},
  };
  for (const auto& row : rows) {
    for (const char* uri : {"", "/", "/hnap1/", "/HNA/P"}) {
      hnap_connection_close_callback(row.action, classify_uri(uri));
      EXPECT_EQ(effects(), Effects{}) << uri;
    }
    hnap_connection_close_callback(row.action, classify_uri("/x?HNAPExt"));
    EXPECT_EQ(effects(), row.done);
    hnap_connection_close_callback(row.action, classify_uri(std::nullopt));
    EXPECT_EQ(effects(), row.done);
  }
}

Request choice() {
  return soap("SetWirelessClientSettings",
              "SSID=Den|NetworkType=INFRASTRUCTURE|SecurityEnabled=false|SecurityType=|Encryption=|Key=");
}

// The whole way of a choice: stored by the request, in force when its connection has closed.
TEST_F(Close, ReloadsTheRadioInOrder) {
  device.set("WscModeOption", "7");
  device.store["LastSetWirelessClientResult"] = "1";
  device.outputs[kScanCommand] = scan_report({{.ssid = "Den", .extension = "ABOVE"}});
  server.receive(choice());
  for (const std::string& line : effects()) {
    EXPECT_FALSE(line.starts_with("nvram commit") || line.starts_with("sleep")) << line;
  }
  server.finish();
  Effects all = effects();
  for (std::string& line : all) {
    // The source line of the one message that names it.
    const auto number = between(line, "hnap_connection_close_callback, ", ", Turn off");
    if (number) line.erase(line.find(*number), number->size());
  }
  const Effects expected = lines(
      kKill, "run echo reload > /tmp/WLAN_reload", "run kill -9 `cat /var/run/kd_rp_autochannel.pid`",
      "run rm /var/run/kd_rp_autochannel.pid", "run killall -9 kd_vb_upnpd", "sleep 1",
      "run iwpriv ra0 get_site_survey > /tmp/scanList.txt", "open /tmp/scanList.txt r",
      "run iwpriv ra0 set HtExtcha=1", "nvram set HT_EXTCHA=1", "run echo 1 > /tmp/targetApFound",
      "nvram set Channel=6", "nvram set ApCliBssid=02:00:00:00:00:01",
      "console Configure Channel to 6 and ApCliBssid to 02:00:00:00:00:01\n", "run rm -rf /tmp/scanList.txt",
      "console hnap_connection_close_callback, , Turn off wireless radio...\n",
      "run iwpriv ra0 set RadioOn=0", "run nvram_set 2860 LastSetWirelessClientResult 0", "sleep 1",
      "nvram commit 0", "access /tmp/SetWirelessClientSettings",
      "run echo 1 > /tmp/SetWirelessClientSettings", "console Reload WLAN by HNAP\n", "run ifconfig ra0 down",
      "run ifconfig apcli0 down", "run ralink_init make_wireless_config rt2860", "run ifconfig apcli0 up",
      "run ifconfig ra0 up", "run kd_rp_autochannel 30 30&", "run kd_wps_led&",
      "run echo $(ps |grep -i kd_wps_led | grep -iv grep | awk '{print $1}') > /var/run/kd_wps_led.pid",
      "run kelda_nmbd.sh", "run kd_wps_auto_pin&",
      "run echo $(ps |grep -i kd_wps_auto_pin | grep -iv grep | awk '{print $1}') > "
      "/var/run/kd_wps_auto_pin.pid",
      "run gpio l 31 4000 0 1 0 4000;rm -rf /var/wps_led_previous_off;echo 1 > /var/wps_led_previous_on",
      "console iwpriv ra0 set WscConfMode=7\n", "run iwpriv ra0 set WscConfMode=7", kMarkerGone);
  EXPECT_EQ(all, expected);
  EXPECT_EQ(device.store["ApCliSsid"], "Den");
  EXPECT_EQ(device.store["ApCliBssid"], "02:00:00:00:00:01");
  EXPECT_EQ(device.store["LastSetWirelessClientResult"], "0");
}

// Another WPS mode is not the PIN's: none is set.
TEST_F(Close, CountsReloadsUpToTwo) {
  device.set("WscModeOption", "71");
  for (const char* mark : {"1\n", "2\n", "2\n"}) {
    ask(choice());
    EXPECT_EQ(device.files["/tmp/SetWirelessClientSettings"], mark);
    EXPECT_EQ(count(effects(), "run iwpriv ra0 set WscConfMode"), 0);
  }
}

}  // namespace kd::test::close
