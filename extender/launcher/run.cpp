#include "launcher/run.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "common/boot_protocol.hpp"
#include "common/failure.hpp"
#include "common/settings.hpp"
#include "launcher/device_view.hpp"
#include "launcher/event_loop.hpp"
#include "launcher/fault_board.hpp"
#include "launcher/file_watch.hpp"
#include "launcher/journal.hpp"
#include "launcher/places.hpp"
#include "launcher/port.hpp"
#include "launcher/proxy.hpp"
#include "launcher/sandbox.hpp"
#include "launcher/scenarios.hpp"
#include "launcher/state.hpp"

namespace kd {
namespace {

constexpr std::size_t kLastConsoleLines = 15;

enum class BootEnd { restart, stopped, powered_off };

class Signals {
 public:
  Signals() {
    sigemptyset(&set_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&set_, signal);
    sigprocmask(SIG_BLOCK, &set_, nullptr);
    fd_ = Fd(::signalfd(-1, &set_, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!fd_) throw Failure(std::string("signalfd: ") + std::strerror(errno));
  }
  int fd() const { return fd_.get(); }
  // Takes the waiting signals; true when one of them ends the run.
  bool take() const {
    bool end = false;
    signalfd_siginfo info{};
    while (::read(fd_.get(), &info, sizeof info) == sizeof info) end = end || info.ssi_signo != SIGCHLD;
    return end;
  }

 private:
  sigset_t set_{};
  Fd fd_;
};

void print_warning(const Port& port) {
  const std::vector<std::string> open = port.open_addresses();
  if (open.empty()) return;
  std::string list;
  for (const std::string& address : open) list += (list.empty() ? "" : ", ") + address;
  std::printf(
      "\nWarning: port %u of %s is open to everybody who reaches this machine there. They log in with the "
      "device's\n"
      "password, which goes unencrypted and is admin at first, and run the device's programs in its "
      "sandbox.\n",
      static_cast<unsigned>(port.number()), list.c_str());
}

void print_welcome(const Options& options, const State& state, const Port& port) {
  const std::string url = port.urls().front();
  const std::string option = options.state == default_state_directory() ? "" : " --state " + options.state;
  for (const std::string& each : port.urls()) std::puts(each.c_str());
  std::printf(
      "\n"
      "  scenario  %s\n"
      "  login     admin / admin (the store's \"Login\" and \"Password\")\n"
      "  console   %s/console.log\n"
      "  requests  %s log%s --follow\n"
      "  radio     %s/radio/  (plain text: edit it while the device runs)\n\n"
      "Try\n"
      "  curl %s/HNAP1/\n"
      "  hnap --host %s --user admin:admin networks\n"
      "  %s exec%s -- ps\n\n"
      "Ctrl-C ends it.\n",
      state.scenario_name().c_str(), state.directory().c_str(), program_path().c_str(), option.c_str(),
      state.directory().c_str(), url.c_str(), url.c_str(), program_path().c_str(), option.c_str());
  print_warning(port);
  std::fflush(stdout);
}

// Ends the device's first process, and with it everything inside, on every way out.
class Child {
 public:
  explicit Child(pid_t pid) : pid_(pid) {}
  Child(const Child&) = delete;
  ~Child() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  // The exit status when it has ended.
  std::optional<int> ended() {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) != pid_) return std::nullopt;
    pid_ = 0;
    return status;
  }

 private:
  pid_t pid_;
};

struct Pipe {
  Fd read;
  Fd write;
};

Pipe open_pipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw Failure(std::string("pipe: ") + std::strerror(errno));
  return {Fd(ends[0]), Fd(ends[1])};
}

// One run of the launcher: the sockets, the state and the boots.
class Launcher {
 public:
  explicit Launcher(const Options& options)
      : options_(options),
        identity_(device_identity()),
        port_(options.listen, options.port),
        state_(options, identity_),
        pause_(options.reboot_pause.value_or(read_settings(state_.scenario_file("settings")).reboot_pause)),
        watch_(loop_),
        journal_(state_.directory(), loop_, watch_),
        faults_(state_.directory(), loop_, watch_),
        proxy_(loop_, faults_, journal_, port_.listeners(), port_.own_number()) {
    loop_.watch(signals_.fd(), POLLIN, [this](short) { take_signals(); });
    faults_.changed = [this](const std::string& event, const std::string& fault) {
      if (!event.empty()) return journal_.note(event, fault);
      proxy_.divert(is_open_ && faults_.has_connection_faults());
      device_.faults = faults_.file();
      if (device_.init != 0) state_.record_device(device_);
    };
    faults_.read();
  }

  int run() {
    for (int boot = 1;; ++boot) {
      if (!pause((boot > 1 ? pause_ : 0) + faults_.slow_boot_milliseconds())) return 0;
      switch (run_boot(boot)) {
        case BootEnd::stopped:
          return 0;
        case BootEnd::powered_off:
          std::puts("The device powered off.");
          return 0;
        case BootEnd::restart:
          break;
      }
      is_open_ = false;
      proxy_.divert(false);
      port_.close();
      std::puts("The device restarts.");
      std::fflush(stdout);
      journal_.note("restart", "");
    }
  }

  ~Launcher() { state_.forget_device(); }

