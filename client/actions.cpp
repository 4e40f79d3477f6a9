#include "actions.hpp"

#include <algorithm>
#include <array>

namespace hnap {
namespace {

constexpr std::array kActions = {
    ActionInfo{"GetDeviceSettings", "who the device is and which actions it serves", true},
    ActionInfo{"SetDeviceSettings", "sets its name and the administrator's password", false},
    ActionInfo{"GetDeviceSettings2", "its serial number, time zone and language", true},
    ActionInfo{"SetDeviceSettings2", "sets the language", false},
    ActionInfo{"IsDeviceReady", "whether it has finished starting", true},
    ActionInfo{"Reboot", "restarts it", false},
    ActionInfo{"RestoreFactoryDefaults", "forgets all settings and restarts", false},
    ActionInfo{"FirmwareUpload", "checks and writes a firmware image, then restarts", false},
    ActionInfo{"GetFirmwareSettings", "its firmware's version and date", true},
    ActionInfo{"GetWirelessClientCapabilities", "the kinds of security it can join with", true},
    ActionInfo{"GetWirelessClientConnectionInfo2", "the band of the upstream link", true},
    ActionInfo{"GetWirelessClientConnectionInfo", "the upstream link: channel, signal, rates", true},
    ActionInfo{"GetLastSetWirelessClientSettingsResult", "how the last choice of a network ended", true},
    ActionInfo{"GetWirelessClientSettings", "the chosen upstream network, with its key", true},
    ActionInfo{"SetWirelessClientSettings", "chooses the upstream network", false},
    ActionInfo{"GetWirelessNetworks", "scans for networks", true},
    ActionInfo{"GetConnectedDevices", "the clients behind the device", true},
    ActionInfo{"DownloadSpeedTest", "sends as many bytes as it is asked for", true},
    ActionInfo{"SetWirelessClientSettings2", "chooses the upstream network on one band", false},
    ActionInfo{"GetWirelessNetworks2", "scans for networks and tells their band", true},
    ActionInfo{"StartWPS", "starts a WPS session", false},
    ActionInfo{"StopWPS", "ends the WPS session", false},
    ActionInfo{"GetWPSStatus", "how the WPS session goes", true},
    ActionInfo{"GetMACFilters2", "the list of clients that are let in or kept out", true},
    ActionInfo{"SetMACFilters2", "sets that list", false},
    ActionInfo{"GetNetworkStats", "traffic counters", true},
};

constexpr const char* kSecurity = "|WEP|WEP-AUTO|WEP-OPEN|WEP-SHARED|WPA-PSK|WPA2-PSK|WPA-AUTO-PSK";
constexpr const char* kEncryption = "|WEP-64|WEP-128|TKIP|AES|TKIPORAES";
constexpr const char* kModes = "802.11a|802.11an|802.11b|802.11bg|802.11bgn|802.11g|802.11n";

// One action's rows stand together.
constexpr std::array kFields = {
    Field{"GetDeviceSettings", "Type", Kind::choice, "WiFiAccessPoint|WiFiBridge|Extender|GatewayWithWiFi"},
    Field{"GetDeviceSettings", "DeviceName", Kind::filled},
    Field{"GetDeviceSettings", "VendorName", Kind::filled},
    Field{"GetDeviceSettings", "ModelDescription"},
    Field{"GetDeviceSettings", "ModelName", Kind::filled},
    Field{"GetDeviceSettings", "FirmwareVersion", Kind::filled},
    Field{"GetDeviceSettings", "PresentationURL"},
    Field{"GetDeviceSettings", "SOAPActions", Kind::group},
    Field{"GetDeviceSettings", "SOAPActions/string*", Kind::filled},
    Field{"GetDeviceSettings", "SubDeviceURLs"},
    Field{"GetDeviceSettings", "Tasks"},
    Field{"GetDeviceSettings", "Tasks/TaskExtension*", Kind::group},
    Field{"GetDeviceSettings", "Tasks/TaskExtension*/Name", Kind::filled},
    Field{"GetDeviceSettings", "Tasks/TaskExtension*/URL", Kind::filled},
    Field{"GetDeviceSettings", "Tasks/TaskExtension*/Type", Kind::filled},
    Field{"GetDeviceSettings2", "SerialNumber", Kind::filled},
    Field{"GetDeviceSettings2", "TimeZone", Kind::filled},
    Field{"GetDeviceSettings2", "AutoAdjustDST", Kind::boolean},
    Field{"GetDeviceSettings2", "Locale", Kind::filled},
    Field{"GetDeviceSettings2", "SupportedLocales", Kind::group},
    Field{"GetDeviceSettings2", "SupportedLocales/string*", Kind::filled},
    Field{"GetDeviceSettings2", "SSL", Kind::boolean},
    Field{"GetFirmwareSettings", "VendorName", Kind::filled},
    Field{"GetFirmwareSettings", "ModelName", Kind::filled},
    Field{"GetFirmwareSettings", "ModelRevision"},
    Field{"GetFirmwareSettings", "FirmwareVersion", Kind::filled},
    Field{"GetFirmwareSettings", "FirmwareDate", Kind::date},
    Field{"GetFirmwareSettings", "UpdateMethods", Kind::group},
    Field{"GetFirmwareSettings", "UpdateMethods/string*", Kind::filled},
    Field{"GetWirelessClientCapabilities", "SupportedNetworkType", Kind::group},
    Field{"GetWirelessClientCapabilities", "SupportedNetworkType/string*", Kind::filled},
    Field{"GetWirelessClientCapabilities", "SupportedSecurity", Kind::group},
    Field{"GetWirelessClientCapabilities", "SupportedSecurity/SecurityInfo*", Kind::group},
    Field{"GetWirelessClientCapabilities", "SupportedSecurity/SecurityInfo*/SecurityType", Kind::choice,
          kSecurity},
    Field{"GetWirelessClientCapabilities", "SupportedSecurity/SecurityInfo*/Encryptions", Kind::group},
    Field{"GetWirelessClientCapabilities", "SupportedSecurity/SecurityInfo*/Encryptions/string*",
          Kind::choice, kEncryption},
    Field{"GetWirelessClientConnectionInfo2", "Band", Kind::choice, "2.4GHz|5GHz"},
    Field{"GetWirelessClientConnectionInfo", "SSID"},
    Field{"GetWirelessClientConnectionInfo", "Frequency", Kind::choice, "0|2|5"},
    Field{"GetWirelessClientConnectionInfo", "Mode", Kind::choice, "|802.11a|802.11b|802.11g|802.11n"},
    Field{"GetWirelessClientConnectionInfo", "ChannelWidth", Kind::choice, "0|20|40|80"},
    Field{"GetWirelessClientConnectionInfo", "Channel", Kind::number, "0..200"},
    Field{"GetWirelessClientConnectionInfo", "SignalStrength", Kind::number, "0..100"},
    Field{"GetWirelessClientConnectionInfo", "Noise", Kind::number},
    Field{"GetWirelessClientConnectionInfo", "LinkSpeedIn", Kind::number, "0..10000000"},
    Field{"GetWirelessClientConnectionInfo", "LinkSpeedOut", Kind::number, "0..10000000"},
    Field{"GetWirelessClientConnectionInfo", "WmmEnabled", Kind::boolean},
    Field{"GetLastSetWirelessClientSettingsResult", "Result", Kind::choice,
          "UNKNOWN|SUCCESS|AUTHENTICATION_FAILURE|CONNECTION_FAILURE"},
    Field{"GetWirelessClientSettings", "SSID"},
    Field{"GetWirelessClientSettings", "NetworkType", Kind::choice, "INFRASTRUCTURE"},
    Field{"GetWirelessClientSettings", "SecurityEnabled", Kind::boolean},
    Field{"GetWirelessClientSettings", "SecurityType", Kind::choice, kSecurity},
    Field{"GetWirelessClientSettings", "Encryption", Kind::choice, kEncryption},
    Field{"GetWirelessClientSettings", "Key"},
    Field{"GetWirelessClientSettings", "Connected", Kind::boolean},
    Field{"GetWirelessNetworks", "WirelessNetworkList"},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*", Kind::group},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/SSID", Kind::filled},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/NetworkType", Kind::choice,
          "INFRASTRUCTURE"},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/Mode", Kind::choice, kModes},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/SignalStrength", Kind::number,
          "0..100"},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/SecurityEnabled", Kind::boolean},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/SecurityType", Kind::choice,
          kSecurity},
    Field{"GetWirelessNetworks", "WirelessNetworkList/WirelessNetwork*/Encryption", Kind::choice,
          kEncryption},
    Field{"GetConnectedDevices", "ConnectedClients", Kind::group},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*", Kind::group},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*/ConnectTime"},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*/MacAddress", Kind::mac},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*/DeviceName"},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*/PortName"},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*/Wireless", Kind::choice, "|true|false"},
    Field{"GetConnectedDevices", "ConnectedClients/ConnectedClient*/Active", Kind::choice, "|true|false"},
    Field{"DownloadSpeedTest", "ByteStream", Kind::filled},
    Field{"GetWirelessNetworks2", "WirelessNetworkList"},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*", Kind::group},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/SSID", Kind::filled},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/Mode", Kind::choice, kModes},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/Band", Kind::choice, "2.4GHz|5GHz"},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/SignalStrength", Kind::number,
          "0..100"},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/SecurityEnabled", Kind::boolean},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/SecurityType", Kind::choice,
          kSecurity},
    Field{"GetWirelessNetworks2", "WirelessNetworkList/WirelessNetwork2*/Encryption", Kind::choice,
          kEncryption},
    Field{"GetWPSStatus", "Status", Kind::choice,
          "|IDLE|SEARCHING|REGISTERING|CONNECTING|CONNECTED|ERROR_WALK_TIMEOUT|ERROR_SESSION_OVERLOAP|"
          "ERROR_SESSION_TIMEOUT|ERROR_INVALID_PIN"},
    Field{"GetMACFilters2", "Enabled", Kind::boolean},
    Field{"GetMACFilters2", "IsAllowList", Kind::boolean},
    Field{"GetMACFilters2", "MACList"},
    Field{"GetMACFilters2", "MACList/MACInfo*", Kind::group},
    Field{"GetMACFilters2", "MACList/MACInfo*/MacAddress", Kind::mac},
    Field{"GetMACFilters2", "MACList/MACInfo*/DeviceName"},
    Field{"GetNetworkStats", "Stats", Kind::group},
    Field{"GetNetworkStats", "Stats/NetworkStats*", Kind::group},
    Field{"GetNetworkStats", "Stats/NetworkStats*/PortName"},
    Field{"GetNetworkStats", "Stats/NetworkStats*/PacketsReceived", Kind::number},
    Field{"GetNetworkStats", "Stats/NetworkStats*/PacketsSent", Kind::number},
    Field{"GetNetworkStats", "Stats/NetworkStats*/BytesReceived", Kind::number},
    Field{"GetNetworkStats", "Stats/NetworkStats*/BytesSent", Kind::number},
};

}  // namespace

std::span<const ActionInfo> known_actions() {
  return kActions;
}

std::string_view purpose_of(std::string_view action) {
  for (const ActionInfo& known : kActions)
    if (action == known.name) return known.does;
  return {};
}

std::span<const Field> fields_of(std::string_view action) {
  const auto belongs = [action](const Field& field) { return action == field.action; };
  const auto first = std::find_if(kFields.begin(), kFields.end(), belongs);
  return {first, std::find_if_not(first, kFields.end(), belongs)};
}

}  // namespace hnap
