#include "launcher/attach.hpp"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "common/failure.hpp"
#include "common/layout.hpp"
#include "launcher/state.hpp"

namespace kd {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw Failure(what + ": " + std::strerror(errno));
}

RunningDevice require_running(const std::string& state) {
  const std::optional<RunningDevice> device = find_running(state);
  if (!device || device->init <= 0) throw Failure("no device runs on " + state);
  return *device;
}

// The user namespace first: it gives the right to enter the others.
void enter(pid_t init) {
  const std::string base = "/proc/" + std::to_string(init) + "/ns/";
  std::vector<Fd> namespaces;
  for (const char* name : {"user", "mnt", "pid", "net", "ipc", "uts"}) {
    namespaces.emplace_back(::open((base + name).c_str(), O_RDONLY | O_CLOEXEC));
    if (!namespaces.back()) fail(base + name);
  }
  for (const Fd& fd : namespaces) {
    if (::setns(fd.get(), 0) != 0) fail("enter the device");
  }
  if (::setgroups(0, nullptr) != 0 && errno != EPERM) fail("setgroups");  // denied to an ordinary user
  if (::setresgid(0, 0, 0) != 0 || ::setresuid(0, 0, 0) != 0) fail("become the device's root");
  if (::chdir("/") != 0) fail("chdir /");
}

[[noreturn]] void exec_inside(const std::vector<std::string>& command) {
  const char* terminal = std::getenv("TERM");
  const std::string term = terminal != nullptr ? terminal : "dumb";
  ::clearenv();
  ::setenv("PATH", layout::kPath, 1);
  ::setenv("NVRAM_DIR", layout::kFlash, 1);
  ::setenv("HOME", "/", 1);
  ::setenv("TERM", term.c_str(), 1);
  std::vector<std::string> words = command.empty() ? std::vector<std::string>{"sh"} : command;
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  ::execvp(argv[0], argv.data());
  std::fprintf(stderr, "extender: %s: %s\n", argv[0], std::strerror(errno));
  ::_exit(127);
}

}  // namespace

[[noreturn]] void run_inside(const std::string& state, const std::vector<std::string>& command) {
  enter(require_running(state).init);
  // Only a child is inside the process-id namespace.
  const pid_t pid = ::fork();
  if (pid < 0) fail("fork");
  if (pid == 0) exec_inside(command);
  ::signal(SIGINT, SIG_IGN);  // the terminal's Ctrl-C is meant for the command
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) fail("wait");
  }
  // At once: a leak check at a usual end would look for this process in the device, whose ids it has not.
  ::_exit(WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status));
}

int stop(const std::string& state) {
  const RunningDevice device = require_running(state);
  const Fd lock(::open((state + "/lock").c_str(), O_RDONLY | O_CLOEXEC));
  if (device.launcher <= 0 || ::kill(device.launcher, SIGTERM) != 0) fail("stop");
  // The launcher holds this lock to its end.
  if (!lock || ::flock(lock.get(), LOCK_SH) != 0) fail("wait for its end");
  return 0;
}

}  // namespace kd
