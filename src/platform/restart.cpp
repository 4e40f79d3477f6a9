#include "platform/restart.hpp"

#include <csignal>

#include "base/text.hpp"
#include "platform/markers.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "platform/shell.hpp"
#include "platform/upstream_target.hpp"

namespace kd {

void restart_device() {
  os::run_all({"killall -9 kd_vb_upnpd", "kd_vb_upnpd&"});
  os::sleep(1);
  os::system("killall -9 kd_vb_upnpd");
  os::kill(1, SIGTERM);
}

void reboot_device() {
  console_printf("Reboot by HNAP\n");
  os::system("reboot");
}

void kd_hnap_reset_device() {
  const int daemon = kd_get_process_pid("nvram_daemon");
  if (daemon > 0) os::kill(daemon, SIGUSR2);
  os::sleep(5);
}

void reload_network() {
  console_printf("Reload by HNAP\n");
  kill_daemon();
  os::system("internet.sh");
}

void kill_daemon() {
  os::system(
      "killall kd_wps_led;killall -9 kelda_nmbd;kill -9 `cat /var/run/kd_rp_autochannel.pid`;"
      "kill -9 `cat /var/run/kd_wps_auto_pin.pid`");
}

void stop_daemons_for_upgrade() {
  os::run_all({"killall -9 mdnspr", "killall -9 udhcpc", "killall -9 kd_rp_autochannel",
               "killall -9 wscd; sleep 2", "killall -9 wpsctl", "killall -9 kd_red", "killall -9 kd_wps_led",
               "killall -9 kd_wps_auto_pin",
               "rm /lib/modules/2.6.36-svn*/kernel/drivers/net/wireless/RTPCI_ap/RTPCI_ap.ko"});
}

void reload_wireless(const char* caller) {
  kill_daemon();
  os::run_all({"echo reload > /tmp/WLAN_reload", "kill -9 `cat /var/run/kd_rp_autochannel.pid`",
               "rm /var/run/kd_rp_autochannel.pid", "killall -9 kd_vb_upnpd"});
  os::sleep(1);
  kd_update_settings_by_site_survey();
  console_printf("%s, %d, Turn off wireless radio...\n", caller, __LINE__);
  os::system("iwpriv ra0 set RadioOn=0");
  forget_last_choice();
  os::sleep(1);
  kd_hnap_commit_config();
  mark_wireless_reload();
  console_printf("Reload WLAN by HNAP\n");
  // The access point goes down before the repeater client and comes up behind it.
  os::run_all({
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
  });
  if (view_of(nvram_text("WscModeOption").get()) == "7") doSystem("iwpriv ra0 set WscConfMode=%d", 7);
}

}  // namespace kd
