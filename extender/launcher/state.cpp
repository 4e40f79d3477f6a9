#include "launcher/state.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "common/failure.hpp"
#include "common/record.hpp"
#include "launcher/places.hpp"
#include "launcher/scenarios.hpp"
#include "section_file.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw Failure(what + ": " + std::strerror(errno));
}

}  // namespace

std::optional<RunningDevice> find_running(const std::string& state) {
  const Fd lock(::open((state + "/lock").c_str(), O_RDONLY | O_CLOEXEC));
  if (!lock || ::flock(lock.get(), LOCK_SH | LOCK_NB) == 0) return std::nullopt;
  const Record record = parse_record(read_file_or_empty(state + "/device"));
  RunningDevice device{{}, record.number("pid"), record.number("launcher"), record.number("boot"), 0};
  device.faults = std::strtoul(record.text("faults").c_str(), nullptr, 10);
  std::istringstream urls(record.text("urls"));
  for (std::string url; urls >> url;) device.urls.push_back(url);
  return device;
}

Failure second_device(const std::string& state) {
  return Failure("a device already runs on " + state + "; stop it, or use another --state");
}

State::State(const Options& options, const Identity& identity)
    : directory_(options.state), identity_(identity) {
  try {
    choose_scenario(options);
    if (fs::exists(directory_) && !fs::is_directory(directory_))
      throw Failure(directory_ + " is no directory");
    const bool made = fs::create_directories(directory_);
    if (made) give_to_device_user(directory_);
    lock_ = Fd(::open((directory_ + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!lock_) fail(directory_ + "/lock");
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) throw second_device(directory_);
    if (!options.fresh) check_state();
    fill(options);
    const std::string log = directory_ + "/console.log";
    console_log_ = Fd(::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644));
    if (!console_log_) fail(log);
  } catch (const fs::filesystem_error& error) {
    throw Failure("state directory " + error.path1().string() + ": " + error.code().message());
  }
}

void State::choose_scenario(const Options& options) {
  const std::string last = read_file_or_empty(directory_ + "/scenario");
  last_scenario_ = last.substr(0, last.find('\n'));
  scenario_name_ = !options.scenario.empty() ? options.scenario
                   : !last_scenario_.empty() ? last_scenario_
                                             : "home";
  scenario_ = find_scenario(scenario_name_);
  // A path is kept as it is found from everywhere.
  if (scenario_name_.find('/') != std::string::npos) scenario_name_ = scenario_;
  check_scenario(scenario_);
}

// What a person may have edited since the last run.
void State::check_state() const {
  Complaints complaints;
  if (fs::is_directory(radio())) check_radio(radio(), complaints);
  complaints.throw_if_any("(--fresh takes the scenario's files)");
  store::Table stored;
  if (store::read_section(flash().c_str(), 0, stored) != store::ReadStatus::ok) {
    throw Failure(flash() +
                  "/2860.nvram is damaged or cannot be read; repair it, or start anew with --fresh");
  }
}

void State::fill(const Options& options) const {
  if (options.fresh) {
    for (const std::string& part : {flash(), radio()}) fs::remove_all(part);
  }
  fs::create_directories(flash());
  fs::create_directories(radio());
  fill_radio(options);
  fill_store(options);
  if (!write_file(directory_ + "/scenario", scenario_name_ + "\n")) fail(directory_ + "/scenario");
}

std::string State::scenario_file(const std::string& name) const {
  const std::string own = scenario_ + "/" + name;
  return exists(own) ? own : shared_directory() + "/scenarios/home/" + name;
}

void State::fill_radio(const Options& options) const {
  if (!fs::is_empty(radio())) {
    if (!last_scenario_.empty() && last_scenario_ != scenario_name_) {
      std::printf("The files in %s stay as they are; --fresh takes those of %s.\n", radio().c_str(),
                  scenario_name_.c_str());
    }
    return;
  }
  for (const std::string& from : {shared_directory() + "/scenarios/home/radio", scenario_ + "/radio"}) {
    if (!fs::is_directory(from)) continue;
    fs::copy(from, radio(), fs::copy_options::overwrite_existing | fs::copy_options::recursive);
  }
  if (!options.device_number) return;
  const std::string path = radio() + "/eeprom";
  if (!replace_file(path, numbered_eeprom(read_file_or_empty(path), *options.device_number))) fail(path);
}

void State::fill_store(const Options& options) const {
  const std::string file = flash() + "/2860.nvram";
  if (exists(file)) return;
  std::string text = read_file_or_empty(scenario_file("store"));
  if (options.device_number) text = numbered_store(text, *options.device_number);
  if (!replace_file(file, text)) fail(file);
}

void State::give_to_device_user(const std::string& path) const {
  if (::geteuid() == 0 && ::lchown(path.c_str(), identity_.uid, identity_.gid) != 0 && errno != ENOENT)
    fail(path);
}

void State::hand_over() const {
  // With sudo this also lets the user run the device without it the next time.
  for (const char* file : {"lock", "scenario", "device", "console.log", "journal"})
    give_to_device_user(directory_ + "/" + file);
  for (const std::string& part : {flash(), radio()}) {
    give_to_device_user(part);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(part))
      give_to_device_user(entry.path());
  }
}

void State::record_device(const RunningDevice& device) const {
  Record record;
  std::string urls;
  for (const std::string& url : device.urls) urls += (urls.empty() ? "" : " ") + url;
  record.set("urls", urls);
  record.set("pid", std::to_string(device.init));
  record.set("launcher", std::to_string(device.launcher));
  record.set("boot", std::to_string(device.boot));
  record.set("faults", std::to_string(device.faults));
  if (!replace_file(directory_ + "/device", format_record(record) + "\n")) fail(directory_ + "/device");
}

void State::forget_device() const {
  ::unlink((directory_ + "/device").c_str());
}

}  // namespace kd
