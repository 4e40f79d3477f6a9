#include "launcher/fleet.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "common/failure.hpp"
#include "common/files.hpp"
#include "launcher/port.hpp"
#include "launcher/scenarios.hpp"
#include "launcher/state.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestStart{60};
constexpr std::chrono::seconds kLongestEnd{10};
constexpr useconds_t kLook = 5000;  // microseconds between two looks at something that ends

volatile sig_atomic_t interrupted = 0;

std::string marker(const std::string& directory) {
  return directory + "/fleet";
}

struct Member {
  std::string name;   // "007"
  std::string state;  // its directory
  std::string log() const { return state + "/launcher.log"; }
};

Member member_of(const std::string& directory, int number) {
  char name[16];
  std::snprintf(name, sizeof name, "%03d", number);
  return {name, directory + "/" + name};
}

// The members of the fleet in a directory. Throws Failure when there is none.
std::vector<Member> members_of(const std::string& directory) {
  const std::optional<std::string> text = read_file(marker(directory));
  if (!text) throw Failure("no fleet in " + directory + "; \"extender fleet up\" starts one");
  std::vector<Member> members;
  const int count = std::clamp(parse_record(*text).number("count"), 0, 9999);
  for (int number = 1; number <= count; ++number) members.push_back(member_of(directory, number));
  return members;
}

void check(const std::string& directory, const FleetOptions& options) {
  if (options.base_port != 0 && options.base_port + options.count - 1 > 65535) {
    throw Failure("--base-port " + std::to_string(options.base_port) + " leaves no ports for " +
                      std::to_string(options.count) + " devices; the last port is 65535",
                  kExitUsage);
  }
  check_addresses(options.listen);
  for (const std::string& scenario : options.scenarios) check_scenario(find_scenario(scenario));
  if (exists(marker(directory))) {
    throw Failure("there is a fleet in " + directory + " already; \"extender fleet down\" ends it");
  }
  if (fs::exists(directory) && !fs::is_empty(directory)) {
    throw Failure(directory + " holds something else; give an empty directory or a new one with --state",
                  kExitUsage);
  }
}

