#include "common/settings.hpp"

#include <algorithm>
#include <utility>

#include "common/files.hpp"
#include "common/record.hpp"

namespace kd {

Settings read_settings(const std::string& path) {
  const Record record = parse_record(read_file_or_empty(path));
  Settings settings;
  for (const auto& [name, value] : {std::pair<const char*, int*>{"ready_delay", &settings.ready_delay},
                                    {"reboot_pause", &settings.reboot_pause},
                                    {"association_delay", &settings.association_delay},
                                    {"factory_pause", &settings.factory_pause},
                                    {"upgrade_time", &settings.upgrade_time}}) {
    *value = std::max(0, record.number(name, *value));
  }
  settings.upgrade = record.text("upgrade", settings.upgrade);
  return settings;
}

}  // namespace kd