 private:
  BootEnd run_boot(int boot);
  BootEnd judge_end(int status) const;
  [[noreturn]] void fail_with_console(const std::string& what) const;
  void take_signals();
  bool read_report(int fd) const;
  void probe(Probe& probe, int boot);
  void announce(int boot);
  bool pause(int milliseconds);

  const Options& options_;
  Signals signals_;
  Identity identity_;
  Port port_;  // first: where there is none, nothing is changed
  State state_;
  int pause_;
  EventLoop loop_;
  FileWatch watch_;
  Journal journal_;
  FaultBoard faults_;
  Proxy proxy_;
  bool is_open_ = false;
  RunningDevice device_;
  Child* child_ = nullptr;      // of the boot that runs
  std::optional<BootEnd> end_;  // how it ended
};

void Launcher::take_signals() {
  if (signals_.take()) {
    end_ = BootEnd::stopped;
  } else if (child_ != nullptr && !end_) {
    if (const std::optional<int> status = child_->ended()) end_ = judge_end(*status);
  }
}

// Waits between two boots; false when a signal ends the run.
bool Launcher::pause(int milliseconds) {
  if (milliseconds == 0) return true;
  bool over = false;
  end_.reset();
  const unsigned timer =
      loop_.at(EventLoop::Clock::now() + std::chrono::milliseconds(milliseconds), [&] { over = true; });
  while (!over && !end_) loop_.turn();
  loop_.cancel(timer);
  return !end_;
}

BootEnd Launcher::run_boot(int boot) {
  state_.hand_over();
  port_.open();
  is_open_ = true;
  Pipe status = open_pipe();
  Pipe lifeline = open_pipe();
  std::vector<int> descriptors = {state_.console_log(), status.write.get(), lifeline.read.get(),
                                  journal_.writer(), proxy_.switch_fd()};
  const std::vector<int> listeners = port_.all_listeners();
  descriptors.insert(descriptors.end(), listeners.begin(), listeners.end());
  const pid_t pid =
      start_boot({sources(options_, state_), identity_,
                  init_arguments(options_, state_, boot, port_.number(), listeners.size()), descriptors});
  Child child(pid);
  child_ = &child;
  end_.reset();
  status.write.reset();
  lifeline.read.reset();
  device_ = {port_.urls(), pid, ::getpid(), boot, faults_.file()};
  state_.record_device(device_);

  std::optional<Probe> first_request;
  loop_.watch(status.read.get(), POLLIN, [&](short) {
    loop_.forget(status.read.get());
    if (!read_report(status.read.get())) return;
    first_request.emplace(port_.own_number());
    loop_.watch(first_request->fd(), first_request->events(), [&](short) { probe(*first_request, boot); });
  });
  proxy_.divert(faults_.has_connection_faults());
  while (!end_) loop_.turn();
  loop_.forget(status.read.get());
  if (first_request && !first_request->done()) loop_.forget(first_request->fd());
  child_ = nullptr;
  return *end_;
}

void Launcher::probe(Probe& probe, int boot) {
  const int fd = probe.fd();
  if (probe.proceed()) announce(boot);
  loop_.forget(fd);
  if (!probe.done())
    loop_.watch(fd, probe.events(), [this, &probe, boot](short) { this->probe(probe, boot); });
}

void Launcher::announce(int boot) {
  journal_.note("up", "boot " + std::to_string(boot));
  if (boot > 1) {
    std::printf("The device is back (boot %d).\n", boot);
    std::fflush(stdout);
    return;
  }
  print_welcome(options_, state_, port_);
  if (options_.ready_fd) {
    write_all(*options_.ready_fd, port_.urls().front() + "\n");
    ::close(*options_.ready_fd);
  }
}

// True when the device is up; false when it ended before, which its exit status explains.
bool Launcher::read_report(int fd) const {
  Report report{};
  if (::read(fd, &report, sizeof report) != sizeof report) return false;
  report.step[sizeof report.step - 1] = '\0';
  if (report.kind == Report::Kind::sandbox_refused) throw Refusal{report.step, report.error};
  return true;
}

BootEnd Launcher::judge_end(int status) const {
  // A real reboot(2) inside ends the first process with SIGHUP, a power-off with SIGINT.
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGHUP) return BootEnd::restart;
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) return BootEnd::powered_off;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kInitRestart) return BootEnd::restart;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kInitServerFailed) {
    fail_with_console("the web server does not stay up");
  }
  fail_with_console(WIFSIGNALED(status)
                        ? "the device's first process was ended by signal " + std::to_string(WTERMSIG(status))
                        : "the device's first process ended with status " +
                              std::to_string(WEXITSTATUS(status)));
}

void Launcher::fail_with_console(const std::string& what) const {
  const std::string log = read_file_or_empty(state_.directory() + "/console.log");
  std::size_t start = log.size();
  for (std::size_t lines = 0; start > 0; --start) {
    if (log[start - 1] == '\n' && start != log.size() && ++lines == kLastConsoleLines) break;
  }
  throw Failure(what + "; the end of " + state_.directory() + "/console.log:\n" + log.substr(start));
}

}  // namespace

int run(const Options& options) {
  check_files(options);
  check_addresses(options.listen);
  if (!options.scenario.empty()) check_scenario(find_scenario(options.scenario));
  if (find_running(options.state)) throw second_device(options.state);
  try {
    return Launcher(options).run();
  } catch (const Refusal& refusal) {
    throw Failure(explain(refusal), kExitNoSandbox);
  }
}

}  // namespace kd
