#include "actions/kd_hnap_handler.hpp"

#include <array>

namespace kd {
namespace {

// The order matters: a row is found by prefix of the SOAPAction and by substring of the action element's
// name, so a name comes before every name that it contains. The rows between #ifdef are complete, but only a
// vendor who asks for them at build time ships them.
constexpr auto kTable = std::to_array<action_hndl_pair>({
    {"GetDeviceSettings2", get_device_settings_2},
    {"SetDeviceSettings2", set_device_settings_2},
    {"GetDeviceSettings", get_device_settings},
    {"SetDeviceSettings", set_device_settings},
    {"IsDeviceReady", is_device_ready},
    {"Reboot", reboot_dev},
    {"RestoreFactoryDefaults", restore_factory_defaults},
    {"FirmwareUpload", firmware_upload},
    {"GetFirmwareSettings", get_firmware_settings},
    {"GetWirelessClientCapabilities", get_wireless_client_capabilities},
    {"GetWirelessClientConnectionInfo2", get_wireless_client_connection_info2},
    {"GetWirelessClientConnectionInfo", get_wireless_client_connection_info},
    {"GetLastSetWirelessClientSettingsResult", get_last_set_wireless_client_settings_result},
    {"GetWirelessClientSettings", get_wireless_client_settings},
#ifdef KD_HNAP_UNREGISTERED_ACTIONS
    {"SetWirelessClientSettings2", set_wireless_client_settings2},
#endif
    {"SetWirelessClientSettings", set_wireless_client_settings},
#ifdef KD_HNAP_UNREGISTERED_ACTIONS
    {"GetWirelessNetworks2", get_wireless_networks2},
#endif
    {"GetWirelessNetworks", get_wireless_networks},
    {"GetConnectedDevices", get_connected_devices},
    {"DownloadSpeedTest", download_speed_test},
#ifdef KD_HNAP_UNREGISTERED_ACTIONS
    {"StartWPS", start_wps},
    {"StopWPS", stop_wps},
    {"GetWPSStatus", get_wps_status},
    {"GetMACFilters2", get_mac_filters_2},
    {"SetMACFilters2", set_mac_filters_2},
    {"GetNetworkStats", get_network_stats},
#endif
});

consteval bool no_row_is_shadowed() {
  for (std::size_t later = 1; later < kTable.size(); ++later) {
    for (std::size_t earlier = 0; earlier < later; ++earlier) {
      if (kTable[later].name.find(kTable[earlier].name) != std::string_view::npos) return false;
    }
  }
  return true;
}
static_assert(no_row_is_shadowed());

}  // namespace

std::span<const action_hndl_pair> action_hndl_pairs() {
  return kTable;
}

}  // namespace kd
