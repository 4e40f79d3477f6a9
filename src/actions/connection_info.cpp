// GetWirelessClientConnectionInfo, GetWirelessClientConnectionInfo2.
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "platform/repeater_conninfo.hpp"
#include "platform/site_survey.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

void log_link(const hnap_request* request, const repeater_conninfo& info) {
  kd_hnap_printf(request, kHandlerSource, __LINE__, "The current connection information as below ..\n");
  kd_hnap_printf(request, kHandlerSource, __LINE__, "the Repeater link status is %s\n",
                 info.link_state ? "UP" : "DOWN");
  kd_hnap_printf(request, kHandlerSource, __LINE__, "SSID befor xml encode: %s\n", info.ssid);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "Frequency: %d\n", info.band);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "Mode: %s\n", info.mode);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "ChannelWidth: %d\n", info.channel_width);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "Channel: %d\n", info.channel);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "SignalStrength: %d %%\n", info.signal);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "Noise: %d %%\n", info.noise);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "LinkSpeedIn: %u kbps\n", info.link_speed_in);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "LinkSpeedOut: %u kbps\n", info.link_speed_out);
  kd_hnap_printf(request, kHandlerSource, __LINE__, "WmmEnabled: %s\n", info.wmm_enabled ? "true" : "false");
}

}  // namespace

reply_text get_wireless_client_connection_info(hnap_request& request, const xml_element*) {
  repeater_conninfo info{};
  kd_hnap_get_repeater_conninfo(&request, info);
  log_link(&request, info);
  // A link that is down is no error: its values are zero or empty.
  Reply reply{"GetWirelessClientConnectionInfo", namespace_of(request)};
  reply.result("OK");
  reply.encoded_leaf("SSID", info.ssid);
  reply.number_leaf("Frequency", info.band);
  reply.leaf("Mode", info.mode);
  reply.number_leaf("ChannelWidth", info.channel_width);
  reply.number_leaf("Channel", info.channel);
  reply.number_leaf("SignalStrength", info.signal);
  reply.number_leaf("Noise", info.noise);
  reply.number_leaf("LinkSpeedIn", info.link_speed_in);
  reply.number_leaf("LinkSpeedOut", info.link_speed_out);
  reply.leaf("WmmEnabled", info.wmm_enabled ? "true" : "false");
  return reply.finish();
}

reply_text get_wireless_client_connection_info2(hnap_request& request, const xml_element*) {
  Reply reply{"GetWirelessClientConnectionInfo2", namespace_of(request)};
  char band[7] = "";
  if (kd_hnap_get_repeater_wifi_band(&request, band) < 0) {
    reply.result("ERROR");
    return reply.finish();
  }
  reply.result("OK");
  reply.leaf("Band", band);
  return reply.finish();
}

}  // namespace kd
