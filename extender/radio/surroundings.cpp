#include "radio/surroundings.hpp"

#include <cstdio>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "radio/scenes.hpp"
#include "section_text.hpp"

namespace kd::radio {
namespace {

std::string path_of(const std::string& name) {
  return std::string(layout::kRadio) + "/" + name;
}

std::string text_of(const std::string& name) {
  return read_file_or_empty(path_of(name));
}

}  // namespace

std::vector<Network> load_networks() {
  std::vector<Network> networks = parse_networks(text_of("neighbours"));
  apply_scenes(load_faults(), networks);
  return networks;
}
std::vector<Station> load_stations() {
  return parse_stations(text_of("stations"));
}
std::vector<Client> load_clients() {
  return parse_clients(text_of("clients"));
}
Link load_link() {
  Link link = parse_link(text_of("link"));
  apply_scenes(load_faults(), link);
  return link;
}
std::vector<Fault> load_faults() {
  return parse_faults(text_of("faults"));
}

std::string device_address() {
  unsigned words[3] = {0x4B02, 0x0044, 0x0100};  // where the file does not say
  for_each_line(text_of("eeprom"), [&](std::string_view line) {
    unsigned offset = 0;
    unsigned word = 0;
    if (std::sscanf(std::string(line).c_str(), "%x %x", &offset, &word) != 2) return;
    if (offset == 4 || offset == 6 || offset == 8) words[offset / 2 - 2] = word;
  });
  char text[18];
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", words[0] & 255U, words[0] >> 8 & 255U,
                words[1] & 255U, words[1] >> 8 & 255U, words[2] & 255U, words[2] >> 8 & 255U);
  return text;
}

std::optional<std::string> raw_text(const std::string& name) {
  return read_file(path_of("raw/" + name));
}

void load_driver_settings(store::Table& settings) {
  store::Table read;
  if (store::parse(read_file_or_empty(layout::kDriverConfig), read).status == store::ParseStatus::ok) {
    settings.swap(read);
  }
}

bool save_driver_settings(const store::Table& settings) {
  std::size_t size = 0;
  const store::OwnedText text = store::write(settings, size);
  return text && replace_file(layout::kDriverConfig, {text.get(), size});
}

bool save_link(Link link) {
  link.wsc = load_link().wsc;
  return replace_file(path_of("link"), format_link(link));
}

}  // namespace kd::radio
