// GetWirelessClientConnectionInfo, GetWirelessClientConnectionInfo2.
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "platform/repeater_conninfo.hpp"
#include "platform/site_survey.hpp"
#include "xml/reply.hpp"

namespace kd {

reply_text get_wireless_client_connection_info(hnap_request& request, const xml_element*) {
  repeater_conninfo info{};
  kd_hnap_get_repeater_conninfo(&request, info);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "The current connection information as below ..\n");
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "the Repeater link status is %s\n",
                 info.link_state ? "UP" : "DOWN");
  // A link that is down is no error: its values are zero or empty.
  Reply reply{"GetWirelessClientConnectionInfo", namespace_of(request)};
  reply.result("OK");
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "SSID befor xml encode: %s\n", info.ssid);
  const char* text = reply.encoded_leaf("SSID", info.ssid);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "SSID after xml encode: %s\n", text);
  text = reply.number_leaf("Frequency", info.band);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Frequency: %s\n", text);
  text = reply.leaf("Mode", info.mode);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Mode: %s\n", text);
  text = reply.number_leaf("ChannelWidth", info.channel_width);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "ChannelWidth: %s\n", text);
  text = reply.number_leaf("Channel", info.channel);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Channel: %s\n", text);
  text = reply.number_leaf("SignalStrength", info.signal);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "SignalStrength: %s %%\n", text);
  text = reply.number_leaf("Noise", info.noise);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Noise: %s %%\n", text);
  text = reply.number_leaf("LinkSpeedIn", info.link_speed_in);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "LinkSpeedIn: %s kbps\n", text);
  text = reply.number_leaf("LinkSpeedOut", info.link_speed_out);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "LinkSpeedOut: %s kbps\n", text);
  text = reply.leaf("WmmEnabled", info.wmm_enabled ? "true" : "false");
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "WmmEnabled: %s\n", text);
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
