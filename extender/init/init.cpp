#include "init/init.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "common/boot_protocol.hpp"
#include "common/failure.hpp"
#include "common/files.hpp"
#include "common/layout.hpp"
#include "common/record.hpp"
#include "init/boot_files.hpp"
#include "programs/interfaces.hpp"

namespace kd {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kShutdownTime{1000};  // for the web server to write a queued reply
constexpr useconds_t kRefuseAfterMicroseconds = 5000;
constexpr milliseconds kRemindTime{100};  // between two requests to end, should the server miss one
constexpr milliseconds kShortLife{2000};  // a server that ends sooner after its start did not come up
constexpr int kMostShortLives = 3;

// What runs besides the web server, in the order of its start.
const char* const kDaemons[][5] = {
    {"radiod"},     {"nvram_daemon"},        {"kd_client_list"},        {"kd_rp_autochannel", "30", "30"},
    {"kd_wps_led"}, {"kd_wps_auto_pin"},     {"kd_vb_upnpd"},           {"kelda_nmbd"},
    {"mdnspr"},     {"udhcpc", "-i", "br0"}, {"wscd", "-m", "1", "-i"}, {"wpsctl"},
    {"kd_red"},
};

class Init {
 public:
  explicit Init(const Record& arguments) : arguments_(arguments), listeners_(arguments.number("listeners")) {}
  int run();

 private:
  void open_console();
  void hold_link_events();
  void block_signals();
  void say(const std::string& line) { write_all(kConsoleLogFd, line + "\n"); }
  void start_programs();
  void bring_up_radio();
  pid_t spawn(const std::vector<std::string>& command, bool web_server);
  void start_server();
  void report_ready();
  void drain_console();
  void take_signals();
  void reap();
  void server_ended(int status);
  void begin_shutdown();
  int next_timeout() const;

  const Record arguments_;
  const int listeners_;
  Fd console_;
  Fd console_writer_;
  Fd link_events_;
  Fd signals_;
  pid_t server_ = 0;
  Clock::time_point server_start_;
  int short_lives_ = 0;
  bool server_failed_ = false;
  bool all_gone_ = false;
  std::optional<Clock::time_point> ready_at_;
  std::optional<Clock::time_point> end_at_;  // set once the device goes down
};

void Init::open_console() {
  ::umask(0);
  if (::mkfifo(layout::kConsole, 0666) != 0) throw Failure(std::string("mkfifo: ") + std::strerror(errno));
  ::umask(022);
  // Open for both, so that a writer never finds the reading end gone.
  console_ = Fd(::open(layout::kConsole, O_RDWR | O_NONBLOCK | O_CLOEXEC));
  console_writer_ = Fd(::open(layout::kConsole, O_WRONLY | O_CLOEXEC));
  if (!console_ || !console_writer_) throw Failure(std::string("console: ") + std::strerror(errno));
  ::dup2(console_writer_.get(), STDOUT_FILENO);
  ::dup2(console_writer_.get(), STDERR_FILENO);
}

// As long as one reader holds the FIFO, an event waits for radiod, however late that starts.
void Init::hold_link_events() {
  link_events_ = Fd(::open(layout::kLinkEvents, O_RDWR | O_CLOEXEC));
  if (!link_events_) throw Failure(std::string("link events: ") + std::strerror(errno));
}

void Init::block_signals() {
  // Blocked and read here: the kernel drops what its first process neither handles nor blocks.
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGCHLD}) sigaddset(&set, signal);
  sigprocmask(SIG_SETMASK, &set, nullptr);
  signals_ = Fd(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!signals_) throw Failure(std::string("signalfd: ") + std::strerror(errno));
}

// Starts a device program with the environment of the device. 0 when that failed.
pid_t Init::spawn(const std::vector<std::string>& command, bool web_server) {
  const pid_t pid = ::fork();
  if (pid != 0) return pid > 0 ? pid : 0;
  ::setsid();
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  if (web_server) {
    for (int fd = kObserverFd; fd < kFirstListenerFd + listeners_; ++fd) ::fcntl(fd, F_SETFD, 0);
    ::setenv("KD_LISTENER", std::to_string(kFirstListenerFd).c_str(), 1);
    ::setenv("KD_LISTENERS", std::to_string(listeners_).c_str(), 1);
    ::setenv("KD_OBSERVER", std::to_string(kObserverFd).c_str(), 1);
    ::setenv("KD_SWITCH", std::to_string(kSwitchFd).c_str(), 1);
    ::setenv("LD_PRELOAD", layout::kPreloadLibrary, 1);
    ::setenv("LD_LIBRARY_PATH", layout::kLibraryDirectory, 1);
  }
  std::vector<std::string> copies = command;
  std::vector<char*> argv;
  argv.reserve(copies.size() + 1);
  for (std::string& word : copies) argv.push_back(word.data());
  argv.push_back(nullptr);
  ::execvp(argv[0], argv.data());
  const std::string message = command[0] + ": " + std::strerror(errno) + "\n";
  write_all(STDERR_FILENO, message);
  ::_exit(127);
}

