#include "platform/nvram_config.hpp"

#include <cstring>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "nvram.h"
#include "platform/os.hpp"

namespace kd {

void open_config() {
  nvram_init(0);
  nvram_init(1);
}

void reopen_config() {
  nvram_close(0);
  nvram_init(0);
}

int kd_hnap_commit_config() {
  KD_LOG_MODULE("Commit settings");
  return nvram_commit(0);
}

HeapText nvram_text(const char* key) {
  return HeapText{nvram_bufget(0, key)};
}

void kd_get_nvram_config(const char* key, ConfigValue& dst) {
  HeapText value = nvram_text(key);
  if (value && std::strlen(value.get()) >= kConfigValueSize) {
    KD_LOG_MODULE("%s%d%s", "The nvram value exceed maximum length (", static_cast<int>(kConfigValueSize),
                  ")");
    // The store's copy of a refused value is given up, not freed: the device does so.
    outlives_request(value.release());
    return;
  }
  std::memset(dst, 0, kConfigValueSize);
  copy_text(dst, view_of(value.get()));
}

int nvram_number(const char* key) {
  ConfigValue value{};
  kd_get_nvram_config(key, value);
  return text_to_int(value);
}

int kd_set_nvram_config(const char* key, const char* value) {
  return nvram_bufset(0, key, value ? value : "");
}

void forget_last_choice() {
  os::system("nvram_set 2860 LastSetWirelessClientResult 0");
}

}  // namespace kd
