// FirmwareUpload, GetFirmwareSettings.
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "base/flags.hpp"
#include "firmware/upgrade.hpp"
#include "platform/identity.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

// Makes room for the image: nothing but the web server is needed from here on. What is stopped comes back
// with the next start only.
void stop_daemons() {
  for (const char* command :
       {"killall -9 mdnspr", "killall -9 udhcpc", "killall -9 kd_rp_autochannel", "killall -9 wscd; sleep 2",
        "killall -9 wpsctl", "killall -9 kd_red", "killall -9 kd_wps_led", "killall -9 kd_wps_auto_pin",
        "rm /lib/modules/2.6.36-svn*/kernel/drivers/net/wireless/RTPCI_ap/RTPCI_ap.ko"}) {
    os::system(command);
  }
}

bool upgrade(hnap_request& request) {
  if (flags.isFirmwareSizeTooLarge) return false;  // the body was not even read
  stop_daemons();
  return kd_hnap_firmware_upgrade(request) == 0;
}

}  // namespace

reply_text firmware_upload(hnap_request& request, const xml_element*) {
  // The device first, the reply afterwards: once the flash is written the restart follows in any case.
  const bool upgraded = upgrade(request);
  if (upgraded) {
    flags.hnap_reboot_flag = true;
  } else {
    kd_hnap_printf(&request, kModuleSource, __LINE__, "Firmware upgrade fail, abort...");
    os::system("rm -f /tmp/postponeSiteSurvey");
  }
  Reply reply{"FirmwareUpload", Namespace::core};
  reply.result(upgraded ? "REBOOT" : "ERROR");
  return reply.finish();
}

reply_text get_firmware_settings(hnap_request& request, const xml_element*) {
  kd_hnap_printf(&request, kModuleSource, __LINE__, "%s", "get_firmware_settings");
  Reply reply{"GetFirmwareSettings", Namespace::core};
  reply.result("OK");
  constexpr struct {
    const char* element;
    config_index index;
  } kIdentity[] = {{"VendorName", kVendorName}, {"ModelName", kModelName}, {"ModelRevision", kModelRevision}};
  for (const auto& [element, index] : kIdentity) {
    config_value value{};
    kd_hnap_get_config(&request, index, value);
    reply.leaf(element, value);
  }
  version_field version{}, date{};
  kd_hnap_get_frimware_version_date(&request, version, date);
  reply.leaf("FirmwareVersion", version);
  reply.leaf("FirmwareDate", date);
  reply.open("UpdateMethods");
  reply.leaf("string", "HNAP_UPLOAD");
  return reply.finish();
}

}  // namespace kd
