#include "radio/surroundings.hpp"

#include "common/files.hpp"
#include "common/layout.hpp"
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
  return parse_networks(text_of("neighbours"));
}
std::vector<Station> load_stations() {
  return parse_stations(text_of("stations"));
}
std::vector<Client> load_clients() {
  return parse_clients(text_of("clients"));
}
Link load_link() {
  return parse_link(text_of("link"));
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
