// radiod: the part of the radio driver that joins the upstream network and stays with it. ifconfig tells it
// through a FIFO when apcli0 goes down or up; a FIFO keeps every event, also a down and an up within a few
// milliseconds. What changes under radio/ it sees by itself.
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "common/scenario.hpp"
#include "common/settings.hpp"
#include "nvram.h"
#include "programs/programs.hpp"
#include "radio/association.hpp"
#include "radio/formats.hpp"
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

void say(const std::string& line) {
  std::puts(("radiod: " + line).c_str());
  std::fflush(stdout);
}

class Radio {
 public:
  void handle(const std::string& event) {
    if (event == "apcli0 down") {
      wants_ = false;
      due_.reset();
      save({});
    } else if (event == "apcli0 up") {
      wants_ = true;
      const radio::Association association = judge();
      follow(association);
      outcome_ = association.outcome;
      has_result_ = true;
      due_ = Clock::now() + delay();
    }
  }

  // The surroundings changed: a network that is gone, or another than it was, is left; one that fits is
  // joined as long as the device wants one.
  void reconsider() {
    if (!wants_ || due_) return;
    const radio::Association association = judge();
    if (joined_ && same(association.link, *joined_)) return;
    if (joined_) {
      // A link that was edited by hand is another's.
      if (radio::same_address(radio::load_link().bssid, joined_->bssid)) save({});
      joined_.reset();
      say("the upstream network is gone");
    }
    if (association.outcome != radio::Outcome::joined) return;
    has_result_ = false;
    due_ = Clock::now() + delay();
  }

  int timeout() const {
    if (!due_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due_ - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
  }

  void finish_if_due() {
    if (!due_ || Clock::now() < *due_) return;
    due_.reset();
    if (!has_result_) {
      follow(judge());
      if (joined_) say("joined the upstream network");
      return;
    }
    // Only a reload that somebody asked for has a result; the boot's own association has none.
    if (exists("/tmp/SetWirelessClientSettings") && !store_result(outcome_)) {
      std::fputs("radiod: the result cannot be stored\n", stderr);
    }
    reconsider();
  }

 private:
  static bool same(const radio::Link& a, const radio::Link& b) {
    return a.state == b.state && a.channel == b.channel && radio::same_address(a.bssid, b.bssid);
  }

  static std::chrono::milliseconds delay() {
    return std::chrono::milliseconds(read_settings(scenario_file("settings")).association_delay);
  }

  static radio::Association judge() {
    store::Table settings;
    radio::load_driver_settings(settings);
    return radio::associate(radio::load_networks(), settings);
  }

  void save(const radio::Link& link) {
    if (!radio::save_link(link)) std::perror("radiod: radio/link");
  }

  void follow(const radio::Association& association) {
    save(association.link);
    joined_.reset();
    if (association.outcome == radio::Outcome::joined) joined_ = association.link;
  }

  bool wants_ = false;                    // apcli0 is up
  std::optional<radio::Link> joined_;     // as it was joined
  std::optional<Clock::time_point> due_;  // a judged association has its result, or a found network is joined
  bool has_result_ = false;
  radio::Outcome outcome_ = radio::Outcome::no_such_network;
};

// Names what is wrong in the files under radio/, once for each edit.
class Editor {
 public:
  void look(const std::string& name) {
    if (radio::is_note(name) || name.find(".new.") != std::string::npos) return;
    const std::optional<std::string> text = read_file(std::string(layout::kRadio) + "/" + name);
    std::string report;
    for (const Problem& problem : text ? radio::check_file(name, *text) : std::vector<Problem>()) {
      const std::string line = ", line " + std::to_string(problem.line);
      report += "radio/" + name + (problem.line > 0 ? line : "") + ": " + problem.text + " (the " +
                (problem.line > 0 ? "line" : "file") + " is ignored)\n";
    }
    if (report == reported_[name]) return;
    reported_[name] = report;
    std::fputs(report.c_str(), stdout);
    std::fflush(stdout);
  }

 private:
  std::map<std::string, std::string> reported_;
};

// What changes under radio/.
class Watch {
 public:
  Watch() : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    constexpr unsigned kChanges = IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE;
    const std::string raw = std::string(layout::kRadio) + "/raw";
    // Where the kernel has no watches left the device goes on without noticing edits by itself.
    if (::inotify_add_watch(fd_.get(), layout::kRadio, kChanges) < 0) std::perror("radiod");
    raw_ = ::inotify_add_watch(fd_.get(), raw.c_str(), kChanges);
  }
  int fd() const { return fd_.get(); }

  // The names of the files that changed since the last call.
  template <typename Use>
  void for_each(Use use) {
    alignas(inotify_event) char block[4096];
    for (ssize_t n; (n = ::read(fd_.get(), block, sizeof block)) > 0;) {
      for (ssize_t at = 0; at < n;) {
        inotify_event event;
        std::memcpy(&event, block + at, sizeof event);
        if (event.len > 0) use((event.wd == raw_ ? "raw/" : "") + std::string(block + at + sizeof event));
        at += static_cast<ssize_t>(sizeof event + event.len);
      }
    }
  }

 private:
  Fd fd_;
  int raw_ = -1;
};

}  // namespace

int radiod_main(int, char**) {
  // Open for both, so that it never ends when a writer does.
  const Fd events(::open(layout::kLinkEvents, O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (!events) {
    std::perror("radiod");
    return 1;
  }
  Watch watch;
  Radio radio;
  Editor editor;
  std::string received;
  for (;;) {
    pollfd waiting[] = {{events.get(), POLLIN, 0}, {watch.fd(), POLLIN, 0}};
    ::poll(waiting, 2, radio.timeout());
    char block[512];
    const ssize_t n = ::read(events.get(), block, sizeof block);
    if (n > 0) received.append(block, static_cast<std::size_t>(n));
    for (std::size_t end; (end = received.find('\n')) != std::string::npos; received.erase(0, end + 1)) {
      radio.handle(received.substr(0, end));
    }
    radio.finish_if_due();
    bool changed = false;
    watch.for_each([&](const std::string& name) {
      editor.look(name);
      changed = changed || name == "neighbours" || name == "faults";
    });
    if (changed) radio.reconsider();
  }
}

}  // namespace kd
