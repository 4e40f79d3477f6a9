#include "launcher/run.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "common/boot_protocol.hpp"
#include "common/failure.hpp"
#include "common/settings.hpp"
#include "launcher/device_view.hpp"
#include "launcher/port.hpp"
#include "launcher/sandbox.hpp"
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

void print_welcome(const Options& options, const State& state, const Port& port) {
  const std::string url = port.url();
  const std::string option = options.state == default_state_directory() ? "" : " --state " + options.state;
  std::printf(
      "%s\n\n"
      "  scenario  %s\n"
      "  login     admin / admin (the store's \"Login\" and \"Password\")\n"
      "  console   %s/console.log\n"
      "  radio     %s/radio/  (plain text: edit it while the device runs)\n\n"
      "Try\n"
      "  curl %s/HNAP1/\n"
      "  curl -u admin:admin -H 'SOAPAction: \"http://purenetworks.com/HNAP1/IsDeviceReady\"' \\\n"
      "    -d '<Envelope><Body><IsDeviceReady xmlns=\"http://purenetworks.com/HNAP1/\"/></Body></Envelope>' "
      "%s/HNAP1/\n"
      "  %s exec%s -- ps\n\n"
      "Ctrl-C ends it.\n",
      url.c_str(), state.scenario_name().c_str(), state.directory().c_str(), state.directory().c_str(),
      url.c_str(), url.c_str(), program_path().c_str(), option.c_str());
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

// One run of the launcher: the socket, the state and the boots.
class Launcher {
 public:
  explicit Launcher(const Options& options)
      : options_(options),
        identity_(device_identity()),
        state_(options, identity_),
        port_(options.port),
        pause_(options.reboot_pause.value_or(read_settings(state_.scenario_file("settings")).reboot_pause)) {}

  int run() {
    for (int boot = 1;; ++boot) {
      switch (run_boot(boot)) {
        case BootEnd::stopped:
          return 0;
        case BootEnd::powered_off:
          std::puts("The device powered off.");
          return 0;
        case BootEnd::restart:
          break;
      }
      port_.close();
      std::puts("The device restarts.");
      std::fflush(stdout);
      if (!pause()) return 0;
    }
  }

  ~Launcher() { state_.forget_device(); }

 private:
  BootEnd run_boot(int boot);
  BootEnd judge_end(int status) const;
  [[noreturn]] void fail_with_console(const std::string& what) const;
  BootEnd watch(Child& child, Fd& status, int boot);
  bool read_report(int fd) const;
  void announce(int boot) const;
  bool pause() const;

  const Options& options_;
  Signals signals_;
  Identity identity_;
  State state_;
  Port port_;
  int pause_;
};

// Waits between two boots; false when a signal ends the run.
bool Launcher::pause() const {
  pollfd waiting = {signals_.fd(), POLLIN, 0};
  while (::poll(&waiting, 1, pause_) > 0) {
    if (signals_.take()) return false;
  }
  return true;
}

BootEnd Launcher::run_boot(int boot) {
  state_.hand_over();
  port_.open();
  Pipe status = open_pipe();
  Pipe lifeline = open_pipe();
  const Boot request{sources(options_, state_),
                     identity_,
                     init_arguments(options_, state_, boot, port_.number()),
                     port_.listener(),
                     state_.console_log(),
                     status.write.get(),
                     lifeline.read.get()};
  const pid_t pid = start_boot(request);
  Child child(pid);
  status.write.reset();
  lifeline.read.reset();
  state_.record_device({port_.url(), pid, ::getpid()}, boot);
  return watch(child, status.read, boot);
}

BootEnd Launcher::watch(Child& child, Fd& status, int boot) {
  std::optional<Probe> probe;
  for (;;) {
    pollfd waiting[3] = {{signals_.fd(), POLLIN, 0},
                         {status ? status.get() : -1, POLLIN, 0},
                         {probe ? probe->fd() : -1, probe ? probe->events() : short{0}, 0}};
    if (::poll(waiting, 3, -1) < 0 && errno != EINTR) {
      throw Failure(std::string("poll: ") + std::strerror(errno));
    }
    if (waiting[1].revents != 0) {
      if (read_report(status.get())) probe.emplace(port_.number());
      status.reset();
    }
    if (waiting[2].revents != 0 && probe) {
      if (probe->proceed()) announce(boot);
      if (probe->done()) probe.reset();
    }
    if (waiting[0].revents != 0) {
      if (signals_.take()) return BootEnd::stopped;
      if (const std::optional<int> ended = child.ended()) return judge_end(*ended);
    }
  }
}

void Launcher::announce(int boot) const {
  if (boot == 1) {
    print_welcome(options_, state_, port_);
  } else {
    std::printf("The device is back (boot %d).\n", boot);
    std::fflush(stdout);
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
  try {
    return Launcher(options).run();
  } catch (const Refusal& refusal) {
    throw Failure(explain(refusal), kExitNoSandbox);
  }
}

}  // namespace kd
