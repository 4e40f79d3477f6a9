// GetWirelessClientConnectionInfo, GetWirelessClientConnectionInfo2.
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "platform/repeater_conninfo.hpp"
#include "platform/site_survey.hpp"
#include "xml/reply.hpp"

namespace kd {

ReplyText get_wireless_client_connection_info(hnap_request& request, const xml_element*) {
  repeater_conninfo info{};
  kd_hnap_get_repeater_conninfo(info);
  KD_LOG_HANDLER("The current connection information as below ..\n");
  KD_LOG_HANDLER("the Repeater link status is %s\n", info.link_state ? "UP" : "DOWN");
  // A link that is down is no error: its values are zero or empty.
  Reply reply{request, "GetWirelessClientConnectionInfo", namespace_of(request)};
  reply.result("OK");
  KD_LOG_HANDLER("SSID befor xml encode: %s\n", info.ssid);
  const char* text = reply.encoded_leaf("SSID", info.ssid);
  KD_LOG_HANDLER("SSID after xml encode: %s\n", text);
  text = reply.number_leaf("Frequency", info.band);
  KD_LOG_HANDLER("Frequency: %s\n", text);
  text = reply.leaf("Mode", info.mode);
  KD_LOG_HANDLER("Mode: %s\n", text);
  text = reply.number_leaf("ChannelWidth", info.channel_width);
  KD_LOG_HANDLER("ChannelWidth: %s\n", text);
  text = reply.number_leaf("Channel", info.channel);
  KD_LOG_HANDLER("Channel: %s\n", text);
  text = reply.number_leaf("SignalStrength", info.signal);
  KD_LOG_HANDLER("SignalStrength: %s %%\n", text);
  text = reply.number_leaf("Noise", info.noise);
  KD_LOG_HANDLER("Noise: %s %%\n", text);
  text = reply.number_leaf("LinkSpeedIn", info.link_speed_in);
  KD_LOG_HANDLER("LinkSpeedIn: %s kbps\n", text);
  text = reply.number_leaf("LinkSpeedOut", info.link_speed_out);
  KD_LOG_HANDLER("LinkSpeedOut: %s kbps\n", text);
  text = reply.leaf("WmmEnabled", info.wmm_enabled ? "true" : "false");
  KD_LOG_HANDLER("WmmEnabled: %s\n", text);
  return reply.finish();
}

ReplyText get_wireless_client_connection_info2(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetWirelessClientConnectionInfo2", namespace_of(request)};
  if (!reply) return reply.finish();  // out of memory: spare the device its pipeline
  char band[7] = "";
  if (kd_hnap_get_repeater_wifi_band(band) < 0) {
    reply.result("ERROR");
    return reply.finish();
  }
  reply.result("OK");
  reply.leaf("Band", band);
  return reply.finish();
}

}  // namespace kd
