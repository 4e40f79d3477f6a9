// GetDeviceSettings, SetDeviceSettings, and the second pair with serial number, time zone and language.
#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using DeviceProperties = DeviceTest;

#define CORE "string=http://purenetworks.com/HNAP1/"

ActionRow get(const char* name, std::string reply, Device::Step prepare = nullptr,
              const char* asked_in = kCore) {
  return {.name = name,
          .action = "GetDeviceSettings",
          .reply = std::move(reply),
          .prepare = std::move(prepare),
          .asked_in = asked_in,
          .answered_in = kCore};
}
std::string settings(const std::string& wps) {
  return "OK|Type=Extender|DeviceName=A&amp;&lt;b&gt;|VendorName=Corvane LLC"
         "|ModelDescription=Switchable Wireless-N Signal Extender|ModelName=NX220|FirmwareVersion=3.1.07, "
         "build 2"
         "|PresentationURL=/wireless/wireless_basic.shtml|SOAPActions{" CORE "GetDeviceSettings2|" CORE
         "SetDeviceSettings2|" CORE "GetDeviceSettings|" CORE "SetDeviceSettings|" CORE "IsDeviceReady|" CORE
         "Reboot|" CORE "RestoreFactoryDefaults|" CORE "FirmwareUpload|" CORE "GetFirmwareSettings|" CORE
         "GetWirelessClientCapabilities|" CORE "GetWirelessClientConnectionInfo2|" CORE
         "GetWirelessClientConnectionInfo|" CORE "GetLastSetWirelessClientSettingsResult|" CORE
         "GetWirelessClientSettings|" CORE "SetWirelessClientSettings2|" CORE
         "SetWirelessClientSettings|" CORE "GetWirelessNetworks2|" CORE "GetWirelessNetworks|" CORE
         "GetConnectedDevices|" CORE
         "DownloadSpeedTest|"
         "string=" +
         wps + "StartWPS|string=" + wps + "StopWPS|string=" + wps +
         "GetWPSStatus|" CORE "GetMACFilters2|" CORE "SetMACFilters2|" CORE
         "GetNetworkStats}|SubDeviceURLs=|Tasks{"
         "TaskExtension{Name=Status Page|URL=/status/device_status.shtml|Type=Browser}|"
         "TaskExtension{Name=Basic Wireless Settings|URL=/wireless/wireless_basic.shtml|Type=Browser}|"
         "TaskExtension{Name=A&amp;&lt;b&gt;|URL=http://support.corvane.example/international/"
         "|Type=Browser}}";
}

ActionRow set(const char* name, const std::string& device_name, const std::string& password,
              const char* reply, Device::Step prepare = nullptr, const char* written = nullptr) {
  const std::string arguments = "DeviceName=" + device_name + "|AdminPassword=" + password;
  ActionRow row{name, "SetDeviceSettings", arguments, reply, {}, std::move(prepare)};
  // The store is committed before it shows that the web server's file cannot be written.
  row.acts_first = row.prepare != nullptr;
  if (std::string{reply} == "OK" || row.prepare) {
    row.changes = {"nvram set Password=" + password, "nvram set HostName=" + device_name, "nvram commit 0"};
    const std::string text = written ? written : "admin:" + password;
    if (text != "(nothing)") row.changes.push_back("write /etc/lighttpd.user " + text);
  }
  return row;
}

const std::string kLong(64, 'p');
const ActionRow kFirst[] = {
    get("the whole of it", settings(kExtenderA), has_stored({{"HostName", "A&<b>"}})),
    get("three actions follow the request's namespace", settings(kExtenderB),
        has_stored({{"HostName", "A&<b>"}}), kExtenderB),
    set("longest values", "Living room 123", kLong, "OK"),
    set("shortest values", "D", "s", "OK"),
    set("name of 16 characters", "Living room 1234", "secret", "ERROR"),
    set("no name", "", "secret", "ERROR"),
    set("password of 65 characters", "Den", kLong + "p", "ERROR"),
    set("empty password", "Den", "", "ERROR"),
    set("no user file", "Den", "secret", "ERROR", cannot_open("/etc/lighttpd.user"), "(nothing)"),
    set(
        "full disk", "Den", "secret", "ERROR", [](Device& d) { d.full.insert("/etc/lighttpd.user"); }, ""),
    set("full disk that shows at the end", "Den", "secret", "ERROR",
        [](Device& d) { d.full_at_close.insert("/etc/lighttpd.user"); }),
};
const bool kFirstAdded = add_rows("DeviceSettings", kFirst);

