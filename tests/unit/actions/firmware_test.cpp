// FirmwareUpload, GetFirmwareSettings. (What makes an image valid: firmware/upgrade_test.cpp.)
#include "mkfirmware/image_maker.hpp"
#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using mkfirmware::Flaw;

const std::string kImage = mkfirmware::make_image("the data of an image", {});
constexpr const char* kWriter = "/bin/mtd_write -o 0 -l 84 write /var/hnapUploadedFirmware Kernel&";

void has_flash(Device& device) {
  device.files["/proc/mtd"] = "mtd1: 00fb0000 00010000 \"Kernel\"\n";
  device.steps[kWriter] = [](Device& d) {
    d.files["/var/upgrade_progress"] = "50\n";
    d.at(d.seconds() + 4, has_file("/var/upgrade_progress", "100\n"));
  };
}

const Effects kShutDown{"run killall -9 mdnspr",
                        "run killall -9 udhcpc",
                        "run killall -9 kd_rp_autochannel",
                        "run killall -9 wscd; sleep 2",
                        "run killall -9 wpsctl",
                        "run killall -9 kd_red",
                        "run killall -9 kd_wps_led",
                        "run killall -9 kd_wps_auto_pin",
                        "run rm /lib/modules/2.6.36-svn*/kernel/drivers/net/wireless/RTPCI_ap/RTPCI_ap.ko"};
Effects after_shutdown(const Effects& rest) {
  Effects all = kShutDown;
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}
const Effects kFlashed = after_shutdown(
    {"write /var/hnapUploadedFirmware " + kImage, "run gpio l 6 5 5 132 0 1&", std::string{"run "} + kWriter,
     "sleep 2", "sleep 2", "sleep 2", "run killall -9 kd_vb_upnpd", "run kd_vb_upnpd&", "sleep 1",
     "run killall -9 kd_vb_upnpd", "kill 1 TERM"});

// The flash is written before the reply is made, and the device restarts whatever becomes of that.
ActionRow upload(const char* name, std::string arguments, const char* reply, Effects changes,
                 Device::Step prepare = has_flash) {
  return {.name = name,
          .action = "FirmwareUpload",
          .arguments = std::move(arguments),
          .reply = reply,
          .changes = std::move(changes),
          .prepare = std::move(prepare),
          .acts_first = true};
}
// The server's body around what an upload holds.
std::string flawed(Flaw flaw, std::size_t columns = 76) {
  return mkfirmware::make_upload(kImage, columns, flaw);
}

const std::string kText = "<Base64Image>" + mkfirmware::base64(kImage, 0), kEnd = "</Base64Image>";
const std::string kBad = mkfirmware::base64(mkfirmware::make_image("x", {"", 0x027216, Flaw::none}), 0);
const Effects kRefused = after_shutdown({kMarkerGone});
const ActionRow kRows[] = {
    upload("flashes and restarts behind the reply", kText + kEnd, "REBOOT", kFlashed),
    upload("in lines", flawed(Flaw::none), "REBOOT", kFlashed),
    upload("in lines of odd length", flawed(Flaw::none, 77), "REBOOT", kFlashed),
    upload("no image", "", "ERROR", kRefused),
    upload("no tags", flawed(Flaw::no_tags), "ERROR", kRefused),
    upload("closing tag first", flawed(Flaw::swapped_tags), "ERROR", kRefused),
    upload("no closing tag", kText, "ERROR", kRefused),
    upload("closing tag cut", kText + kEnd.substr(0, 13), "ERROR", kRefused),
    upload("nothing between them", flawed(Flaw::empty_text), "ERROR", kRefused),
    upload("no base64", flawed(Flaw::rubbish_text), "ERROR", kRefused),
    upload("a NUL half-way", flawed(Flaw::cut_text), "ERROR", kRefused),
    upload("an image for another board", "<Base64Image>" + kBad + kEnd, "ERROR", kRefused),
    upload("too large to be read", kText + kEnd, "ERROR", {kMarkerGone},
           has_file("/tmp/request_size_too_long", "1\n")),
    {"first model", "GetFirmwareSettings", "",
     "OK|VendorName=Corvane LLC|ModelName=NX220|ModelRevision=Ver 2|FirmwareVersion=3.1.07, build 2"
     "|FirmwareDate=2014-04-19T00:00:00|UpdateMethods{string=HNAP_UPLOAD}"},
    {"second model",
     "GetFirmwareSettings",
     "",
     "OK|VendorName=Corvane LLC|ModelName=NX410W|ModelRevision=ver 1|FirmwareVersion=1.4.02, build 2"
     "|FirmwareDate=2014-04-19T00:00:00|UpdateMethods{string=HNAP_UPLOAD}",
     {},
     has_file("/var/boardid", "027215")},
};
const bool kAdded = add_rows("FirmwareActions", kRows);

}  // namespace
}  // namespace kd::test
