// GetDeviceSettings, SetDeviceSettings, and the second pair with serial number, time zone and language. By
// their example: how arguments are read. (What else an argument may have to be stands with its action.)
#include <sstream>

#include "support/action_rows.hpp"

namespace kd::test::device_settings {

// An element for each word.
std::string elements(const std::string& start, const std::string& words) {
  std::istringstream left{words};
  std::string all;
  for (std::string word; left >> word;) all += "string=" + start + word + "|";
  return all;
}
std::string settings(const std::string& wps) {
  return "OK|Type=Extender|DeviceName=A&amp;&lt;b&gt;|VendorName=Corvane LLC"
         "|ModelDescription=Switchable Wireless-N Signal Extender|ModelName=NX220"
         "|FirmwareVersion=3.1.07, build 2|PresentationURL=/wireless/wireless_basic.shtml|SOAPActions{" +
         elements(kCore,
                  "GetDeviceSettings2 SetDeviceSettings2 GetDeviceSettings SetDeviceSettings IsDeviceReady "
                  "Reboot RestoreFactoryDefaults FirmwareUpload GetFirmwareSettings "
                  "GetWirelessClientCapabilities GetWirelessClientConnectionInfo2 "
                  "GetWirelessClientConnectionInfo GetLastSetWirelessClientSettingsResult "
                  "GetWirelessClientSettings SetWirelessClientSettings2 SetWirelessClientSettings "
                  "GetWirelessNetworks2 GetWirelessNetworks GetConnectedDevices DownloadSpeedTest") +
         elements(wps, "StartWPS StopWPS GetWPSStatus") +
         elements(kCore, "GetMACFilters2 SetMACFilters2 GetNetworkStats") +
         "}|SubDeviceURLs=|Tasks{"
         "TaskExtension{Name=Status Page|URL=/status/device_status.shtml|Type=Browser}|"
         "TaskExtension{Name=Basic Wireless Settings|URL=/wireless/wireless_basic.shtml|Type=Browser}|"
         "TaskExtension{Name=A&amp;&lt;b&gt;|URL=http://support.corvane.example/international/"
         "|Type=Browser}}";
}

const Device::Step kNamed = has_stored({{"HostName", "A&<b>"}});
const ActionRow kGet[] = {
    {"all of it", "GetDeviceSettings", "", settings(kExtenderA), {}, kNamed},
    {"the other WPS", "GetDeviceSettings", "", settings(kExtenderB), {}, kNamed, kExtenderB, kCore},
};
const bool kGetAdded = add_rows("GetDeviceSettings", kGet);

using DeviceSettings = DeviceTest;

TEST_F(DeviceSettings, TellTheType) {
  const char* const rows[][4] = {{"1", "1", "1", "GatewayWithWiFi"},  {"2", "1", "1", "WiFiAccessPoint"},
                                 {"-1", "1", "1", "WiFiAccessPoint"}, {"0", "1", "1", "WiFiBridge"},
                                 {"0", "0", "1", "Extender"},         {"0", "2", "1", "Extender"},
                                 {"0", "0", "0", "WiFiAccessPoint"},  {"x", "", " 1", "Extender"}};
  for (const auto& [mode, convert, client, type] : rows) {
    has_stored({{"OperationMode", mode}, {"ethConvert", convert}, {"apClient", client}})(device);
    EXPECT_EQ(value_in(ask(soap("GetDeviceSettings")), "Type"), type) << mode << convert << client;
  }
}

Effects stored(const std::string& host, const std::string& password) {
  return {"nvram set Password=" + password, "nvram set HostName=" + host, "nvram commit 0",
          "write /etc/lighttpd.user admin:" + password};
}
const std::string kLong(64, 'p');
const ActionRow kSet[] = {
    {"longest values", "SetDeviceSettings", "DeviceName=Living room 123|AdminPassword=" + kLong, "OK",
     stored("Living room 123", kLong)},
    {"shortest values", "SetDeviceSettings", "DeviceName=D|AdminPassword=s", "OK", stored("D", "s")},
    {"long name", "SetDeviceSettings", "DeviceName=Living room 1234|AdminPassword=s", "ERROR"},
    {"no name", "SetDeviceSettings", "DeviceName=|AdminPassword=s", "ERROR"},
    {"long password", "SetDeviceSettings", "DeviceName=Den|AdminPassword=" + kLong + "p", "ERROR"},
    // The store is committed before it shows that the web server's file is not written to its end.
    {.name = "full disk",
     .action = "SetDeviceSettings",
     .arguments = "DeviceName=Den|AdminPassword=s",
     .reply = "ERROR",
     .changes = stored("Den", "s"),
     .prepare = [](Device& d) { d.full_at_close.insert("/etc/lighttpd.user"); },
     .acts_first = true},
};
const bool kSetAdded = add_rows("SetDeviceSettings", kSet);

#define NAME "<DeviceName>Den</DeviceName>"
#define WORD "<AdminPassword>secret</AdminPassword>"

TEST_F(DeviceSettings, AreTakenOrRefused) {
  const char* const rows[][3] = {
      // what is taken; null: the action is refused
      {"in any order, text between", "\r\n\t" WORD " and\n" NAME "\n", "Den/secret"},
      {"white space is part of a text", "<DeviceName> Den\n</DeviceName>" WORD, " Den\n/secret"},
      {"as XML may write it",
       "<!-- x --><DeviceName a='1' b='2'>D<![CDATA[<&n>]]><?x y?>&amp;&#66;<b>x</b><!-- - "
       "-->en</DeviceName>" WORD,
       "D<&n>&Ben/secret"},
      {"the later one counts", "<DeviceName>Hall</DeviceName>" NAME WORD, "Den/secret"},
      {"an empty one does not", NAME "<DeviceName/><DeviceName></DeviceName>" WORD, "Den/secret"},
      {"what follows the last is not examined", NAME WORD "<Zone/><DeviceName>Hall</DeviceName>",
       "Den/secret"},
      {"another one between", NAME "<Zone/>" WORD, nullptr},
      {"a prefix makes another one", "<n:DeviceName>Den</n:DeviceName>" WORD, nullptr},
      {"and less of the name", "<Device>Den</Device>" WORD, nullptr},
      {"and more of the name", "<DeviceNames>Den</DeviceNames>" WORD, nullptr},
      {"one is missing", NAME, nullptr},
  };
  for (const auto& [what, arguments, taken] : rows) {
    // The action element may have a prefix itself.
    Request request = soap("SetDeviceSettings");
    request.body = {{"<Envelope><Body><m:SetDeviceSettings xmlns='http://purenetworks.com/HNAP1/'>" +
                     std::string{arguments} + "</m:SetDeviceSettings></Body></Envelope>"}};
    effects();
    EXPECT_EQ(ask(request), reply_of("SetDeviceSettings", taken ? "OK" : "ERROR")) << what;
    EXPECT_EQ(count(effects(), "nvram commit 0"), taken != nullptr) << what;
    EXPECT_TRUE(!taken || device.store["HostName"] + "/" + device.store["Password"] == taken) << what;
    device.set("Password", "password");
  }
}

constexpr const char* kLocales = "en-us da-dk de-de ru sv-se es-es it-it fr-fr nl-nl pt-pt fr-ca pl tr ar-sa";
ActionRow get2(const char* name, const char* language, const std::string& locale) {
  ActionRow row{name, "GetDeviceSettings2", "",
                "OK|SerialNumber=AB123456789012|TimeZone=UTC|AutoAdjustDST=false|Locale=" + locale +
                    "|SupportedLocales{" + elements("", kLocales) + "}|SSL=false"};
  row.prepare = in_turn({has_serial_number("AB123456789012"), has_stored({{"Language", language}})});
  return row;
}
constexpr const char *kSet2 = "SetDeviceSettings2", *kZone = "ERROR_TIMEZONE_NOT_SUPPORTED";
const std::string kUtc = "Username=admin|TimeZone=UTC|AutoAdjustDST=false|Locale=";
const Effects kLoaded = lines("nvram set Language=CA", "nvram commit 0",
                              "console lang_free: Don't need release multi-lang mapping again.\n",
                              "console lang_init: Initial multi-language success! Current language is CA.\n");
const Device::Step kFrench = has_file("/web/lang/STRINGS_CA.txt", "Save,Enregistrer\n");
const ActionRow kSecond[] = {
    get2("a language", "SA", "ar-sa"),
    get2("unknown language", "XX", "en-us"),
    {"loads the language", kSet2, kUtc + "fr-ca|SSL=false", "OK", kLoaded, kFrench},
    {"another user", kSet2, "Username=Admin|TimeZone=CET|AutoAdjustDST=true|Locale=en-gb|SSL=true",
     "ERROR_USERNAME_NOT_SUPPORTED"},
    {"another time zone", kSet2, "Username=admin|TimeZone=utc|AutoAdjustDST=true|Locale=en-gb|SSL=true",
     kZone},
    {"summer time",
     kSet2,
     "Username=admin|TimeZone=UTC|AutoAdjustDST=true|Locale=en-gb|SSL=true",
     kZone,
     {"print ERROR: AutoAdjustDST doesn't equal to \"false\""}},
    {"a code is no locale", kSet2, kUtc + "CA|SSL=false", "ERROR"},
    {"encryption", kSet2, kUtc + "fr-ca|SSL=true", "ERROR"},
    {"unknown element", kSet2, "Zone=1", "ERROR", {"print ERROR: Unknow TAG = ", "print Zone", "print \n"}},
};
const bool kSecondAdded = add_rows("DeviceSettings2", kSecond);

// Its strings need not be there.
TEST_F(DeviceSettings, StoreALanguageForEachLocale) {
  std::istringstream locales{kLocales};
  std::string codes;
  for (std::string locale; locales >> locale;) {
    EXPECT_EQ(ask(soap(kSet2, kUtc + locale + "|SSL=false")), reply_of(kSet2, "OK"));
    codes += device.store["Language"] + " ";
  }
  EXPECT_EQ(codes, "EN DA DE RU SE ES IT FR NL PT CA PL TR SA ");
}

}  // namespace kd::test::device_settings
