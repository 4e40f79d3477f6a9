// What is around the device and behind it: networks, clients.
#include "networks.hpp"

#include "commands/clients.hpp"
#include "commands/commands.hpp"
#include "table.hpp"
#include "text.hpp"

namespace hnap {
namespace {

Cell signal_cell(const Network& network, const Style& style) {
  const std::optional<long> percent = whole_number(network.signal);
  if (!percent) return {visible(network.signal)};
  std::string number = std::to_string(*percent);
  number.insert(0, number.size() < 3 ? 3 - number.size() : 0, ' ');
  return {bars_of(*percent, style) + " " + number + " %", colour_of_signal(*percent)};
}

Json as_json(const Network& network) {
  Json json = Json::object();
  json.text("ssid", network.ssid)
      .number_or_null("signal", network.signal)
      .number_or_null("channel", network.channel)
      .text_or_null("band", network.band)
      .text_or_null("mode", network.mode)
      .flag("secured", network.secured)
      .text_or_null("security", network.security)
      .text_or_null("encryption", network.encryption)
      .text_or_null("bssid", network.bssid);
  return json;
}

Json as_json(const Client& client) {
  Json json = Json::object();
  json.text("name", client.name)
      .text("mac", client.mac)
      .text("port", client.port)
      .flag("wireless", client.wireless)
      .flag("active", client.active)
      .text("since", client.since);
  return json;
}

}  // namespace

void list_networks(Context& context) {
  const std::vector<Network> networks = survey(context.device);
  Json list = Json::list();
  Table table({{"NAME", 0, false, 16},
               {"SIGNAL"},
               {"CHANNEL", 4, true},
               {"BAND", 2},
               {"SECURITY", 1},
               {"CIPHER", 3},
               {"MODE", 6},
               {"BSSID", 5}});
  for (const Network& network : networks) {
    list.add(as_json(network));
    table.add({{visible(network.ssid)},
               signal_cell(network, context.style),
               {visible(network.channel)},
               {visible(network.band)},
               {network.secured ? visible(network.security) : "open"},
               {visible(network.encryption)},
               {visible(network.mode)},
               {visible(network.bssid)}});
  }
  if (context.json) return print(list);
  if (networks.empty()) return print(std::string("The device sees no network."));
  table.print(context.style, stdout);
}

std::vector<Client> clients_of(Device& device) {
  const Reply reply = device.call("GetConnectedDevices");
  std::vector<Client> clients;
  for (const pugi::xml_node node : child(reply.response, "ConnectedClients").children()) {
    Client client;
    client.name = without_blanks_around(text_of(node, "DeviceName"));
    client.mac = text_of(node, "MacAddress");
    client.port = text_of(node, "PortName");
    client.since = text_of(node, "ConnectTime");
    client.wireless = text_of(node, "Wireless") == "true";
    client.active = text_of(node, "Active") == "true";
    // Without clients a device answers one whose texts are all empty.
    if (!client.mac.empty() || !client.name.empty()) clients.push_back(std::move(client));
  }
  return clients;
}

void list_clients(Context& context) {
  const std::vector<Client> clients = clients_of(context.device);
  Json list = Json::list();
  Table table({{"NAME", 0, false, 16}, {"MAC"}, {"PORT", 1}, {"ACTIVE", 2}, {"SINCE", 3}});
  for (const Client& client : clients) {
    list.add(as_json(client));
    table.add({{visible(client.name)},
               {visible(client.mac)},
               {visible(client.port)},
               {client.active ? "yes" : "no"},
               {visible(client.since)}});
  }
  if (context.json) return print(list);
  if (clients.empty()) return print(std::string("No client is connected."));
  table.print(context.style, stdout);
}

}  // namespace hnap
