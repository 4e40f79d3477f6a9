// status: the upstream link and how many clients there are, once or again and again.
#include <cstdio>
#include <thread>

#include "commands/clients.hpp"
#include "commands/commands.hpp"
#include "failure.hpp"
#include "table.hpp"
#include "text.hpp"

namespace hnap {
namespace {

struct Status {
  Reply chosen, link;
  long clients = 0;
  long active = 0;

  bool connected() const { return chosen["Connected"] == "true"; }
  std::string band() const {
    const std::string frequency = link["Frequency"];
    return frequency == "2" ? "2.4GHz" : frequency == "5" ? "5GHz" : "";
  }
};

Status read_status(Device& device) {
  Status status{device.call("GetWirelessClientSettings"), device.call("GetWirelessClientConnectionInfo")};
  for (const Client& client : clients_of(device)) {
    ++status.clients;
    status.active += client.active ? 1 : 0;
  }
  return status;
}

Json as_json(const Status& status) {
  Json json = Json::object();
  json.flag("connected", status.connected())
      .text_or_null("configured_ssid", status.chosen["SSID"])
      .text_or_null("security", status.chosen["SecurityType"])
      .text_or_null("ssid", status.link["SSID"])
      .text_or_null("band", status.band())
      .number_or_null("channel", status.link["Channel"])
      .number_or_null("channel_width", status.link["ChannelWidth"])
      .text_or_null("mode", status.link["Mode"])
      .number_or_null("signal", status.link["SignalStrength"])
      .number_or_null("noise", status.link["Noise"])
      .number_or_null("link_speed_in", status.link["LinkSpeedIn"])
      .number_or_null("link_speed_out", status.link["LinkSpeedOut"])
      .flag("wmm", status.link["WmmEnabled"] == "true")
      .number("clients", status.clients)
      .number("clients_active", status.active);
  return json;
}

std::string megabits(const std::string& kilobits) {
  const std::optional<long> number = whole_number(kilobits);
  return number ? decimal(static_cast<double>(*number) / 1000, 0) + " Mbit/s" : visible(kilobits);
}

using Fields = std::vector<std::pair<std::string, std::string>>;

void add_link(Fields& fields, const Status& status, const Style& style) {
  const long signal = whole_number(status.link["SignalStrength"]).value_or(0);
  fields.emplace_back("Signal", coloured(bars_of(signal, style) + " " + std::to_string(signal) + " %",
                                         colour_of_signal(signal), style));
  fields.emplace_back("Channel", visible(status.link["Channel"]) + ", " +
                                     visible(status.link["ChannelWidth"]) + " MHz wide" +
                                     (status.band().empty() ? "" : ", " + status.band()));
  fields.emplace_back("Mode", visible(status.link["Mode"]));
  fields.emplace_back("Rate in", megabits(status.link["LinkSpeedIn"]));
  fields.emplace_back("Rate out", megabits(status.link["LinkSpeedOut"]));
}

Fields fields_of(const Status& status, const Style& style) {
  const std::string chosen = visible(status.chosen["SSID"]);
  Fields fields;
  if (status.connected()) {
    fields.emplace_back("Upstream",
                        coloured("up", Colour::good, style) + ", " + visible(status.link["SSID"]));
    add_link(fields, status, style);
  } else {
    fields.emplace_back("Upstream", coloured("down", Colour::bad, style) +
                                        (chosen.empty() ? ", no network chosen" : ", chosen is " + chosen));
  }
  fields.emplace_back("Clients",
                      std::to_string(status.clients) + ", " + std::to_string(status.active) + " active");
  return fields;
}

void print_status(Context& context, bool again) {
  const Status status = read_status(context.device);
  if (context.json) {
    print(as_json(status).dump(again));
  } else {
    if (again && context.style.escapes) std::fputs("\x1b[H\x1b[J", stdout);
    print_fields(fields_of(status, context.style), context.style);
    if (again && !context.style.escapes) print(std::string());
  }
  std::fflush(stdout);
}

}  // namespace

void show_status(Context& context, const StatusOptions& options) {
  if (!options.watch) return print_status(context, false);
  for (;;) {
    try {
      print_status(context, true);
    } catch (const Failure& failure) {  // it may be back the next time
      if (failure.status() != Exit::unreachable) throw;
      std::fprintf(stderr, "hnap: %s\n", failure.what());
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(options.interval));
  }
}

}  // namespace hnap