TEST_F(DeviceProperties, NamesItsTypeAndModel) {
  const struct {
    Device::Step prepare;
    const char *element, *text;
  } rows[] = {
      {has_stored({{"apClient", "0"}}), "Type", "WiFiAccessPoint"},
      {has_stored({{"ethConvert", "1"}}), "Type", "WiFiBridge"},
      {has_stored({{"OperationMode", "1"}}), "Type", "GatewayWithWiFi"},
      {has_file("/var/boardid", "027215"), "ModelName", "NX410W"},
      {has_file("/var/boardid", "027215"), "FirmwareVersion", "1.4.02, build 2"},
  };
  for (const auto& row : rows) {
    row.prepare(device);
    EXPECT_EQ(value_in(ask(soap("GetDeviceSettings")), row.element), row.text);
  }
}

ActionRow get2(const char* name, const char* language, const std::string& locale) {
  return {name,
          "GetDeviceSettings2",
          "",
          "OK|SerialNumber=AB123456789012|TimeZone=UTC|AutoAdjustDST=false|Locale=" + locale +
              "|SupportedLocales{string=en-us|string=da-dk|string=de-de|string=ru|string=sv-se|string=es-es"
              "|string=it-it|string=fr-fr|string=nl-nl|string=pt-pt|string=fr-ca|string=pl|string=tr|string="
              "ar-sa}"
              "|SSL=false",
          {},
          [=](Device& d) {
            put_serial_number(d, "AB123456789012");
            d.set("Language", language);
          }};
}
ActionRow set2(const char* name, const std::string& user, const std::string& zone, const std::string& summer,
               const std::string& locale, const std::string& ssl, const char* reply, Effects changes = {},
               Device::Step prepare = nullptr) {
  return {name,
          "SetDeviceSettings2",
          "Username=" + user + "|TimeZone=" + zone + "|AutoAdjustDST=" + summer + "|Locale=" + locale +
              "|SSL=" + ssl,
          reply,
          std::move(changes),
          std::move(prepare)};
}
Effects language(const std::string& code, const std::string& said) {
  return {"nvram set Language=" + code, "nvram commit 0",
          "console lang_free: Don't need release multi-lang mapping again.\n", "console lang_init: " + said};
}

constexpr const char* kUser = "ERROR_USERNAME_NOT_SUPPORTED";
constexpr const char* kZone = "ERROR_TIMEZONE_NOT_SUPPORTED";
const ActionRow kSecond[] = {
    get2("a language", "SA", "ar-sa"),
    get2("unknown language", "XX", "en-us"),
    get2("no language", "", "en-us"),
    set2("stores and loads the language", "admin", "UTC", "false", "fr-ca", "false", "OK",
         language("CA", "Initial multi-language success! Current language is CA.\n"),
         has_file("/web/lang/STRINGS_CA.txt", "Save,Enregistrer\n")),
    set2("a language without strings", "admin", "UTC", "false", "ru", "false", "OK",
         language("RU", "File /web/lang/STRINGS_RU.txt open fail!\n")),
    set2("another user", "Admin", "CET", "true", "en-gb", "true", kUser),
    set2("no user", "", "UTC", "false", "fr-ca", "false", kUser),
    set2("another time zone", "admin", "utc", "true", "en-gb", "true", kZone),
    set2("summer time", "admin", "UTC", "true", "en-gb", "true", kZone,
         {"print ERROR: AutoAdjustDST doesn't equal to \"false\""}),
    set2("another locale", "admin", "UTC", "false", "en-gb", "false", "ERROR"),
    set2("a code is no locale", "admin", "UTC", "false", "CA", "false", "ERROR"),
    set2("encryption", "admin", "UTC", "false", "fr-ca", "true", "ERROR"),
    {"unknown element",
     "SetDeviceSettings2",
     "Zone=1",
     "ERROR",
     {"print ERROR: Unknow TAG = ", "print Zone", "print \n"}},
};
const bool kSecondAdded = add_rows("DeviceSettings2", kSecond);

}  // namespace
}  // namespace kd::test
