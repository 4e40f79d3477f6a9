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
using ActionHandler = ReplyText (*)(hnap_request& request, const xml_element* action);

struct action_hndl_pair {
  std::string_view name;
  ActionHandler handler;
};

// The dispatch table; the first matching row wins.
std::span<const action_hndl_pair> action_hndl_pairs();

// device_settings_2.cpp
ReplyText get_device_settings_2(hnap_request& request, const xml_element* action);
ReplyText set_device_settings_2(hnap_request& request, const xml_element* action);

// power.cpp
ReplyText is_device_ready(hnap_request& request, const xml_element* action);
ReplyText reboot_dev(hnap_request& request, const xml_element* action);
ReplyText restore_factory_defaults(hnap_request& request, const xml_element* action);

// device_settings.cpp
ReplyText get_device_settings(hnap_request& request, const xml_element* action);
ReplyText set_device_settings(hnap_request& request, const xml_element* action);

// wireless_networks.cpp
ReplyText get_wireless_networks(hnap_request& request, const xml_element* action);

// wireless_client_settings.cpp
ReplyText set_wireless_client_settings(hnap_request& request, const xml_element* action);
ReplyText get_wireless_client_settings(hnap_request& request, const xml_element* action);
ReplyText get_last_set_wireless_client_settings_result(hnap_request& request, const xml_element* action);

// client_capabilities.cpp
ReplyText get_wireless_client_capabilities(hnap_request& request, const xml_element* action);

// connection_info.cpp
ReplyText get_wireless_client_connection_info(hnap_request& request, const xml_element* action);
ReplyText get_wireless_client_connection_info2(hnap_request& request, const xml_element* action);

// connected_devices.cpp
ReplyText get_connected_devices(hnap_request& request, const xml_element* action);

// download_speed_test.cpp
ReplyText download_speed_test(hnap_request& request, const xml_element* action);

// firmware.cpp
ReplyText firmware_upload(hnap_request& request, const xml_element* action);
ReplyText get_firmware_settings(hnap_request& request, const xml_element* action);

// What follows is served only when the module is built with KD_HNAP_UNREGISTERED_ACTIONS.

// wps.cpp
ReplyText start_wps(hnap_request& request, const xml_element* action);
ReplyText stop_wps(hnap_request& request, const xml_element* action);
ReplyText get_wps_status(hnap_request& request, const xml_element* action);

// mac_filters.cpp
ReplyText get_mac_filters_2(hnap_request& request, const xml_element* action);
ReplyText set_mac_filters_2(hnap_request& request, const xml_element* action);

// wireless_networks.cpp, wireless_client_settings.cpp
ReplyText get_wireless_networks2(hnap_request& request, const xml_element* action);
ReplyText set_wireless_client_settings2(hnap_request& request, const xml_element* action);

// network_stats.cpp
ReplyText get_network_stats(hnap_request& request, const xml_element* action);

}  // namespace kd
