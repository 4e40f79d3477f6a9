// The device's own files, as a crash or another program may leave them, and the virtual extender's, as a
// person in the middle of an edit does.
#include "common/faults.hpp"
#include "harness.hpp"
#include "lang/lang.hpp"
#include "launcher/exchange.hpp"
#include "module/mod_kd_hnap.hpp"
#include "radio/association.hpp"
#include "radio/formats.hpp"
#include "radio/reports.hpp"
#include "radio/scenes.hpp"
#include "section_text.hpp"
#include "targets.hpp"

namespace kd::fuzz {

void strings_file(std::string_view input) {
  Extender extender;
  extender.device.files["/web/lang/STRINGS_EN.txt"] = input;
  lang_init();
  const std::string first_tag{head(input, input.find(','))};
  for (const char* tag : {"", "Save", first_tag.c_str()}) {
    const char* translation = nullptr;
    if (!lang_get(tag, &translation)) continue;
    demand(contains(input, translation) || contains(translation, "\n"), "a translation comes from the file",
           translation);
  }
}

void store_file(std::string_view input) {
  store::Table table;
  if (store::parse(input, table).status != store::ParseStatus::ok) return;
  std::size_t size = 0;
  const store::OwnedText text = store::write(table, size);
  store::Table again;
  demand(text && store::parse({text.get(), size}, again).status == store::ParseStatus::ok,
         "what is written can be read");
  demand(table.size() == again.size() && again.contains(table), "all of it", {text.get(), size});

  Extender extender;
  for (const store::Entry& entry : table) extender.device.set(entry.key, entry.value);
  extender.device.set("Login", "admin");
  extender.device.set("Password", "password");
  for (const char* action : {"GetDeviceSettings", "GetDeviceSettings2", "GetWirelessClientSettings",
                             "GetWirelessClientConnectionInfo", "GetLastSetWirelessClientSettingsResult"}) {
    extender.ask(action);
  }
  hnap_connection_close_callback(DeferredAction::reload_wireless, ConnectionUri::hnap);
}

void radio_files(std::string_view input) {
  for_each_line(input, [](std::string_view text) {
    Record record;
    if (!read_record(text, record).empty()) return;
    const std::string line = format_record(record);
    Record same;
    demand(!contains(line, "\n") && read_record(line, same).empty() && same.fields() == record.fields(),
           "a record survives", line);
  });
  for (const char* file : {"neighbours", "clients", "stations", "link", "eeprom", "faults"}) {
    radio::check_file(file, input);
  }
  std::vector<radio::Network> networks = radio::parse_networks(input);
  radio::apply_scenes(parse_faults(input), networks);
  read_request(input);
  read_reply(input);
  const radio::Link link = radio::parse_link(input);
  const std::string again = radio::format_link(radio::parse_link(radio::format_link(link)));
  demand(again == radio::format_link(link), "a link survives", again);
  radio::survey_text("ra0", networks);
  radio::station_table(radio::parse_stations(input));
  radio::client_list_text(radio::parse_clients(input));
  radio::stat_text(link);
  radio::iwconfig_text({"apcli0", link.ssid, link.channel, link.bssid, link.rate});
  radio::without_records(input, "bssid", link.bssid, true);
  store::Table settings;
  const Record all = parse_record(input);
  for (const auto& [name, value] : all.fields()) {
    if (!settings.set(name, value)) return;
  }
  radio::associate(networks, settings);
}

}  // namespace kd::fuzz
