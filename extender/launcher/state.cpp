#include "launcher/state.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "common/failure.hpp"
#include "common/record.hpp"
#include "section_file.hpp"
#include "section_text.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw Failure(what + ": " + std::strerror(errno));
}

std::string text_or_empty(const char* text) {
  return text == nullptr ? "" : text;
}

// Scenario files that describe the surroundings; the rest of a scenario describes the device.
void copy_radio_files(const std::string& from, const std::string& to) {
  if (!fs::is_directory(from)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
    fs::copy(entry.path(), to + "/" + entry.path().filename().string(),
             fs::copy_options::overwrite_existing | fs::copy_options::recursive);
  }
}

}  // namespace

std::string default_state_directory() {
  const std::string xdg = text_or_empty(std::getenv("XDG_STATE_HOME"));
  if (!xdg.empty()) return xdg + "/kd-extender";
  const std::string home = text_or_empty(std::getenv("HOME"));
  if (home.empty())
    throw Failure("neither XDG_STATE_HOME nor HOME is set: say where with --state", kExitUsage);
  return home + "/.local/state/kd-extender";
}

std::string program_path() {
  return fs::read_symlink("/proc/self/exe").string();
}

std::string install_prefix() {
  return fs::path(program_path()).parent_path().parent_path().string();
}

std::string shared_directory() {
  std::string directory = install_prefix() + "/share/kd-extender";
  if (!fs::is_directory(directory + "/scenarios/home")) throw Failure("no scenarios in " + directory);
  return directory;
}

std::optional<RunningDevice> find_running(const std::string& state) {
  const Fd lock(::open((state + "/lock").c_str(), O_RDONLY | O_CLOEXEC));
  if (!lock || ::flock(lock.get(), LOCK_SH | LOCK_NB) == 0) return std::nullopt;
  const Record record = parse_record(read_file_or_empty(state + "/device"));
  RunningDevice device{record.text("url"), record.number("pid"), record.number("launcher")};
  return device;
}

State::State(const Options& options, const Identity& identity)
    : directory_(options.state), identity_(identity) {
  try {
    const bool made = fs::create_directories(directory_);
    if (made) give_to_device_user(directory_);
    lock_ = Fd(::open((directory_ + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!lock_) fail(directory_ + "/lock");
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
      throw Failure("a device already runs on " + directory_ + "; stop it, or use another --state");
    }
    fs::create_directories(flash());
    fs::create_directories(radio());
    choose_scenario(options);
    fill_store();
    const std::string log = directory_ + "/console.log";
    console_log_ = Fd(::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644));
    if (!console_log_) fail(log);
  } catch (const fs::filesystem_error& error) {
    throw Failure(std::string("state directory: ") + error.what());
  }
}

void State::choose_scenario(const Options& options) {
  const std::string record = directory_ + "/scenario";
  const std::string last = read_file_or_empty(record).substr(0, read_file_or_empty(record).find('\n'));
  scenario_name_ = !options.scenario.empty() ? options.scenario : !last.empty() ? last : "home";

  // A name is one of the shipped scenarios; anything with a slash is a directory.
  const bool is_path = scenario_name_.find('/') != std::string::npos;
  scenario_ = is_path ? fs::absolute(scenario_name_).lexically_normal().string()
                      : shared_directory() + "/scenarios/" + scenario_name_;
  if (!fs::is_directory(scenario_))
    throw Failure("no scenario " + scenario_name_ + " (" + scenario_ + ")", kExitUsage);
  if (is_path) scenario_name_ = scenario_;

  if (options.fresh) {
    for (const std::string& part : {flash(), radio()}) {
      fs::remove_all(part);
      fs::create_directories(part);
    }
  }
  if (options.fresh || last != scenario_name_) fill_radio();
  if (!write_file(record, scenario_name_ + "\n")) fail(record);
}

void State::fill_radio() const {
  fs::remove_all(radio());
  fs::create_directories(radio());
  copy_radio_files(shared_directory() + "/scenarios/home/radio", radio());
  copy_radio_files(scenario_ + "/radio", radio());
}

std::string State::scenario_file(const std::string& name) const {
  const std::string own = scenario_ + "/" + name;
  return exists(own) ? own : shared_directory() + "/scenarios/home/" + name;
}

void State::fill_store() const {
  const std::string defaults = scenario_file("store");
  const std::string text = read_file_or_empty(defaults);
  store::Table table;
  const store::ParseResult parsed = store::parse(text, table);
  if (parsed.status != store::ParseStatus::ok) {
    throw Failure(defaults + ", line " + std::to_string(parsed.line) + ": no well-formed store file");
  }
  const std::string directory = flash();
  const std::string file = directory + "/2860.nvram";
  if (!exists(file)) {
    if (!replace_file(file, text)) fail(file);
    return;
  }
  store::Table stored;
  if (store::read_section(directory.c_str(), 0, stored) != store::ReadStatus::ok) {
    throw Failure(directory +
                  "/2860.nvram is damaged or cannot be read; repair it, or start anew with --fresh");
  }
}

void State::give_to_device_user(const std::string& path) const {
  if (::geteuid() == 0 && ::lchown(path.c_str(), identity_.uid, identity_.gid) != 0 && errno != ENOENT)
    fail(path);
}

void State::hand_over() const {
  // With sudo this also lets the user run the device without it the next time.
  for (const char* file : {"lock", "scenario", "device", "console.log"})
    give_to_device_user(directory_ + "/" + file);
  for (const std::string& part : {flash(), radio()}) {
    give_to_device_user(part);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(part))
      give_to_device_user(entry.path());
  }
}

void State::record_device(const RunningDevice& device, int boot) const {
  const std::string text = "url=" + device.url + "\npid=" + std::to_string(device.init) +
                           "\nlauncher=" + std::to_string(device.launcher) +
                           "\nboot=" + std::to_string(boot) + "\n";
  if (!replace_file(directory_ + "/device", text)) fail(directory_ + "/device");
}

void State::forget_device() const {
  ::unlink((directory_ + "/device").c_str());
}

}  // namespace kd