void Init::start_server() {
  server_start_ = Clock::now();
  std::vector<std::string> command;
  std::istringstream emulator(arguments_.text("emulator"));
  for (std::string word; emulator >> word;) command.push_back(word);
  command.insert(command.end(), {arguments_.text("server"), "-D", "-f", "/etc/lighttpd.conf", "-m",
                                 layout::kServerDirectory});
  server_ = spawn(command, true);
}

void Init::report_ready() {
  const Report report{Report::Kind::ready, 0, {}};
  write_all(kStatusFd, {reinterpret_cast<const char*>(&report), sizeof report});
  ::close(kStatusFd);
}

// The driver starts with the stored settings, as after every reload of the wireless side.
void Init::bring_up_radio() {
  spawn({"sh", "-c", "ralink_init make_wireless_config rt2860; ifconfig apcli0 up"}, false);
}

void Init::start_programs() {
  for (const auto& daemon : kDaemons) {
    std::vector<std::string> command;
    for (const char* word : daemon) {
      if (word != nullptr) command.emplace_back(word);
    }
    if (command[0] == "wscd") command.emplace_back("ra0");
    spawn(command, false);
  }
  bring_up_radio();
}

void Init::drain_console() {
  char block[4096];
  for (;;) {
    const ssize_t n = ::read(console_.get(), block, sizeof block);
    if (n <= 0) return;
    write_all(kConsoleLogFd, {block, static_cast<std::size_t>(n)});
  }
}

void Init::server_ended(int status) {
  server_ = 0;
  if (end_at_) return;
  const std::string how = WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                                              : "ended with status " + std::to_string(WEXITSTATUS(status));
  short_lives_ = Clock::now() - server_start_ < kShortLife ? short_lives_ + 1 : 0;
  // One that never served will not serve the second time.
  const bool refused_to_start = short_lives_ > 0 && WIFEXITED(status) && WEXITSTATUS(status) != 0;
  if (refused_to_start || short_lives_ >= kMostShortLives) {
    say("init: the web server " + how);
    server_failed_ = true;
    return;
  }
  say("init: the web server " + how + ", starting it again");
  start_server();
}

void Init::reap() {
  int status = 0;
  pid_t pid;
  while ((pid = ::waitpid(-1, &status, WNOHANG)) > 0) {
    if (pid == server_) server_ended(status);
  }
  all_gone_ = pid < 0 && errno == ECHILD;
}

void Init::begin_shutdown() {
  if (end_at_) return;
  say("init: restarting");
  ::kill(-1, SIGTERM);
  // From now on the device refuses, also while its server is still busy with the reply to the order. The
  // moment in between lets an idle server end first: it would complain about its socket.
  ::usleep(kRefuseAfterMicroseconds);
  for (int i = 0; i < listeners_; ++i) ::shutdown(kFirstListenerFd + i, SHUT_RDWR);
  end_at_ = Clock::now() + kShutdownTime;
}

void Init::take_signals() {
  signalfd_siginfo info{};
  while (::read(signals_.get(), &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGTERM) begin_shutdown();
  }
  reap();
}

int Init::next_timeout() const {
  const std::optional<Clock::time_point>& next = end_at_ ? end_at_ : ready_at_;
  if (!next) return -1;
  auto left = std::chrono::ceil<milliseconds>(*next - Clock::now());
  if (end_at_) left = std::min(left, kRemindTime);
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

int Init::run() {
  open_console();
  block_signals();
  say("init: boot " + arguments_.text("boot") + ", " + firmware_line());
  make_boot_files(arguments_);
  hold_link_events();
  if (const std::string refused = make_interfaces(); !refused.empty()) {
    say("init: no network interfaces (" + refused + "), going on without");
  }
  start_server();
  report_ready();
  start_programs();
  ready_at_ = Clock::now() + milliseconds(arguments_.number("ready_delay"));

  for (;;) {
    if (end_at_ && (all_gone_ || Clock::now() >= *end_at_)) break;
    if (server_failed_) break;
    if (ready_at_ && Clock::now() >= *ready_at_) {
      ready_at_.reset();
      write_file(layout::kReady, "1\n");
      say("init: device ready");
    }
    pollfd waiting[] = {{signals_.get(), POLLIN, 0}, {console_.get(), POLLIN, 0}, {kLifelineFd, POLLIN, 0}};
    const int events = ::poll(waiting, 3, next_timeout());
    // A signal between the server's look at its flag and its wait for events is noticed a second later.
    if (events == 0 && end_at_ && server_ > 0) ::kill(server_, SIGTERM);
    if (waiting[2].revents != 0) return 1;  // the launcher is gone: everything ends with this process
    if (waiting[1].revents != 0) drain_console();
    if (waiting[0].revents != 0) take_signals();
  }
  drain_console();
  return server_failed_ ? kInitServerFailed : kInitRestart;
}

}  // namespace

int init_main(int argc, char** argv) {
  ::setsid();
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  Record arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    const std::size_t equals = word.find('=');
    if (equals != std::string_view::npos) arguments.set(word.substr(0, equals), word.substr(equals + 1));
  }
  for (int fd = kConsoleLogFd; fd < kFirstListenerFd + arguments.number("listeners"); ++fd) {
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  }
  try {
    return Init(arguments).run();
  } catch (const std::exception& error) {
    write_all(kConsoleLogFd, std::string("init: ") + error.what() + "\n");
    return 1;
  }
}

}  // namespace kd
