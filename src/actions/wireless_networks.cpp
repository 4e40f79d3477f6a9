// GetWirelessNetworks, and GetWirelessNetworks2, which tells the band too.
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "platform/site_survey.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

void add_network(Reply& reply, const site_survey_entry& network, bool with_band) {
  reply.open(with_band ? "WirelessNetwork2" : "WirelessNetwork");
  reply.encoded_leaf("SSID", network.ssid);
  reply.leaf("NetworkType", network.network_type);
  reply.leaf("Mode", network.mode);
  if (with_band) reply.leaf("Band", network.band);
  reply.number_leaf("SignalStrength", network.signal);
  reply.leaf("SecurityEnabled", network.security_enabled ? "true" : "false");
  reply.leaf("SecurityType", network.security_type);
  reply.leaf("Encryption", network.encryption);
  reply.close();
}

ReplyText answer_networks(hnap_request& request, const char* action, bool with_band) {
  Reply reply{request, action, namespace_of(request)};
  if (!reply) return reply.finish();  // out of memory: spare the radio a scan
  site_survey_list list;
  if (kd_hnap_repeater_get_networks(list) < 0) return reply.only("ERROR");
  KD_LOG_HANDLER("Scan completed. There are %d AP information in list", list.count);
  reply.result("OK");
  reply.open("WirelessNetworkList");
  const site_survey_entry* network = list.head;
  for (std::int32_t left = list.count; left > 0 && network; --left, network = network->next) {
    add_network(reply, *network, with_band);
  }
  reply.close();
  kd_hnap_repeater_free_networks(list);
  return reply.finish();
}

}  // namespace

ReplyText get_wireless_networks(hnap_request& request, const xml_element*) {
  return answer_networks(request, "GetWirelessNetworks", false);
}

ReplyText get_wireless_networks2(hnap_request& request, const xml_element*) {
  return answer_networks(request, "GetWirelessNetworks2", true);
}

}  // namespace kd
