// GetDeviceSettings, SetDeviceSettings, and the second pair with serial number, time zone and language.
#include "support/action_rows.hpp"

namespace kd::test::device_settings {

#define CORE "string=http://purenetworks.com/HNAP1/"

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

const Device::Step kNamed = has_stored({{"HostName", "A&<b>"}});
const ActionRow kGet[] = {
    {"all of it", "GetDeviceSettings", "", settings(kExtenderA), {}, kNamed},
    {"three follow the namespace",
     "GetDeviceSettings",
     "",
     settings(kExtenderB),
     {},
     kNamed,
     kExtenderB,
     kCore},
};
const bool kGetAdded = add_rows("GetDeviceSettings", kGet);

using DeviceProperties = DeviceTest;

TEST_F(DeviceProperties, NameTypeAndModel) {
  const std::tuple<Device::Step, const char*, const char*> rows[] = {
      {has_stored({{"apClient", "0"}}), "Type", "WiFiAccessPoint"},
      {has_stored({{"ethConvert", "1"}}), "Type", "WiFiBridge"},
      {has_stored({{"OperationMode", "1"}}), "Type", "GatewayWithWiFi"},
      {has_file("/var/boardid", "027215"), "ModelName", "NX410W"},
      {has_file("/var/boardid", "027215"), "FirmwareVersion", "1.4.02, build 2"}};
  for (const auto& [prepare, element, text] : rows) {
    prepare(device);
    EXPECT_EQ(value_in(ask(soap("GetDeviceSettings")), element), text);
  }
}

// The store is committed before it shows that the web server's file cannot be written.
ActionRow set(const char* name, const std::string& host, const std::string& password, bool taken,
              std::optional<std::string> written = "", Device::Step prepare = nullptr) {
  ActionRow row{name, "SetDeviceSettings", "DeviceName=" + host + "|AdminPassword=" + password,
                taken ? "OK" : "ERROR"};
  row.acts_first = prepare != nullptr;
  if (taken) written = "admin:" + password;
  if (taken || prepare)
    row.changes = {"nvram set Password=" + password, "nvram set HostName=" + host, "nvram commit 0"};
  if ((taken || prepare) && written) row.changes.push_back("write /etc/lighttpd.user " + *written);
  row.prepare = std::move(prepare);
  return row;
}
const std::string kLong(64, 'p'), kUserFile = "/etc/lighttpd.user";
const ActionRow kSet[] = {
    set("longest values", "Living room 123", kLong, true),
    set("shortest values", "D", "s", true),
    set("name of 16 characters", "Living room 1234", "s", false),
    set("no name", "", "s", false),
    set("password of 65 characters", "Den", kLong + "p", false),
    set("empty password", "Den", "", false),
    set("no user file", "Den", "s", false, std::nullopt, cannot_open(kUserFile)),
    set("full disk", "Den", "s", false, "", [](Device& d) { d.full.insert(kUserFile); }),
    set("full at the end", "Den", "s", false, "admin:s",
        [](Device& d) { d.full_at_close.insert(kUserFile); }),
};
const bool kSetAdded = add_rows("SetDeviceSettings", kSet);

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
          in_turn({has_serial_number("AB123456789012"), has_stored({{"Language", language}})})};
}
ActionRow set2(const char* name, const char* user, const char* zone, const char* summer, const char* locale,
               const char* ssl, const char* reply, Effects changes = {}, Device::Step prepare = nullptr) {
  char arguments[200];
  std::snprintf(arguments, sizeof arguments, "Username=%s|TimeZone=%s|AutoAdjustDST=%s|Locale=%s|SSL=%s",
                user, zone, summer, locale, ssl);
  return {name, "SetDeviceSettings2", arguments, reply, std::move(changes), std::move(prepare)};
}
Effects language(const std::string& code, const std::string& said) {
  return {"nvram set Language=" + code, "nvram commit 0",
          "console lang_free: Don't need release multi-lang mapping again.\n", "console lang_init: " + said};
}
constexpr const char *kUser = "ERROR_USERNAME_NOT_SUPPORTED", *kZone = "ERROR_TIMEZONE_NOT_SUPPORTED";
const ActionRow kSecond[] = {
    get2("a language", "SA", "ar-sa"),
    get2("unknown language", "XX", "en-us"),
    set2("loads the language", "admin", "UTC", "false", "fr-ca", "false", "OK",
         language("CA", "Initial multi-language success! Current language is CA.\n"),
         has_file("/web/lang/STRINGS_CA.txt", "Save,Enregistrer\n")),
    set2("a language without strings", "admin", "UTC", "false", "ru", "false", "OK",
         language("RU", "File /web/lang/STRINGS_RU.txt open fail!\n")),
    set2("another user", "Admin", "CET", "true", "en-gb", "true", kUser),
    set2("another time zone", "admin", "utc", "true", "en-gb", "true", kZone),
    set2("summer time", "admin", "UTC", "true", "en-gb", "true", kZone,
         {"print ERROR: AutoAdjustDST doesn't equal to \"false\""}),
    set2("a code is no locale", "admin", "UTC", "false", "CA", "false", "ERROR"),
    set2("encryption", "admin", "UTC", "false", "fr-ca", "true", "ERROR"),
    {"unknown element",
     "SetDeviceSettings2",
     "Zone=1",
     "ERROR",
     {"print ERROR: Unknow TAG = ", "print Zone", "print \n"}},
};
const bool kSecondAdded = add_rows("DeviceSettings2", kSecond);

}  // namespace kd::test::device_settings
