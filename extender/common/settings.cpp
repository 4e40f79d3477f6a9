#include "common/settings.hpp"

#include <utility>

#include "common/files.hpp"

namespace kd {
namespace {

std::string wrong_upgrade(const std::string& value) {
  static constexpr const char* kEnds[] = {"ok", "stall", "fail"};
  return wrong_choice(value, kEnds);
}

constexpr ValueCheck kTime = number_within<0, 600000>;  // milliseconds
constexpr Field kFields[] = {{"ready_delay", kTime},   {"reboot_pause", kTime}, {"association_delay", kTime},
                             {"factory_pause", kTime}, {"upgrade_time", kTime}, {"upgrade", wrong_upgrade}};
constexpr Format kFormat{kFields, false};

}  // namespace

const Format& settings_format() {
  return kFormat;
}

Settings read_settings(const std::string& path) {
  const Record record = check_records(read_file_or_empty(path), kFormat).records.front();
  Settings settings;
  for (const auto& [name, value] : {std::pair<const char*, int*>{"ready_delay", &settings.ready_delay},
                                    {"reboot_pause", &settings.reboot_pause},
                                    {"association_delay", &settings.association_delay},
                                    {"factory_pause", &settings.factory_pause},
                                    {"upgrade_time", &settings.upgrade_time}}) {
    *value = record.number(name, *value);
  }
  settings.upgrade = record.text("upgrade", settings.upgrade);
  return settings;
}

}  // namespace kd
