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

ActionCase set(const char* name, Arguments arguments, const char* reply,
               std::vector<std::string> changes = {}, Device::Step prepare = nullptr) {
  return {name, "SetDeviceSettings", std::move(arguments), reply, std::move(changes), std::move(prepare)};
}
// The store is committed before it shows that the web server's file cannot be written.
ActionCase without_file(const char* name, Device::Step prepare, const char* more = nullptr) {
  std::vector<std::string> changes = stored("Den", "secret");
  changes.pop_back();
  if (more) changes.push_back(more);
  ActionCase made =
      set(name, name_and_password("Den", "secret"), "ERROR", std::move(changes), std::move(prepare));
  made.acts_first = true;
  return made;
}

const Arguments kDen = name_and_password("Den", "secret");
const ActionCase kRows[] = {
    {"an extender", "GetDeviceSettings", {}, settings("Extender", "Attic", "NX220", "3.1.07, build 2")},
    {"escaped name, second model",
     "GetDeviceSettings",
     {},
     settings("WiFiBridge", "A&amp;&lt;b&gt;", "NX410W", "1.4.02, build 2"),
     {},
     in_turn({has_stored({{"HostName", "A&<b>"}, {"ethConvert", "1"}}), has_file("/var/boardid", "027215")})},
    {"an access point",
     "GetDeviceSettings",
     {},
     settings("WiFiAccessPoint", "Attic", "NX220", "3.1.07, build 2"),
     {},
     has_stored({{"apClient", "0"}})},
    {"a gateway",
     "GetDeviceSettings",
     {},
     settings("GatewayWithWiFi", "Attic", "NX220", "3.1.07, build 2"),
     {},
     has_stored({{"OperationMode", "1"}})},
    set("longest values", name_and_password("Living room 123", std::string(64, 'p')), "OK",
        stored("Living room 123", std::string(64, 'p'))),
    set("name of 16 characters", name_and_password("Living room 1234", "secret"), "ERROR"),
    set("password of 65 characters", name_and_password("Den", std::string(65, 'p')), "ERROR"),
    set("empty password", name_and_password("Den", ""), "ERROR"),
    set("no password", {{"DeviceName", "Den"}}, "ERROR"),
    set("unknown element first", {{"Zone", "1"}, kDen[0], kDen[1]}, "ERROR"),
    set("unknown element behind", {kDen[1], kDen[0], {"Zone", "1"}}, "OK", stored("Den", "secret")),
    set("the later one counts", {{"DeviceName", "Hall"}, kDen[0], {"DeviceName", ""}, kDen[1]}, "OK",
        stored("Den", "secret")),
    set("entities are resolved", name_and_password("A&amp;&#66;", "&lt;x&gt;"), "OK", stored("A&B", "<x>")),
    without_file("no user file", cannot_open("/etc/lighttpd.user")),
    without_file(
        "full disk", [](Device& d) { d.full.insert("/etc/lighttpd.user"); }, "write /etc/lighttpd.user "),
};
INSTANTIATE_TEST_SUITE_P(DeviceSettings, ActionTest, ::testing::ValuesIn(kRows), row_name);

}  // namespace
}  // namespace kd::test
