#include "module/mod_kd_hnap.hpp"
#include "nvram.h"
#include "platform/console.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "platform/repeater_settings.hpp"
#include "platform/shell.hpp"

namespace kd {
namespace {

void kill_daemon() {
  os::system(
      "killall kd_wps_led;killall -9 kelda_nmbd;kill -9 `cat /var/run/kd_rp_autochannel.pid`;"
      "kill -9 `cat /var/run/kd_wps_auto_pin.pid`");
}

template <std::size_t N>
void run_all(const char* const (&commands)[N]) {
  for (const char* command : commands) os::system(command);
}

// Tells the rest of the system whether this is the first choice of a network since the device started.
void mark_reload() {
  os::system(os::exists("/tmp/SetWirelessClientSettings") ? "echo 2 > /tmp/SetWirelessClientSettings"
                                                          : "echo 1 > /tmp/SetWirelessClientSettings");
}

// The access point goes down before the repeater client and comes up behind it.
constexpr const char* kRestartRadio[] = {
    "ifconfig ra0 down",
    "ifconfig apcli0 down",
    "ralink_init make_wireless_config rt2860",
    "ifconfig apcli0 up",
    "ifconfig ra0 up",
    "kd_rp_autochannel 30 30&",
    "kd_wps_led&",
    "echo $(ps |grep -i kd_wps_led | grep -iv grep | awk '{print $1}') > /var/run/kd_wps_led.pid",
    "kelda_nmbd.sh",
    "kd_wps_auto_pin&",
    "echo $(ps |grep -i kd_wps_auto_pin | grep -iv grep | awk '{print $1}') > /var/run/kd_wps_auto_pin.pid",
    "gpio l 31 4000 0 1 0 4000;rm -rf /var/wps_led_previous_off;echo 1 > /var/wps_led_previous_on",
};

// Takes 2 seconds and the commands' own time. `caller` is named on the console.
void reload_wireless(const char* caller) {
  kill_daemon();
  os::system("echo reload > /tmp/WLAN_reload");
  os::system("kill -9 `cat /var/run/kd_rp_autochannel.pid`");
  os::system("rm /var/run/kd_rp_autochannel.pid");
  os::system("killall -9 kd_vb_upnpd");
  os::sleep(1);
  kd_update_settings_by_site_survey();
  console_printf("%s, %d, Turn off wireless radio...\n", caller, __LINE__);
  os::system("iwpriv ra0 set RadioOn=0");
  os::system("nvram_set 2860 LastSetWirelessClientResult 0");
  os::sleep(1);
  nvram_commit(0);
  mark_reload();
  console_printf("Reload WLAN by HNAP\n");
  run_all(kRestartRadio);
  const heap_text wsc_mode = nvram_text("WscModeOption");
  if (view_of(wsc_mode.get()) == "7") doSystem("iwpriv ra0 set WscConfMode=%d", 7);
}

}  // namespace

void hnap_connection_close_callback(int hnap_action, connection_uri uri) {
  // A connection that never named a URI goes on: the marker may be its own.
  if (uri == connection_uri::other) return;
  switch (hnap_action) {
    case kRebootAtClose:
      console_printf("Reboot by HNAP\n");
      os::system("reboot");
      break;
    case kReloadNetworkAtClose:
      console_printf("Reload by HNAP\n");
      kill_daemon();
      os::system("internet.sh");
      break;
    case kReloadWirelessAtClose:
      reload_wireless(__func__);
      break;
    default:
      break;
  }
  os::system("rm -f /tmp/postponeSiteSurvey");
}

}  // namespace kd
