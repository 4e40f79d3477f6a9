// Every action that the module answers: the handlers and the table that binds them to their names.
//
// To add an action: declare its handler here, write it in the file of its family, add its row to the table in
// kd_hnap_handler.cpp.
#pragma once

#include <span>
#include <string_view>

#include "xml/hnap_request.hpp"
#include "xml/xml_tree.hpp"

namespace kd {

// Answers one action.
//   action   the request's action element, whose children are the arguments; null when there is none
//   returns  the whole reply; an empty one leaves the request without
using ActionHandler = ReplyText(hnap_request& request, const xml_element* action);

struct action_hndl_pair {
  std::string_view name;
  ActionHandler* handler;
};

// The dispatch table; the first matching row wins.
std::span<const action_hndl_pair> action_hndl_pairs();

// device_settings.cpp, device_settings_2.cpp
ActionHandler get_device_settings, set_device_settings;
ActionHandler get_device_settings_2, set_device_settings_2;
// power.cpp
ActionHandler is_device_ready, reboot_dev, restore_factory_defaults;
// wireless_networks.cpp
ActionHandler get_wireless_networks;
// wireless_client_settings.cpp
ActionHandler get_wireless_client_settings, set_wireless_client_settings;
ActionHandler get_last_set_wireless_client_settings_result;
// client_capabilities.cpp
ActionHandler get_wireless_client_capabilities;
// connection_info.cpp
ActionHandler get_wireless_client_connection_info, get_wireless_client_connection_info2;
// connected_devices.cpp
ActionHandler get_connected_devices;
// download_speed_test.cpp
ActionHandler download_speed_test;
// firmware.cpp
ActionHandler firmware_upload, get_firmware_settings;

// What follows is served only when the module is built with KD_HNAP_UNREGISTERED_ACTIONS.

// wps.cpp
ActionHandler start_wps, stop_wps, get_wps_status;
// mac_filters.cpp
ActionHandler get_mac_filters_2, set_mac_filters_2;
// network_stats.cpp
ActionHandler get_network_stats;
// wireless_networks.cpp, wireless_client_settings.cpp
ActionHandler get_wireless_networks2, set_wireless_client_settings2;

}  // namespace kd
