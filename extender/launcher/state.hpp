// The state directory of one virtual extender, on the host:
//
//   flash/       the configuration store, and which firmware image was flashed; kept over boots and runs
//   radio/       the surroundings as plain text; edit them while the device runs
//   journal      its requests and what else happened, a line of JSON each
//   console.log  what the device wrote to its console since this run began
//   scenario     the scenario of the last run
//   device       while it runs: urls, pid of the device's first process, pid of the launcher, boot number
//   lock         held by the running launcher
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "common/failure.hpp"
#include "common/files.hpp"
#include "launcher/options.hpp"
#include "launcher/sandbox.hpp"

namespace kd {

struct RunningDevice {
  std::vector<std::string> urls;
  pid_t init = 0;
  pid_t launcher = 0;
  int boot = 0;
  ino_t faults = 0;  // the file radio/faults that it took up last: every change is another file
};

// The device that runs on this state directory, if any.
std::optional<RunningDevice> find_running(const std::string& state);

// What to say when a device runs there already.
Failure second_device(const std::string& state);

class State {
 public:
  // Makes or opens the state directory, locks it, fills what is missing from the scenario and hands it to
  // the device's user. Throws Failure, and changes nothing, when a device runs on it already, when there is
  // no such scenario, or when a line of a file is wrong; also when it cannot be written.
  State(const Options& options, const Identity& identity);

  const std::string& directory() const { return directory_; }
  const std::string& scenario() const { return scenario_; }            // its directory
  const std::string& scenario_name() const { return scenario_name_; }  // as given by the user
  std::string flash() const { return directory_ + "/flash"; }
  std::string radio() const { return directory_ + "/radio"; }
  int console_log() const { return console_log_.get(); }

  // A file of the scenario, or of `home` when the scenario has none of that name.
  std::string scenario_file(const std::string& name) const;

  // Hands our files to the device's user: root may have edited some since the last boot.
  void hand_over() const;

  void record_device(const RunningDevice& device) const;
  void forget_device() const;

 private:
  void choose_scenario(const Options& options);
  void check_state() const;
  void fill(const Options& options) const;
  void fill_radio(const Options& options) const;
  void fill_store(const Options& options) const;
  void give_to_device_user(const std::string& path) const;  // does nothing unless root runs it

  std::string directory_;
  std::string scenario_;
  std::string scenario_name_;
  std::string last_scenario_;
  Identity identity_;
  Fd lock_;
  Fd console_log_;
};

}  // namespace kd
