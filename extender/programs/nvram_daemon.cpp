// The configuration daemon: SIGUSR2 restores the factory defaults and restarts the device.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "common/files.hpp"
#include "common/scenario.hpp"
#include "common/settings.hpp"
#include "programs/programs.hpp"
#include "section_file.hpp"
#include "section_text.hpp"

namespace kd {
namespace {

bool replace_locked(int section, const store::Table& table) {
  store::Lock lock;
  return lock.acquire(store::directory(), section) &&
         store::replace_section(store::directory(), section, table);
}

bool restore_defaults() {
  store::Table defaults;
  const std::string text = read_file_or_empty(scenario_file("store"));
  return store::parse(text, defaults).status == store::ParseStatus::ok && replace_locked(0, defaults) &&
         replace_locked(1, store::Table());
}

}  // namespace

int nvram_daemon_main(int, char**) {
  sigset_t order;
  sigemptyset(&order);
  sigaddset(&order, SIGUSR2);
  sigprocmask(SIG_BLOCK, &order, nullptr);
  int signal = 0;
  while (sigwait(&order, &signal) != 0) {
  }
  std::puts("nvram_daemon: restoring the factory defaults");
  std::fflush(stdout);
  // The one who ordered it sleeps 5 seconds and then answers its client. Restoring last also undoes what is
  // committed until then.
  ::usleep(static_cast<useconds_t>(read_settings(scenario_file("settings")).factory_pause) * 1000U);
  if (!restore_defaults()) std::puts("nvram_daemon: the defaults cannot be stored");
  std::fflush(stdout);
  ::kill(1, SIGTERM);
  return 0;
}

}  // namespace kd
