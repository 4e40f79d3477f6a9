// GetNetworkStats.
#include <cstdio>

#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "platform/if_statistics.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

void add_counter(Reply& reply, const char* name, std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(value));
  reply.leaf(name, text);
}

void add_port(Reply& reply, const IfStatistics& port) {
  reply.open("NetworkStats");
  reply.leaf("PortName", port.port_name);
  add_counter(reply, "PacketsReceived", port.counters[kReceivedPackets]);
  add_counter(reply, "PacketsSent", port.counters[kSentPackets]);
  add_counter(reply, "BytesReceived", port.counters[kReceivedBytes]);
  add_counter(reply, "BytesSent", port.counters[kSentBytes]);
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
  KD_LOG_HANDLER("Rx Packets: %u", wired.counters[kReceivedPackets]);
  // One label for three counters.
  for (const std::uint32_t counter :
       {wired.counters[kSentPackets], wired.counters[kReceivedBytes], wired.counters[kSentBytes]}) {
    KD_LOG_HANDLER("Tx Packets: %u", counter);
  }
  return reply.finish();
}

}  // namespace kd
