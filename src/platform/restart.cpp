#include "platform/restart.hpp"

#include <csignal>

#include "platform/console.hpp"
#include "platform/os.hpp"
#include "platform/process.hpp"

namespace kd {

void restart_device() {
  os::system("killall -9 kd_vb_upnpd");
  os::system("kd_vb_upnpd&");
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

}  // namespace kd
