// GetConnectedDevices.
#include "actions/kd_hnap_handler.hpp"
#include "platform/client_list.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

void add_client(Reply& reply, const client_entry& client) {
  reply.open("ConnectedClient");
  reply.encoded_leaf("ConnectTime", client.connect_time);
  reply.encoded_leaf("MacAddress", client.mac);
  reply.encoded_leaf("DeviceName", client.device_name);
  reply.leaf("PortName", client.port_name);
  reply.leaf("Wireless", client.wireless);
  reply.encoded_leaf("Active", client.active);
  reply.close();
}

}  // namespace

ReplyText get_connected_devices(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetConnectedDevices", namespace_of(request)};
  if (!reply) return reply.finish();  // out of memory: spare the daemon and the two seconds
  ClientList list;
  kd_hnap_get_client_list(list);
  reply.result("OK");
  reply.open("ConnectedClients");
  // Nobody, or a list that cannot be had, is one client without anything.
  if (list.count == 0) add_client(reply, client_entry{});
  for (client_entry* client = list.head; client; client = client->next) {
    learn_device_name(*client);
    clean_device_name(client->device_name);
    add_client(reply, *client);
  }
  reply.close();
  kd_hnap_free_client_list(list);
  return reply.finish();
}

}  // namespace kd
