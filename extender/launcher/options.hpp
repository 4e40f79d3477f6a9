// What the command line asks of the launcher.
#ifndef KD_EXTENDER_OPTIONS_HPP
#define KD_EXTENDER_OPTIONS_HPP

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace kd {

// Exit statuses of the launcher besides 0.
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNoSandbox = 77;  // the system refuses a step of the sandbox: a test may count as skipped

// A failure with a message for the person at the terminal.
struct Failure : std::runtime_error {
  explicit Failure(const std::string& message, int exit_status = kExitFailed)
      : std::runtime_error(message), status(exit_status) {}
  int status;
};

struct Options {
  std::string server = "/usr/sbin/lighttpd";
  std::string server_modules;       // directory of the server's own modules; empty: where Debian has them
  std::string server_config;        // more lines of the web server's configuration; empty: none
  std::string module;               // mod_kd_hnap.so; "none" boots the bare server
  std::string preload;              // libkd_preload.so
  std::string store_library;        // libnvram.so
  std::string state;                // state directory
  std::string scenario;             // name or directory; empty: the one of the last run, else "home"
  std::uint16_t port = 8080;        // 0: any free port
  bool fresh = false;               // forget the store and the radio state of earlier runs
  std::optional<int> reboot_pause;  // milliseconds; overrides the scenario's setting
  std::optional<int> ready_delay;   // milliseconds; overrides the scenario's setting
};

}  // namespace kd

#endif
