#include "actions/kd_hnap_handler.hpp"

#include <array>

namespace kd {
namespace {

// The order matters: a row is found by prefix of the SOAPAction and by substring of the action element's
// name, so a name comes before every name that it contains.
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
    {"SetWirelessClientSettings", set_wireless_client_settings},
    {"GetWirelessNetworks", get_wireless_networks},
    {"GetConnectedDevices", get_connected_devices},
    {"DownloadSpeedTest", download_speed_test},
});

// Complete, but only a vendor who asks for them at build time ships them.
constexpr auto kUnregistered = std::to_array<action_hndl_pair>({
    {"StartWPS", start_wps},
    {"StopWPS", stop_wps},
    {"GetWPSStatus", get_wps_status},
    {"GetMACFilters2", get_mac_filters_2},
    {"SetMACFilters2", set_mac_filters_2},
    {"GetNetworkStats", get_network_stats},
    {"SetWirelessClientSettings2", set_wireless_client_settings2},
    {"GetWirelessNetworks2", get_wireless_networks2},
});

constexpr bool holds(std::string_view name, std::string_view part) {
  return name.find(part) != std::string_view::npos;
}

template <std::size_t N>
constexpr bool no_row_is_shadowed(const std::array<action_hndl_pair, N>& table) {
  for (std::size_t later = 1; later < N; ++later) {
    for (std::size_t earlier = 0; earlier < later; ++earlier) {
      if (holds(table[later].name, table[earlier].name)) return false;
    }
  }
  return true;
}

// Appends the rows of `more`; one whose name holds that of an earlier row goes right before it.
template <std::size_t N, std::size_t M>
constexpr auto with_rows(const std::array<action_hndl_pair, N>& table,
                         const std::array<action_hndl_pair, M>& more) {
  std::array<action_hndl_pair, N + M> result{};
  std::size_t size = 0;
  for (const action_hndl_pair& row : table) result[size++] = row;
  for (const action_hndl_pair& row : more) {
    std::size_t at = 0;
    while (at < size && !holds(row.name, result[at].name)) ++at;
    for (std::size_t moved = size++; moved > at; --moved) result[moved] = result[moved - 1];
    result[at] = row;
  }
  return result;
}

constexpr auto kFullTable = with_rows(kTable, kUnregistered);

static_assert(kTable.size() == 18);
static_assert(no_row_is_shadowed(kTable));
static_assert(no_row_is_shadowed(kFullTable));

}  // namespace

std::span<const action_hndl_pair> action_hndl_pairs() {
#ifdef KD_HNAP_UNREGISTERED_ACTIONS
  return kFullTable;
#else
  return kTable;
#endif
}

}  // namespace kd
