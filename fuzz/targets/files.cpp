// The device's own files, as a crash or another program may leave them.
#include "base/memory.hpp"
#include "base/text.hpp"
#include "harness.hpp"
#include "lang/lang.hpp"
#include "module/mod_kd_hnap.hpp"
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
  const heap_text text{store::write(table, size)};
  store::Table again;
  demand(text && store::parse({text.get(), size}, again).status == store::ParseStatus::ok,
         "what is written can be read");
  demand(table.size() == again.size(), "all of it", {text.get(), size});

  Extender extender;
  for (const store::Entry& entry : table) {
    const char* same = again.find(entry.key);
    demand(same && view_of(same) == entry.value, "a value survives", entry.key);
    extender.device.set(entry.key, entry.value);
  }
  extender.device.set("Login", "admin");
  extender.device.set("Password", "password");
  for (const char* action : {"GetDeviceSettings", "GetDeviceSettings2", "GetWirelessClientSettings",
                             "GetWirelessClientConnectionInfo", "GetLastSetWirelessClientSettingsResult"}) {
    extender.ask(action);
  }
  hnap_connection_close_callback(kReloadWirelessAtClose, connection_uri::hnap);
}

}  // namespace kd::fuzz
