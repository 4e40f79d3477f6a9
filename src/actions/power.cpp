// IsDeviceReady, Reboot, RestoreFactoryDefaults.
#include <csignal>

#include "actions/kd_hnap_handler.hpp"
#include "base/flags.hpp"
#include "platform/os.hpp"
#include "platform/process.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

// Whether the device has finished starting; something else creates the marker.
bool kd_hnap_is_device_ready() {
  return os::File{os::fopen("/var/is_dev_ready", "r")} != nullptr;
}

// Asks the configuration daemon for the factory defaults, and gives it 5 seconds whether it runs or not.
void kd_hnap_reset_device() {
  const int daemon = kd_get_process_pid("nvram_daemon");
  if (daemon > 0) os::kill(daemon, SIGUSR2);
  os::sleep(5);
}

}  // namespace

reply_text is_device_ready(hnap_request&, const xml_element*) {
  Reply reply{"IsDeviceReady", Namespace::core};
  reply.result(kd_hnap_is_device_ready() ? "OK" : "ERROR");
  return reply.finish();
}

reply_text reboot_dev(hnap_request&, const xml_element*) {
  Reply reply{"Reboot", Namespace::core};
  reply.result("REBOOT");
  reply_text text = reply.finish();
  if (!flags.hnap_error_flag) flags.hnap_reboot_flag = true;
  return text;
}

reply_text restore_factory_defaults(hnap_request&, const xml_element*) {
  Reply reply{"RestoreFactoryDefaults", Namespace::core};
  reply.result("REBOOT");
  reply_text text = reply.finish();
  if (!flags.hnap_error_flag) kd_hnap_reset_device();
  return text;
}

}  // namespace kd