[[noreturn]] void exec_launcher(const Member& member, int number, const FleetOptions& options, int ready) {
  std::vector<std::string> words = {"extender",   "run",      "--state",
                                    member.state, "--number", std::to_string(number)};
  words.insert(words.end(),
               {"--port", std::to_string(options.base_port == 0 ? 0 : options.base_port + number - 1)});
  if (!options.scenarios.empty()) {
    const std::size_t turn = static_cast<std::size_t>(number - 1) % options.scenarios.size();
    words.insert(words.end(), {"--scenario", options.scenarios[turn]});
  }
  for (const std::string& address : options.listen) words.insert(words.end(), {"--listen", address});
  if (!options.module.empty()) words.insert(words.end(), {"--module", options.module});
  words.insert(words.end(), {"--ready-fd", std::to_string(ready)});
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  ::setsid();
  const Fd input(::open("/dev/null", O_RDONLY));
  const Fd output(::open(member.log().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  ::dup2(input.get(), STDIN_FILENO);
  ::dup2(output.get(), STDOUT_FILENO);
  ::dup2(output.get(), STDERR_FILENO);
  ::fcntl(ready, F_SETFD, 0);
  ::execv("/proc/self/exe", argv.data());
  ::_exit(127);
}

// Starts one launcher; its end of the pipe tells when the device answers.
Fd start(const Member& member, int number, const FleetOptions& options) {
  int ends[2];
  if (!fs::create_directory(member.state) || ::pipe2(ends, O_CLOEXEC) != 0) {
    throw Failure(member.state + ": " + std::strerror(errno));
  }
  Fd read(ends[0]);
  const Fd write(ends[1]);
  const pid_t pid = ::fork();
  if (pid < 0) throw Failure(std::string("fork: ") + std::strerror(errno));
  if (pid == 0) exec_launcher(member, number, options, write.get());
  return read;
}

// What a launcher said last, or that it said nothing.
std::string last_words(const Member& member) {
  const std::string text = read_file_or_empty(member.log());
  const std::size_t complaint = text.find("extender: ");
  if (complaint != std::string::npos) return text.substr(complaint, text.find('\n', complaint) - complaint);
  return exists(member.state + "/device") ? "it was killed" : "";
}

// Waits until each device answers; gives back the names of those that do not, with the reason.
std::vector<std::string> wait_for_all(const std::vector<Member>& members, std::vector<Fd>& pipes) {
  std::vector<std::string> failed;
  const Clock::time_point end = Clock::now() + kLongestStart;
  std::size_t left = pipes.size();
  while (left > 0 && interrupted == 0) {
    std::vector<pollfd> waiting;
    for (const Fd& pipe : pipes) waiting.push_back({pipe ? pipe.get() : -1, POLLIN, 0});
    const auto time = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (time <= 0) break;
    ::poll(waiting.data(), waiting.size(), static_cast<int>(time));
    for (std::size_t i = 0; i < pipes.size(); ++i) {
      if (waiting[i].revents == 0) continue;
      char byte;
      if (::read(pipes[i].get(), &byte, 1) != 1)
        failed.push_back(members[i].name + ": " + last_words(members[i]));
      pipes[i].reset();
      --left;
    }
  }
  for (std::size_t i = 0; i < pipes.size(); ++i) {
    if (pipes[i])
      failed.push_back(members[i].name + ": " + (interrupted != 0 ? "interrupted" : "it does not answer"));
  }
  return failed;
}

bool is_init(pid_t pid) {
  return read_file_or_empty("/proc/" + std::to_string(pid) + "/comm") == "init\n";
}

// Ends the launchers of all members and waits until nothing of them is left.
void end_all(const std::vector<Member>& members) {
  std::vector<std::pair<Member, pid_t>> devices;
  for (const Member& member : members) {
    const std::optional<RunningDevice> running = find_running(member.state);
    if (running && running->launcher > 0) ::kill(running->launcher, SIGTERM);
    // A killed launcher's device ends by itself, a moment later.
    const Record left = parse_record(read_file_or_empty(member.state + "/device"));
    if (left.has("pid")) devices.emplace_back(member, left.number("pid"));
  }
  Clock::time_point end = Clock::now() + kLongestEnd;
  for (const auto& [member, init] : devices) {
    while (find_running(member.state) || is_init(init)) {
      if (Clock::now() > end) {
        const std::optional<RunningDevice> running = find_running(member.state);
        if (!running || running->launcher <= 0) break;
        ::kill(running->launcher, SIGKILL);
        end = Clock::now() + kLongestEnd;
      }
      ::usleep(kLook);
    }
  }
  // Launchers that were about to start when their fleet was interrupted have a lock, and no device yet.
  for (const Member& member : members) {
    while (find_running(member.state) && Clock::now() < end) {
      if (const auto running = find_running(member.state); running && running->launcher > 0) {
        ::kill(running->launcher, SIGTERM);
      }
      ::usleep(kLook);
    }
  }
}

void remove_all(const std::string& directory, const std::vector<Member>& members) {
  for (const Member& member : members) fs::remove_all(member.state);
  fs::remove(marker(directory));
  std::error_code ignored;
  fs::remove(directory, ignored);  // unless something else is in it
}

}  // namespace

int fleet_up(const std::string& directory, const FleetOptions& options) {
  check(directory, options);
  fs::create_directories(directory);
  if (!write_file(marker(directory), "count=" + std::to_string(options.count) + "\n")) {
    throw Failure(marker(directory) + ": " + std::strerror(errno));
  }
  struct sigaction stop {};
  stop.sa_handler = [](int) { interrupted = 1; };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal, &stop, nullptr);

  const std::vector<Member> members = members_of(directory);
  std::vector<Fd> pipes;
  for (int number = 1; number <= options.count && interrupted == 0; ++number) {
    pipes.push_back(start(members[static_cast<std::size_t>(number - 1)], number, options));
  }
  const std::vector<std::string> failed = wait_for_all(members, pipes);
  if (!failed.empty()) {
    end_all(members);
    remove_all(directory, members);
    std::string list;
    for (const std::string& each : failed) list += "\n  " + each;
    throw Failure("the fleet was ended again, because not all devices came up" + list);
  }
  for (const Member& member : members) {
    const std::optional<RunningDevice> running = find_running(member.state);
    std::printf("%s  %s\n", member.name.c_str(),
                running && !running->urls.empty() ? running->urls.front().c_str() : "-");
  }
  return 0;
}

int fleet_status(const std::string& directory, bool as_json) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  int crashed = 0;
  for (const Member& member : members_of(directory)) {
    const std::optional<RunningDevice> running = find_running(member.state);
    const bool runs = running && !running->urls.empty();
    const std::string why = runs ? "" : last_words(member);
    const std::string what = runs ? "running" : why.empty() ? "stopped" : "crashed";
    crashed += what == "crashed" ? 1 : 0;
    list.push_back({{"name", member.name}, {"status", what}, {"state", member.state}});
    if (runs) list.back()["url"] = running->urls.front();
    if (!why.empty()) list.back()["reason"] = why;
    if (!as_json) {
      std::printf(
          "%s  %-7s  %s\n", member.name.c_str(), what.c_str(),
          runs ? running->urls.front().c_str() : (why.empty() ? "" : why + "; see " + member.log()).c_str());
    }
  }
  if (as_json) std::puts(list.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
  return crashed > 0 ? 1 : 0;
}

int fleet_down(const std::string& directory, bool keep) {
  const std::vector<Member> members = members_of(directory);
  end_all(members);
  if (keep) {
    fs::remove(marker(directory));
  } else {
    remove_all(directory, members);
  }
  return 0;
}

}  // namespace kd
