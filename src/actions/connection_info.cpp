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
  KD_LOG_HANDLER("the Repeater link status is %s\n", info.link_state ? "UP" : "DOWN");
  // A link that is down is no error: its values are zero or empty.
  Reply reply{request, "GetWirelessClientConnectionInfo", namespace_of(request)};
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

ReplyText get_wireless_client_connection_info2(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetWirelessClientConnectionInfo2", namespace_of(request)};
  if (!reply) return reply.finish();  // out of memory: spare the device its pipeline
  char band[7] = "";
  if (kd_hnap_get_repeater_wifi_band(band) < 0) return reply.only("ERROR");
  reply.result("OK");
  reply.leaf("Band", band);
  return reply.finish();
}

}  // namespace kd
