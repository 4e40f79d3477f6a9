#include "launcher/command_line.hpp"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.hpp"
#include "launcher/attach.hpp"
#include "launcher/options.hpp"
#include "launcher/radio_commands.hpp"
#include "launcher/run.hpp"
#include "launcher/state.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

std::string absolute(const std::string& path) {
  return fs::absolute(path).lexically_normal().string();
}

// A built server brings its own modules, ours among them; for another processor also the libraries.
void take_server(Options& options) {
  const std::string prefix = absolute(options.server_prefix);
  options.server_prefix = prefix;
  options.server = prefix + "/sbin/lighttpd";
  options.server_modules = prefix + "/lib/lighttpd";
  if (options.module.empty()) options.module = options.server_modules + "/mod_kd_hnap.so";
  const std::string preload = prefix + "/lib/libkd_preload.so";
  const std::string store = prefix + "/lib/libnvram.so";
  if (options.preload.empty() && fs::exists(preload)) options.preload = preload;
  if (options.store_library.empty() && fs::exists(store)) options.store_library = store;
}

// In the build tree the libraries lie together, beside this program's directory.
std::string library(const char* name, const char* installed_in) {
  const fs::path prefix = install_prefix();
  const fs::path built = prefix / "lib" / name;
  return fs::exists(built) ? built : prefix / installed_in / name;
}

// Paths as the device's first process needs them.
void complete(Options& options) {
  if (!options.server_prefix.empty()) take_server(options);
  if (options.module.empty()) options.module = library("mod_kd_hnap.so", KD_MODULE_DIR);
  if (options.preload.empty()) options.preload = library("libkd_preload.so", KD_PRELOAD_DIR);
  if (options.store_library.empty()) options.store_library = library("libnvram.so", KD_STORE_DIR);
  for (std::string* path : {&options.server, &options.preload, &options.store_library})
    *path = absolute(*path);
  if (options.module != "none") options.module = absolute(options.module);
  for (std::string* path : {&options.server_modules, &options.server_config})
    if (!path->empty()) *path = absolute(*path);
}

class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", "extender " KD_HNAP_VERSION, "Print the release");
    app_.footer(
        "Exit statuses: 0 ended by a signal or by `stop`, 1 a failure, 2 wrong usage,\n"
        "77 this system refuses the sandbox (the message says why, and what to allow).");
    add_run();
    add_exec();
    add_stop_and_status();
    add_radio();
  }

  int run(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app_.exit(error) == 0 ? 0 : kExitUsage;
    }
    options_.state = absolute(options_.state.empty() ? default_state_directory() : options_.state);
    return chosen_();
  }

 private:
  void add_state(CLI::App* command) {
    command->add_option(
        "--state", options_.state,
        "State directory (default $XDG_STATE_HOME/kd-extender or ~/.local/state/kd-extender)");
  }

  CLI::App* add(CLI::App& parent, const char* name, const char* help, std::function<int()> action) {
    CLI::App* command = parent.add_subcommand(name, help);
    add_state(command);
    command->callback([this, action = std::move(action)] { chosen_ = action; });
    return command;
  }

  void add_run() {
    CLI::App* run = add(app_, "run", "Boot the device; Ctrl-C ends it", [this] {
      complete(options_);
      return kd::run(options_);
    });
    run->add_option("--port", options_.port, "Port on 127.0.0.1; 0 takes any free one (default 8080)");
    run->add_option("--scenario", options_.scenario,
                    "home, crowded, lonely or a directory (default: that of the last run, else home)");
    run->add_flag("--fresh", options_.fresh,
                  "Start from the scenario: forget the store and the radio of earlier runs");
    run->add_option("--module", options_.module,
                    "mod_kd_hnap.so (default: what was built or installed with this program); \"none\": the "
                    "bare server");
    run->add_option("--server", options_.server_prefix,
                    "Prefix of a web server that scripts/server built; it brings its own module");
    run->add_option("--host-lighttpd", options_.server, "Web server (default /usr/sbin/lighttpd)");
    run->add_option("--server-modules", options_.server_modules, "Directory of the web server's own modules");
    run->add_option("--server-config", options_.server_config,
                    "File with more lines for the web server's configuration; := replaces a value")
        ->check(CLI::ExistingFile);
    run->add_option("--preload", options_.preload, "Library with the driver's answers (default as the module)");
    run->add_option("--store-library", options_.store_library, "libnvram.so (default as the module)");
    run->add_option("--reboot-pause", options_.reboot_pause,
                    "Milliseconds without an answer between two boots")
        ->check(CLI::NonNegativeNumber);
    run->add_option("--ready-delay", options_.ready_delay, "Milliseconds from boot to a ready device")
        ->check(CLI::NonNegativeNumber);
  }

  void add_exec() {
    CLI::App* exec = add(app_, "exec", "Run a command inside the running device (none: a shell)",
                         [this]() -> int { run_inside(options_.state, words_); });
    exec->add_option("command", words_, "Command and its arguments, behind --");
    exec->prefix_command(false);
  }

  void add_stop_and_status() {
    add(app_, "stop", "End the running device", [this] { return stop(options_.state); });
    add(app_, "status", "Print the URL of the running device",
        [this] { return print_status(options_.state); });
  }

  void add_radio() {
    CLI::App* radio =
        app_.add_subcommand("radio", "Change what is around the device (or edit the files in radio/)");
    radio->require_subcommand(1);
    const auto with_words = [this](CLI::App* command, const char* name, const char* help) {
      command->add_option(name, words_, help)->required();
    };
    with_words(add(*radio, "add", "Add a network: ssid=Name key=secret channel=11 signal=70 ...",
                   [this] { return add_network(options_.state, words_); }),
               "fields", "Fields as in radio/neighbours");
    with_words(add(*radio, "remove", "Remove a network",
                   [this] { return remove_network(options_.state, words_.front()); }),
               "ssid", "Its name");
    with_words(
        add(*radio, "connect", "Connect a client: mac=... ip=... name=... wireless=yes phy=HTMIX rate=65",
            [this] { return connect_client(options_.state, words_); }),
        "fields", "Fields as in radio/clients and radio/stations");
    with_words(add(*radio, "disconnect", "Disconnect a client",
                   [this] { return disconnect_client(options_.state, words_.front()); }),
               "mac", "Its address");
    with_words(
        add(*radio, "link", "Raise or drop the upstream link, or change it: down, up, rssi=-70, rate=54 ...",
            [this] { return change_link(options_.state, words_); }),
        "change", "up, down or fields as in radio/link");
  }

  CLI::App app_{"A virtual Wi-Fi range extender: the HNAP module in a real web server, in a sandbox."};
  Options options_;
  std::vector<std::string> words_;
  std::function<int()> chosen_;
};

}  // namespace

int command_line(int argc, char** argv) {
  try {
    return CommandLine().run(argc, argv);
  } catch (const Failure& failure) {
    std::fprintf(stderr, "extender: %s\n", failure.what());
    return failure.status;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "extender: %s\n", error.what());
    return kExitFailed;
  }
}

}  // namespace kd
