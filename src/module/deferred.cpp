#include "module/mod_kd_hnap.hpp"
#include "platform/console.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

void kill_daemon() {
  os::system(
      "killall kd_wps_led;killall -9 kelda_nmbd;kill -9 `cat /var/run/kd_rp_autochannel.pid`;"
      "kill -9 `cat /var/run/kd_wps_auto_pin.pid`");
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
    default:
      break;
  }
  os::system("rm -f /tmp/postponeSiteSurvey");
}

}  // namespace kd
