// radiod: the part of the radio driver that joins the upstream network. ifconfig tells it through a FIFO
// when apcli0 goes down or up; a FIFO keeps every event, also a down and an up within a few milliseconds.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "common/scenario.hpp"
#include "common/settings.hpp"
#include "nvram.h"
#include "programs/programs.hpp"
#include "radio/association.hpp"
#include "radio/surroundings.hpp"

namespace kd {
namespace {

using Clock = std::chrono::steady_clock;

bool store_result(radio::Outcome outcome) {
  const bool stored = nvram_init(0) == 0 &&
                      nvram_bufset(0, "LastSetWirelessClientResult",
                                   std::to_string(static_cast<int>(outcome)).c_str()) == 0 &&
                      nvram_commit(0) == 0;
  nvram_close(0);
  return stored;
}

class Radio {
 public:
  void handle(const std::string& event) {
    if (event == "apcli0 down") {
      pending_ = false;
      save({});
    } else if (event == "apcli0 up") {
      judge();
    }
  }

  int timeout() const {
    if (!pending_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due_ - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
  }

  void finish_if_due() {
    if (!pending_ || Clock::now() < due_) return;
    pending_ = false;
    // Only a reload that somebody asked for has a result; the boot's own association has none.
    if (exists("/tmp/SetWirelessClientSettings") && !store_result(outcome_)) {
      std::fputs("radiod: the result cannot be stored\n", stderr);
    }
  }

 private:
  void save(const radio::Link& link) {
    if (!radio::save_link(link)) std::perror("radiod: radio/link");
  }

  void judge() {
    store::Table settings;
    radio::load_driver_settings(settings);
    const radio::Association association = radio::associate(radio::load_networks(), settings);
    save(association.link);
    const int delay = read_settings(scenario_file("settings")).association_delay;
    outcome_ = association.outcome;
    due_ = Clock::now() + std::chrono::milliseconds(delay);
    pending_ = true;
  }

  // A judged association whose result is not stored yet.
  bool pending_ = false;
  radio::Outcome outcome_ = radio::Outcome::no_such_network;
  Clock::time_point due_{};
};

}  // namespace

int radiod_main(int, char**) {
  // Open for both, so that it never ends when a writer does.
  const Fd events(::open(layout::kLinkEvents, O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (!events) {
    std::perror("radiod");
    return 1;
  }
  Radio radio;
  std::string received;
  for (;;) {
    pollfd waiting = {events.get(), POLLIN, 0};
    ::poll(&waiting, 1, radio.timeout());
    char block[512];
    const ssize_t n = ::read(events.get(), block, sizeof block);
    if (n > 0) received.append(block, static_cast<std::size_t>(n));
    for (std::size_t end; (end = received.find('\n')) != std::string::npos; received.erase(0, end + 1)) {
      radio.handle(received.substr(0, end));
    }
    radio.finish_if_due();
  }
}

}  // namespace kd
