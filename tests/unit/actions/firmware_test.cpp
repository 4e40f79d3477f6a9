// FirmwareUpload, GetFirmwareSettings, and the other actions of a restart: IsDeviceReady, Reboot,
// RestoreFactoryDefaults. (What makes an image valid: firmware/upgrade_test.cpp.)
#include "mkfirmware/image_maker.hpp"
#include "support/action_rows.hpp"

namespace kd::test::firmware {

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

const Effects kRestarted = {"run killall -9 kd_vb_upnpd", "run kd_vb_upnpd&", "sleep 1",
                            "run killall -9 kd_vb_upnpd", "kill 1 TERM"};
const Effects kShutDown =
    lines("run killall -9 mdnspr", "run killall -9 udhcpc", "run killall -9 kd_rp_autochannel",
          "run killall -9 wscd; sleep 2", "run killall -9 wpsctl", "run killall -9 kd_red",
          "run killall -9 kd_wps_led", "run killall -9 kd_wps_auto_pin",
          "run rm /lib/modules/2.6.36-svn*/kernel/drivers/net/wireless/RTPCI_ap/RTPCI_ap.ko");
const Effects kFlashed = kShutDown +
                         lines("write /var/hnapUploadedFirmware " + kImage, "run gpio l 6 5 5 132 0 1&",
                               std::string{"run "} + kWriter, "sleep 2", "sleep 2", "sleep 2") +
                         kRestarted;

// The flash is written before the reply is made, and the device restarts whatever becomes of that.
ActionRow upload(const char* name, std::string body, bool taken = false) {
  ActionRow row{name, "FirmwareUpload", std::move(body), taken ? "REBOOT" : "ERROR"};
  row.changes = taken ? kFlashed : kShutDown + Effects{kMarkerGone};
  row.prepare = has_flash;
  row.acts_first = true;
  return row;
}
// The whole body of another request around it does not matter.
std::string flawed(Flaw flaw, std::size_t columns = 76) {
  return mkfirmware::make_upload(kImage, columns, flaw);
}
ActionRow reset(const char* name, Effects asked, Device::Step prepare = nullptr) {
  ActionRow row{name, "RestoreFactoryDefaults", "", "REBOOT", std::move(asked), std::move(prepare)};
  row.changes.insert(row.changes.begin(), {"run ps > /var/psInfo 2>/dev/null", "run rm /var/psInfo"});
  row.reads = true;
  return row;
}
std::string settings(const std::string& model) {
  return "OK|VendorName=Corvane LLC|ModelName=" + model +
         "|FirmwareDate=2014-04-19T00:00:00|UpdateMethods{string=HNAP_UPLOAD}";
}
const std::string kFirst = settings("NX220|ModelRevision=Ver 2|FirmwareVersion=3.1.07, build 2"),
                  kSecond = settings("NX410W|ModelRevision=ver 1|FirmwareVersion=1.4.02, build 2"),
                  kNoBoard = settings("|ModelRevision=Ver 2|FirmwareVersion=3.1.07, build 2"),
                  kOther = mkfirmware::make_image("x", {"", 0x027216, Flaw::none});
const Device::Step kTooLarge = in_turn({has_flash, has_file("/tmp/request_size_too_long", "1\n")});
const ActionRow kRows[] = {
    upload("in one line", flawed(Flaw::none, 0), true),
    upload("in lines of odd length", flawed(Flaw::none, 77), true),
    upload("closing tag first", flawed(Flaw::swapped_tags)),
    upload("no closing tag", flawed(Flaw::no_closing_tag)),
    upload("no base64", flawed(Flaw::rubbish_text)),
    upload("a NUL half-way", flawed(Flaw::cut_text)),
    upload("an image for another board", mkfirmware::make_upload(kOther, 76, Flaw::none)),
    {"too large to be read", "FirmwareUpload", flawed(Flaw::none), "ERROR", {kMarkerGone}, kTooLarge},
    {"first model", "GetFirmwareSettings", "", kFirst},
    {"no board", "GetFirmwareSettings", "", kNoBoard, {"print File NULL"}, cannot_open("cat /var/boardid")},
    {"second model", "GetFirmwareSettings", "", kSecond, {}, has_file("/var/boardid", "027215")},
    {"the marker exists", "IsDeviceReady", "", "OK"},
    {"no marker", "IsDeviceReady", "", "ERROR", {}, has_no_file("/var/is_dev_ready")},
    {"behind the reply", "Reboot", "", "REBOOT", kRestarted},
    reset("asks the daemon", {"kill 321 USR2", "sleep 5"}),
    reset("waits without it too", {"sleep 5"}, prints("ps", "  PID USER       VSZ STAT COMMAND\n")),
};
const bool kAdded = add_rows("FirmwareActions", kRows);

}  // namespace kd::test::firmware
