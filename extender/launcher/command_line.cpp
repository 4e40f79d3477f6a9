#include "launcher/command_line.hpp"

#include <fcntl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.hpp"
#include "common/format.hpp"
#include "common/usage.hpp"
#include "launcher/attach.hpp"
#include "launcher/fault_commands.hpp"
#include "launcher/fleet.hpp"
#include "launcher/options.hpp"
#include "launcher/places.hpp"
#include "launcher/port.hpp"
#include "launcher/radio_commands.hpp"
#include "launcher/reports.hpp"
#include "launcher/run.hpp"
#include "launcher/scenarios.hpp"
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

CLI::Validator number_within(long least, long most) {
  return {[=](std::string& value) {
            const std::string right = wrong_number(value, least, most);
            return right.empty() ? right : "\"" + value + "\" is not " + right;
          },
          "N"};
}

const CLI::Validator kAddress(
    [](std::string& value) {
      return is_address(value) ? ""
                               : "\"" + value + "\" is no address, such as 192.168.1.5, 0.0.0.0, ::1 or ::";
    },
    "ADDRESS");

const CLI::Validator kFilled(
    [](std::string& value) { return value.empty() ? "an empty text names nothing" : ""; }, "");

// What stands between the commas.
std::vector<std::string> names_of(const std::string& list) {
  std::vector<std::string> names(1);
  for (const char c : list) {
    if (c == ',') {
      names.emplace_back();
    } else {
      names.back() += c;
    }
  }
  return names;
}

const CLI::Validator kNames(
    [](std::string& value) {
      const std::vector<std::string> names = names_of(value);
      const bool gap = std::find(names.begin(), names.end(), "") != names.end();
      return gap ? "\"" + value + "\" has no name in front of a comma or behind it: A,B,C" : "";
    },
    "");

const CLI::Validator kDirectory(
    [](std::string& value) { return fs::is_directory(value) ? "" : "\"" + value + "\" is no directory"; },
    "DIR");

const CLI::Validator kFile(
    [](std::string& value) { return fs::is_regular_file(value) ? "" : "\"" + value + "\" is no file"; },
    "FILE");

const CLI::Validator kOpenDescriptor(
    [](std::string& value) {
      const bool open = is_number_within(value, 0, 1 << 20) &&
                        (::fcntl(std::stoi(value), F_GETFL) & O_ACCMODE) != O_RDONLY &&
                        ::fcntl(std::stoi(value), F_GETFD) >= 0;
      return open ? "" : "\"" + value + "\" is no descriptor that is open for writing";
    },
    "FD");

std::string scenario_help() {
  std::string help = "Scenarios:\n";
  for (auto [name, about] : list_scenarios()) {
    name.resize(14, ' ');
    help += "  " + name + about + "\n";
  }
  return help;
}

