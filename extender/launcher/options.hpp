// What the command line asks of the launcher.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kd {

struct Options {
  std::string server = "/usr/sbin/lighttpd";
  std::string server_prefix;   // where a server was built with its module and libraries; empty: Debian's
  std::string server_modules;  // directory of the server's own modules; empty: where Debian has them
  std::string server_config;   // more lines of the web server's configuration; empty: none
  std::string module;          // mod_kd_hnap.so; "none" boots the bare server
  std::string preload;         // libkd_preload.so
  std::string store_library;   // libnvram.so
  std::string state;           // state directory
  std::string scenario;        // name or directory; empty: the one of the last run, else "home"
  std::uint16_t port = 8080;   // 0: any free port
  std::vector<std::string> listen = {"127.0.0.1"};  // addresses
  std::optional<int> ready_fd;                      // where the URL is written when the device answers
  std::optional<int> device_number;  // serial, address and name of a new device; none: as the scenario says
  bool fresh = false;                // forget the store and the radio state of earlier runs
  std::optional<int> reboot_pause;   // milliseconds; overrides the scenario's setting
  std::optional<int> ready_delay;    // milliseconds; overrides the scenario's setting
};

}  // namespace kd
