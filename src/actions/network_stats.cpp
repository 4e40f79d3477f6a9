// GetNetworkStats.
#include "actions/kd_hnap_handler.hpp"
#include "platform/if_statistics.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

void add_port(Reply& reply, const IfStatistics& port) {
  reply.open("NetworkStats");
  reply.leaf("PortName", port.port_name);
  reply.number_leaf("PacketsReceived", port.received_packets);
  reply.number_leaf("PacketsSent", port.sent_packets);
  reply.number_leaf("BytesReceived", port.received_bytes);
  reply.number_leaf("BytesSent", port.sent_bytes);
  reply.close();
}

}  // namespace

ReplyText get_network_stats(hnap_request& request, const xml_element*) {
  IfStatistics wireless{}, wired{};
  const int wireless_status = kd_hnap_get_if_statistics("ra0", true, wireless);
  const int wired_status = kd_hnap_get_if_statistics("eth2", false, wired);
  const bool failed = wireless_status == -1 || wired_status == -1;

  Reply reply{request, "GetNetworkStats", Namespace::core};
  reply.result(failed ? "ERROR" : "OK");
  reply.open("Stats");
  if (failed) return reply.finish();
  add_port(reply, wireless);
  add_port(reply, wired);
  return reply.finish();
}

}  // namespace kd
