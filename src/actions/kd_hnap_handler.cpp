#include "actions/kd_hnap_handler.hpp"

#include <array>

namespace kd {
namespace {

// The order matters: a row is found by prefix of the SOAPAction and by substring of the action element's
// name, so a name comes before every name that it contains.
constexpr auto kTable = std::to_array<action_hndl_pair>({
    {"GetDeviceSettings", get_device_settings},
    {"SetDeviceSettings", set_device_settings},
    {"IsDeviceReady", is_device_ready},
    {"Reboot", reboot_dev},
    {"RestoreFactoryDefaults", restore_factory_defaults},
    {"GetWirelessClientCapabilities", get_wireless_client_capabilities},
    {"GetWirelessClientConnectionInfo2", get_wireless_client_connection_info2},
    {"GetWirelessClientConnectionInfo", get_wireless_client_connection_info},
    {"GetLastSetWirelessClientSettingsResult", get_last_set_wireless_client_settings_result},
    {"GetWirelessClientSettings", get_wireless_client_settings},
    {"SetWirelessClientSettings", set_wireless_client_settings},
    {"GetWirelessNetworks", get_wireless_networks},
    {"GetConnectedDevices", get_connected_devices},
    {"DownloadSpeedTest", download_speed_test},
});

template <std::size_t N>
constexpr bool no_row_is_shadowed(const std::array<action_hndl_pair, N>& table) {
  for (std::size_t later = 1; later < N; ++later) {
    for (std::size_t earlier = 0; earlier < later; ++earlier) {
      if (table[later].name.find(table[earlier].name) != std::string_view::npos) return false;
    }
  }
  return true;
}
static_assert(no_row_is_shadowed(kTable));

}  // namespace

std::span<const action_hndl_pair> action_hndl_pairs() {
  return kTable;
}

}  // namespace kd
