#include "launcher/radio_commands.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/failure.hpp"
#include "common/files.hpp"
#include "common/record.hpp"
#include "radio/model.hpp"

namespace kd {
namespace {

std::string path_of(const std::string& state, const char* name) {
  return state + "/radio/" + name;
}

void replace(const std::string& path, const std::string& text) {
  if (!replace_file(path, text)) throw Failure(path + ": " + std::strerror(errno));
}

Record record_of(const std::vector<std::string>& fields) {
  Record record;
  for (const std::string& word : fields) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Failure("\"" + word + "\" is no field name=value", kExitUsage);
    }
    record.set(word.substr(0, equals), word.substr(equals + 1));
  }
  return record;
}

void require_field(const Record& record, const char* field) {
  if (!record.has(field)) throw Failure(std::string("say ") + field + "=...", kExitUsage);
}

void add_line(const std::string& path, std::string text, const Record& record) {
  if (!text.empty() && text.back() != '\n') text += '\n';
  replace(path, text + format_record(record) + "\n");
}

void drop_lines(const std::string& path, const char* field, const std::string& value, bool address) {
  replace(path, radio::without_records(read_file_or_empty(path), field, value, address));
}

}  // namespace

int add_network(const std::string& state, const std::vector<std::string>& fields) {
  const Record record = record_of(fields);
  require_field(record, "ssid");
  const std::string path = path_of(state, "neighbours");
  add_line(path, read_file_or_empty(path), record);
  return 0;
}

int remove_network(const std::string& state, const std::string& ssid) {
  drop_lines(path_of(state, "neighbours"), "ssid", ssid, false);
  return 0;
}

int connect_client(const std::string& state, const std::vector<std::string>& fields) {
  const Record record = record_of(fields);
  require_field(record, "mac");
  disconnect_client(state, record.text("mac"));
  Record client;
  Record station;
  for (const auto& [name, value] : record.fields()) {
    const bool of_station = name == "phy" || name == "bandwidth" || name == "rate" || name == "rssi";
    if (of_station || name == "mac") station.set(name, value);
    if (!of_station) client.set(name, value);
  }
  const std::string clients = path_of(state, "clients");
  const std::string stations = path_of(state, "stations");
  add_line(clients, read_file_or_empty(clients), client);
  if (record.flag("wireless", false)) add_line(stations, read_file_or_empty(stations), station);
  return 0;
}

int disconnect_client(const std::string& state, const std::string& mac) {
  drop_lines(path_of(state, "clients"), "mac", mac, true);
  drop_lines(path_of(state, "stations"), "mac", mac, true);
  return 0;
}

int change_link(const std::string& state, const std::vector<std::string>& words) {
  const std::string path = path_of(state, "link");
  Record record = parse_record(read_file_or_empty(path));
  for (const std::string& word : words) {
    if (word == "up" || word == "down") {
      record.set("state", word == "up" ? "1" : "0");
      continue;
    }
    const Record change = record_of({word});
    for (const auto& [name, value] : change.fields()) record.set(name, value);
  }
  replace(path, radio::format_link(radio::parse_link(format_record(record))));
  return 0;
}

}  // namespace kd
