#include "launcher/device_view.hpp"

#include <fcntl.h>

#include <filesystem>
#include <string_view>

#include "common/failure.hpp"
#include "common/files.hpp"
#include "common/layout.hpp"
#include "common/settings.hpp"
#include "launcher/places.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

void require_file(const std::string& path, const char* what, const char* option) {
  if (!fs::is_regular_file(path))
    throw Failure(std::string("no ") + what + " at " + path + " (" + option + ")", kExitUsage);
}

// A file that is no library would be passed over by the server's loader, and the device would never answer.
void require_library(const std::string& path, const char* what, const char* option) {
  require_file(path, what, option);
  const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  char magic[4] = "";
  if (!file || ::read(file.get(), magic, sizeof magic) != sizeof magic ||
      std::string_view(magic, sizeof magic) != "\177ELF") {
    throw Failure(path + " is no library (" + option + ")", kExitUsage);
  }
}

bool below_usr(const std::string& path) {
  return path.rfind("/usr/", 0) == 0;
}

std::string in_server_directory(const std::string& host_path) {
  return std::string(layout::kServerDirectory) + "/" + fs::path(host_path).filename().string();
}

// The first line of a built server's file "emulator": what runs it, when it is for another processor.
std::string emulator(const Options& options) {
  if (options.server_prefix.empty()) return {};
  const std::string text = read_file_or_empty(options.server_prefix + "/emulator");
  return text.substr(0, text.find('\n'));
}

// Whether the server can tell the pages by a regular expression: one that was built small cannot.
bool knows_expressions(const Options& options) {
  return options.server_prefix.empty() ||
         read_file_or_empty(options.server).find("libpcre") != std::string::npos;
}

// Libraries that such a server and its module need beside ours.
void add_libraries(const std::string& prefix, std::vector<Source>& list) {
  for (const fs::directory_entry& entry : fs::directory_iterator(prefix + "/lib")) {
    const std::string name = entry.path().filename().string();
    const bool ours = name == "libnvram.so" || name == "libkd_preload.so";
    if (entry.is_regular_file() && !ours)
      list.push_back({entry.path().string(), std::string(layout::kLibraryDirectory) + "/" + name});
  }
}

std::string server_modules_inside(const Options& options) {
  if (options.server_modules.empty()) return "/usr/lib/lighttpd";
  return below_usr(options.server_modules) ? options.server_modules : "/opt/server_modules";
}

}  // namespace

void check_files(const Options& options) {
  require_file(options.server, "web server", "--host-lighttpd; package lighttpd");
  require_library(options.preload, "preload library", "--preload");
  require_library(options.store_library, "store library", "--store-library");
  if (options.module != "none") require_library(options.module, "module", "--module; \"none\" boots without");
  for (const char* needed :
       {"/usr/bin/dash", "/usr/bin/grep", "/usr/bin/sed", "/usr/bin/cat", "/usr/bin/rm"}) {
    require_file(needed, "device shell tool", "the device takes it from the host");
  }
}

std::vector<Source> sources(const Options& options, const State& state) {
  std::vector<Source> list = {
      {"/usr", "/usr"},
      {program_path(), layout::kProgram},
      {options.store_library, std::string(layout::kLibraryDirectory) + "/libnvram.so"},
      {options.preload, layout::kPreloadLibrary},
      {state.scenario(), layout::kScenario},
      {shared_directory() + "/scenarios/home", layout::kHomeScenario},
      {exists(state.scenario() + "/web") ? state.scenario() + "/web" : shared_directory() + "/web",
       layout::kWeb},
      {shared_directory() + "/pages.conf", layout::kPagesConfig},
      {state.flash(), layout::kFlash, true},
      {state.radio(), layout::kRadio, true},
  };
  if (options.module != "none") {
    list.push_back({options.module, std::string(layout::kServerDirectory) + "/mod_kd_hnap.so"});
  }
  if (!below_usr(options.server)) list.push_back({options.server, in_server_directory(options.server)});
  if (!options.server_modules.empty() && !below_usr(options.server_modules)) {
    list.push_back({options.server_modules, "/opt/server_modules"});
  }
  if (!options.server_prefix.empty()) add_libraries(options.server_prefix, list);
  if (!options.server_config.empty()) list.push_back({options.server_config, layout::kMoreServerConfig});
  for (const char* device :
       {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"}) {
    list.push_back({device, device});
  }
  return list;
}

std::vector<std::string> init_arguments(const Options& options, const State& state, int boot, int port,
                                        std::size_t listeners) {
  const Settings settings = read_settings(state.scenario_file("settings"));
  return {
      "boot=" + std::to_string(boot),
      "port=" + std::to_string(port),
      "listeners=" + std::to_string(listeners),
      "server=" + (below_usr(options.server) ? options.server : in_server_directory(options.server)),
      "emulator=" + emulator(options),
      "pages=" + std::string(knows_expressions(options) ? "yes" : "no"),
      "server_modules=" + server_modules_inside(options),
      "module=" + std::string(options.module == "none" ? "no" : "yes"),
      "ready_delay=" + std::to_string(options.ready_delay.value_or(settings.ready_delay)),
  };
}

}  // namespace kd
