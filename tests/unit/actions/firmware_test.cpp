// FirmwareUpload, GetFirmwareSettings.
#include "mkfirmware/image_maker.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

const std::string kImage = mkfirmware::make_image("the data of an image", {});
constexpr const char* kWriter = "/bin/mtd_write -o 0 -l 84 write /var/hnapUploadedFirmware Kernel&";
constexpr const char* kSurveyGoesOn = "run rm -f /tmp/postponeSiteSurvey";

void prepare_flash(Device& device) {
  device.files["/proc/mtd"] = "mtd1: 00fb0000 00010000 \"Kernel\"\n";
  device.steps[kWriter] = [](Device& d) {
    d.files["/var/upgrade_progress"] = "50\n";
    d.at(d.seconds() + 4, [](Device& later) { later.files["/var/upgrade_progress"] = "100\n"; });
  };
}

std::vector<std::string> after_shutdown(const std::vector<std::string>& rest) {
  std::vector<std::string> all{
      "run killall -9 mdnspr",
      "run killall -9 udhcpc",
      "run killall -9 kd_rp_autochannel",
      "run killall -9 wscd; sleep 2",
      "run killall -9 wpsctl",
      "run killall -9 kd_red",
      "run killall -9 kd_wps_led",
      "run killall -9 kd_wps_auto_pin",
      "run rm /lib/modules/2.6.36-svn*/kernel/drivers/net/wireless/RTPCI_ap/RTPCI_ap.ko",
  };
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}

std::string settings(const std::string& model, const std::string& revision, const std::string& version) {
  return "<GetFirmwareSettingsResult>OK</GetFirmwareSettingsResult>\n<VendorName>Corvane LLC</VendorName>\n"
         "<ModelName>" +
         model + "</ModelName>\n<ModelRevision>" + revision + "</ModelRevision>\n<FirmwareVersion>" +
         version +
         "</FirmwareVersion>\n<FirmwareDate>2014-04-19T00:00:00</FirmwareDate>\n"
         "<UpdateMethods>\n<string>HNAP_UPLOAD</string>\n</UpdateMethods>\n";
}

// The flash is written before the reply is made, and the device restarts whatever becomes of that.
ActionCase upload(const char* name, Arguments arguments, const char* reply, std::vector<std::string> changes,
                  Device::Step prepare = prepare_flash) {
  ActionCase made{name,  "FirmwareUpload",   std::move(arguments),
                  reply, std::move(changes), std::move(prepare)};
  made.acts_first = true;
  return made;
}
const std::string kOther = mkfirmware::make_image("x", {"", 0x027216, mkfirmware::Flaw::none});

const ActionCase kRows[] = {
    upload("flashes and restarts behind the reply", {{"Base64Image", base64(kImage)}}, "REBOOT",
           after_shutdown({"write /var/hnapUploadedFirmware " + kImage, "run gpio l 6 5 5 132 0 1&",
                           std::string{"run "} + kWriter, "sleep 2", "sleep 2", "sleep 2",
                           "run killall -9 kd_vb_upnpd", "run kd_vb_upnpd&", "sleep 1",
                           "run killall -9 kd_vb_upnpd", "kill 1 TERM"})),
    upload("no image", {}, "ERROR", after_shutdown({kSurveyGoesOn})),
    upload("an image for another board", {{"Base64Image", base64(kOther)}}, "ERROR",
           after_shutdown({kSurveyGoesOn})),
    upload("too large to be read", {{"Base64Image", base64(kImage)}}, "ERROR", {kSurveyGoesOn},
           has_file("/tmp/request_size_too_long", "1\n")),
    {"first model", "GetFirmwareSettings", {}, settings("NX220", "Ver 2", "3.1.07, build 2")},
    {"second model",
     "GetFirmwareSettings",
     {},
     settings("NX410W", "ver 1", "1.4.02, build 2"),
     {},
     has_file("/var/boardid", "027215")},
};
INSTANTIATE_TEST_SUITE_P(Firmware, ActionTest, ::testing::ValuesIn(kRows), row_name);

}  // namespace
}  // namespace kd::test