class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", "extender " KD_HNAP_VERSION, "Print the release");
    app_.footer(
        "Exit statuses: 0 ended by a signal or by `stop`, 1 a failure, 2 wrong usage or wrong files,\n"
        "77 this system refuses the sandbox (the message says why, and what to allow).");
    app_.add_option("--state", state_,
                    "State directory (default $XDG_STATE_HOME/kd-extender or ~/.local/state/kd-extender)")
        ->type_name("DIR")
        ->check(kFilled);
    add_run();
    add_exec();
    add_reports();
    add_radio();
    add_fault();
    add_fleet();
  }

  int run(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::Success& help) {
      return app_.exit(help);
    } catch (const CLI::ParseError& error) {
      throw Failure(usage_sentence(error.what(), error.get_name(), app_.remaining(true)) +
                        ".\nTry: " + command_words() + " --help",
                    kExitUsage);
    }
    options_.state =
        absolute(state_.empty() ? default_state_directory() + (is_fleet_ ? "-fleet" : "") : state_);
    return chosen_();
  }

 private:
  // As far as the command was understood.
  std::string command_words() const {
    std::string words = "extender";
    for (const CLI::App* at = &app_; !at->get_subcommands().empty();) {
      at = at->get_subcommands().front();
      words += " " + at->get_name();
    }
    return words;
  }

  CLI::App* add(CLI::App& parent, const char* name, const char* help, std::function<int()> action) {
    CLI::App* command = parent.add_subcommand(name, help);
    command->fallthrough();  // --state stands in front of a command or behind it
    command->callback([this, action = std::move(action)] { chosen_ = action; });
    return command;
  }

  CLI::App* add_group(const char* name, const char* help) {
    CLI::App* group = app_.add_subcommand(name, help);
    group->fallthrough();
    group->require_subcommand(1);
    return group;
  }

  void add_words(CLI::App* command, const char* name, const char* help, bool required = true) {
    command->add_option(name, words_, help)->required(required)->type_name("");
  }

  void add_run() {
    CLI::App* run = add(app_, "run", "Boot the device; Ctrl-C ends it", [this] {
      complete(options_);
      return kd::run(options_);
    });
    run->add_option("--port", options_.port, "Port; 0 takes any free one (default 8080)")
        ->check(number_within(0, 65535));
    run->add_option("--listen", options_.listen,
                    "Address to listen on, IPv4 or IPv6; may stand several times (default 127.0.0.1)")
        ->check(kAddress)
        ->expected(1)
        ->take_all();
    run->add_option("--scenario", options_.scenario,
                    "Name (below) or directory (default: that of the last run, else home)")
        ->type_name("NAME")
        ->check(kFilled);
    run->add_flag("--fresh", options_.fresh,
                  "Start from the scenario: forget the store and the radio of earlier runs");
    run->add_option("--number", options_.device_number,
                    "A new state directory gets serial number, address and name of this device")
        ->check(number_within(1, 9999));
    run->add_option("--ready-fd", options_.ready_fd,
                    "Write the URL to this descriptor when the device answers")
        ->check(kOpenDescriptor);
    run->add_option("--module", options_.module,
                    "mod_kd_hnap.so (default: what was built or installed with this program); \"none\": the "
                    "bare server")
        ->type_name("FILE");
    run->add_option("--server", options_.server_prefix,
                    "Prefix of a web server that scripts/server built; it brings its own module")
        ->check(kDirectory);
    run->add_option("--host-lighttpd", options_.server, "Web server (default /usr/sbin/lighttpd)")
        ->type_name("FILE");
    run->add_option("--server-modules", options_.server_modules, "Directory of the web server's own modules")
        ->check(kDirectory);
    run->add_option("--server-config", options_.server_config,
                    "File with more lines for the web server's configuration; := replaces a value")
        ->check(kFile);
    run->add_option("--preload", options_.preload,
                    "Library with the driver's answers (default as the module)")
        ->type_name("FILE");
    run->add_option("--store-library", options_.store_library, "libnvram.so (default as the module)")
        ->type_name("FILE");
    run->add_option("--reboot-pause", options_.reboot_pause,
                    "Milliseconds without an answer between two boots")
        ->check(number_within(0, 600000));
    run->add_option("--ready-delay", options_.ready_delay, "Milliseconds from boot to a ready device")
        ->check(number_within(0, 600000));
    run->footer([] { return scenario_help(); });
  }

  void add_exec() {
    CLI::App* exec = add(app_, "exec", "Run a command inside the running device (none: a shell)",
                         [this]() -> int { run_inside(options_.state, words_); });
    add_words(exec, "command", "Command and its arguments, behind --", false);
  }

  void add_reports() {
    add(app_, "stop", "End the running device", [this] { return stop(options_.state); });
    CLI::App* status = add(app_, "status", "Print the URLs of the running device",
                           [this] { return print_status(options_.state, json_); });
    CLI::App* log = add(app_, "log", "Print the journal: requests and what they did to the device",
                        [this] { return print_log(options_.state, json_, follow_); });
    log->add_flag("-f,--follow", follow_, "Go on with what comes, until Ctrl-C");
    status->add_flag("--json", json_, "All that is known of it, as JSON");
    log->add_flag("--json", json_, "The lines of JSON as they are");
  }

  void add_radio() {
    CLI::App* radio = add_group("radio", "Change what is around the device (or edit the files in radio/)");
    add(*radio, "list", "List networks, clients and the link", [this] { return list_radio(options_.state); });
    add_words(add(*radio, "add", "Add a network: ssid=Name key=long-secret channel=11 signal=70 ...",
                  [this] { return add_network(options_.state, words_); }),
              "field", "Like name=value, as in radio/neighbours");
    CLI::App* remove =
        add(*radio, "remove", "Remove a network", [this] { return remove_network(options_.state, word_); });
    remove->add_option("ssid", word_, "Its name")->required()->type_name("");
    add_words(
        add(*radio, "connect", "Connect a client: mac=... ip=... name=... wireless=yes phy=HTMIX rate=65",
            [this] { return connect_client(options_.state, words_); }),
        "field", "Like name=value, as in radio/clients and radio/stations");
    CLI::App* disconnect = add(*radio, "disconnect", "Disconnect a client",
                               [this] { return disconnect_client(options_.state, word_); });
    disconnect->add_option("mac", word_, "Its address")->required()->type_name("");
    add_words(
        add(*radio, "link", "Raise or drop the upstream link, or change it: down, up, rssi=-70, rate=54 ...",
            [this] { return change_link(options_.state, words_); }),
        "field", "up, down or fields as in radio/link");
  }

  void add_fault() {
    CLI::App* fault = add_group("fault", "Let something go wrong (or edit radio/faults)");
    fault->footer(fault_help());
    add(*fault, "list", "List the faults that are on", [this] { return list_faults(options_.state); });
    CLI::App* add_one =
        add(*fault, "add", "Switch a fault on: late ms=2000 share=30, upstream-gone ssid=Name for=5000 ...",
            [this] { return kd::add_fault(options_.state, word_, words_); });
    add_one->add_option("fault", word_, "One of those below")->required()->type_name("");
    add_words(add_one, "field", "Like name=value", false);
    add_one->footer(fault_help());
    add_words(
        add(*fault, "clear", "Switch faults off", [this] { return clear_faults(options_.state, words_); }),
        "which", "Numbers as in the list, or names (none: all)", false);
  }

  void add_fleet() {
    CLI::App* fleet = add_group("fleet", "Run many devices; --state is the directory of all");
    const auto for_fleet = [&](const char* name, const char* help, std::function<int()> action) {
      CLI::App* command = add(*fleet, name, help, std::move(action));
      command->preparse_callback([this](std::size_t) { is_fleet_ = true; });
      return command;
    };
    CLI::App* up =
        for_fleet("up", "Boot devices; each has a serial number, address, name, port and state of its own",
                  [this] { return fleet_up(options_.state, fleet_); });
    up->add_option("count", fleet_.count, "How many")->required()->check(number_within(1, 500));
    up->add_option("--scenario", fleet_.scenarios, "Name or directory (default home)")
        ->expected(1)
        ->type_name("NAME")
        ->check(kFilled);
    up->add_option_function<std::string>(
          "--spread", [this](const std::string& names) { fleet_.scenarios = names_of(names); },
          "Scenarios by turns: A,B,C")
        ->type_name("NAMES")
        ->check(kNames)
        ->excludes("--scenario");
    up->add_option("--base-port", fleet_.base_port,
                   "Port of the first device, the others follow; 0: any (default 0)")
        ->check(number_within(0, 65535));
    up->add_option("--listen", fleet_.listen,
                   "Address to listen on; may stand several times (default 127.0.0.1)")
        ->check(kAddress)
        ->expected(1)
        ->take_all();
    up->add_option("--module", fleet_.module, "mod_kd_hnap.so (default ../lib)")->check(kFile);
    CLI::App* status = for_fleet("status", "List the devices; names those that crashed",
                                 [this] { return fleet_status(options_.state, json_); });
    status->add_flag("--json", json_, "As JSON");
    CLI::App* down = for_fleet("down", "End all devices and remove their directories",
                               [this] { return fleet_down(options_.state, fleet_.keep); });
    down->add_flag("--keep", fleet_.keep, "Leave the directories");
  }

  CLI::App app_{"A virtual Wi-Fi range extender: the HNAP module in a real web server, in a sandbox."};
  Options options_;
  FleetOptions fleet_;
  std::string state_;
  std::string word_;
  std::vector<std::string> words_;
  bool json_ = false;
  bool follow_ = false;
  bool is_fleet_ = false;
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
