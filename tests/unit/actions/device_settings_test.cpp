// GetDeviceSettings, SetDeviceSettings.
#include "support/cases.hpp"

namespace kd::test {
namespace {

std::string settings(const std::string& type, const std::string& name, const std::string& model,
                     const std::string& version) {
  std::string actions;
  for (const char* action :
       {"GetDeviceSettings2", "SetDeviceSettings2", "GetDeviceSettings", "SetDeviceSettings", "IsDeviceReady",
        "Reboot", "RestoreFactoryDefaults", "FirmwareUpload", "GetFirmwareSettings",
        "GetWirelessClientCapabilities", "GetWirelessClientConnectionInfo2",
        "GetWirelessClientConnectionInfo", "GetLastSetWirelessClientSettingsResult",
        "GetWirelessClientSettings", "SetWirelessClientSettings", "GetWirelessNetworks",
        "GetConnectedDevices", "DownloadSpeedTest"}) {
    actions += std::string{"<string>http://purenetworks.com/HNAP1/"} + action + "</string>\n";
  }
  const auto task = [](const std::string& title, const char* url) {
    return "<TaskExtension>\n<Name>" + title + "</Name>\n<URL>" + url +
           "</URL>\n<Type>Browser</Type>\n</TaskExtension>\n";
  };
  return "<GetDeviceSettingsResult>OK</GetDeviceSettingsResult>\n<Type>" + type + "</Type>\n<DeviceName>" +
         name +
         "</DeviceName>\n<VendorName>Corvane LLC</VendorName>\n"
         "<ModelDescription>Switchable Wireless-N Signal Extender</ModelDescription>\n<ModelName>" +
         model + "</ModelName>\n<FirmwareVersion>" + version +
         "</FirmwareVersion>\n<PresentationURL>/wireless/wireless_basic.shtml</PresentationURL>\n"
         "<SOAPActions>\n" +
         actions + "</SOAPActions>\n<SubDeviceURLs></SubDeviceURLs>\n<Tasks>\n" +
         task("Status Page", "/status/device_status.shtml") +
         task("Basic Wireless Settings", "/wireless/wireless_basic.shtml") +
         task(name, "http://support.corvane.example/international/") + "</Tasks>\n";
}

Arguments name_and_password(const std::string& name, const std::string& password) {
  return {{"DeviceName", name}, {"AdminPassword", password}};
}

std::vector<std::string> stored(const std::string& name, const std::string& password) {
  return {"nvram set Password=" + password, "nvram set HostName=" + name, "nvram commit 0",
          "write /etc/lighttpd.user admin:" + password};
}

const ActionCase kRows[] = {
    {"an extender", "GetDeviceSettings", {}, settings("Extender", "Attic", "NX220", "3.1.07, build 2")},
    {"escaped name, second model",
     "GetDeviceSettings",
     {},
     settings("WiFiBridge", "A&amp;&lt;b&gt;", "NX410W", "1.4.02, build 2"),
     {},
     [](Device& d) {
       d.set("HostName", "A&<b>");
       d.set("ethConvert", "1");
       d.files["/var/boardid"] = "027215";
     }},
    {"an access point",
     "GetDeviceSettings",
     {},
     settings("WiFiAccessPoint", "Attic", "NX220", "3.1.07, build 2"),
     {},
     [](Device& d) { d.set("apClient", "0"); }},
    {"a gateway",
     "GetDeviceSettings",
     {},
     settings("GatewayWithWiFi", "Attic", "NX220", "3.1.07, build 2"),
     {},
     [](Device& d) { d.set("OperationMode", "1"); }},
    {"longest values", "SetDeviceSettings", name_and_password("Living room 123", std::string(64, 'p')), "OK",
     stored("Living room 123", std::string(64, 'p'))},
    {"name of 16 characters", "SetDeviceSettings", name_and_password("Living room 1234", "secret"), "ERROR"},
    {"password of 65 characters", "SetDeviceSettings", name_and_password("Den", std::string(65, 'p')),
     "ERROR"},
    {"empty password", "SetDeviceSettings", name_and_password("Den", ""), "ERROR"},
    {"no password", "SetDeviceSettings", {{"DeviceName", "Den"}}, "ERROR"},
    {"unknown element first",
     "SetDeviceSettings",
     {{"Zone", "1"}, {"DeviceName", "Den"}, {"AdminPassword", "s"}},
     "ERROR"},
    {"unknown element behind",
     "SetDeviceSettings",
     {{"AdminPassword", "secret"}, {"DeviceName", "Den"}, {"Zone", "1"}},
     "OK",
     stored("Den", "secret")},
    {"the later one counts",
     "SetDeviceSettings",
     {{"DeviceName", "Hall"}, {"DeviceName", "Den"}, {"DeviceName", ""}, {"AdminPassword", "secret"}},
     "OK",
     stored("Den", "secret")},
    {"entities are resolved", "SetDeviceSettings", name_and_password("A&amp;&#66;", "&lt;x&gt;"), "OK",
     stored("A&B", "<x>")},
    {"no user file",
     "SetDeviceSettings",
     name_and_password("Den", "secret"),
     "ERROR",
     {"nvram set Password=secret", "nvram set HostName=Den", "nvram commit 0"},
     [](Device& d) { d.broken.insert("/etc/lighttpd.user"); }},
    {"full disk",
     "SetDeviceSettings",
     name_and_password("Den", "secret"),
     "ERROR",
     {"nvram set Password=secret", "nvram set HostName=Den", "nvram commit 0", "write /etc/lighttpd.user "},
     [](Device& d) { d.full.insert("/etc/lighttpd.user"); }},
};
INSTANTIATE_TEST_SUITE_P(DeviceSettings, ActionTest, ::testing::ValuesIn(kRows), row_name);

}  // namespace
}  // namespace kd::test
