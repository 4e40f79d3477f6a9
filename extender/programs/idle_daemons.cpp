// Daemons of which the rest of the device only needs that they are there.
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "common/files.hpp"
#include "programs/programs.hpp"

namespace kd {
namespace {

constexpr const char* kPidFiles[][2] = {
    {"kd_rp_autochannel", "/var/run/kd_rp_autochannel.pid"},
    {"kd_wps_led", "/var/run/kd_wps_led.pid"},
    {"kd_wps_auto_pin", "/var/run/kd_wps_auto_pin.pid"},
    {"wscd", "/var/run/wscd.pid.ra0"},
    {"wpsctl", "/var/run/wpsctl.pid"},
};

const char* base_name(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

}  // namespace

int idle_daemon_main(int, char** argv) {
  for (const auto& [name, path] : kPidFiles) {
    if (std::strcmp(base_name(argv[0]), name) == 0) write_file(path, std::to_string(::getpid()) + "\n");
  }
  for (const int ignored : {SIGHUP, SIGUSR1, SIGUSR2}) ::signal(ignored, SIG_IGN);
  for (;;) ::pause();
}

int kelda_nmbd_sh_main(int, char**) {
  const pid_t pid = ::fork();
  if (pid < 0) return 1;
  if (pid > 0) return 0;
  ::setsid();
  ::execlp("kelda_nmbd", "kelda_nmbd", static_cast<char*>(nullptr));
  ::_exit(127);
}

}  // namespace kd
