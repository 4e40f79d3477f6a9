#include "launcher/fault_commands.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/failure.hpp"
#include "common/faults.hpp"
#include "common/files.hpp"
#include "launcher/radio_commands.hpp"
#include "launcher/state.hpp"
#include "radio/model.hpp"

namespace kd {
namespace {

constexpr int kMostLooks = 500;
constexpr useconds_t kLook = 2000;  // microseconds between two of them

// Returns when a device that runs has taken them up, so that the next request meets them.
void write_faults(const std::string& state, const std::string& text) {
  const std::string path = radio_path(state, "faults");
  if (!replace_file(path, text)) throw Failure(path + ": " + std::strerror(errno));
  struct stat ours {};
  struct stat now {};
  if (::stat(path.c_str(), &ours) != 0) return;
  for (int look = 0; look < kMostLooks; ++look) {
    const std::optional<RunningDevice> device = find_running(state);
    const bool is_ours = ::stat(path.c_str(), &now) == 0 && now.st_ino == ours.st_ino;
    if (!device || device->faults == ours.st_ino || !is_ours) return;
    ::usleep(kLook);
  }
  throw Failure("the device has not taken it up within a second; it does at its next start");
}

// A scene is about a network that is there.
void require_network(const std::string& state, const Record& fault) {
  const std::vector<radio::Network> networks =
      radio::parse_networks(read_file_or_empty(radio_path(state, "neighbours")));
  const std::string ssid = fault.text("ssid");
  const radio::Network* meant = radio::find_network(networks, ssid);
  if (meant == nullptr && fault.has("ssid")) {
    throw Failure("no network is named \"" + ssid + "\" (\"extender radio list\" shows them)", kExitUsage);
  }
  if (fault.has("key") && meant->security == "NONE") {
    throw Failure("the network \"" + ssid + "\" is open, it has no key", kExitUsage);
  }
  if (fault.has("key") && !is_key_of(meant->security, fault.text("key"))) {
    throw Failure("nobody can join \"" + ssid + "\" with that key: " + key_form(meant->security), kExitUsage);
  }
  for (const radio::Network& network : networks) {
    if (!fault.has("bssid") || !radio::same_address(network.bssid, fault.text("bssid"))) continue;
    throw Failure("\"" + network.ssid + "\" has the address " + network.bssid + " already", kExitUsage);
  }
}

}  // namespace

int list_faults(const std::string& state) {
  const std::vector<Fault> faults = parse_faults(read_file_or_empty(radio_path(state, "faults")));
  if (faults.empty()) std::puts("no fault is on");
  int number = 0;
  for (const Fault& fault : faults) {
    std::printf("%2d  %s\n", ++number, format_record(fault.record).c_str());
  }
  return 0;
}

int add_fault(const std::string& state, const std::string& kind, const std::vector<std::string>& fields) {
  Record fault;
  fault.set("fault", kind);
  const Record more = record_of(fields);
  for (const auto& [name, value] : more.fields()) fault.set(name, value);
  if (const std::string wrong = wrong_fault(fault); !wrong.empty()) throw Failure(wrong, kExitUsage);
  require_network(state, fault);
  const std::string path = radio_path(state, "faults");
  std::string text = read_file_or_empty(path);
  for (const Fault& old : parse_faults(text)) {
    if (format_record(old.record) == format_record(fault)) throw Failure("this fault is on already");
  }
  if (!text.empty() && text.back() != '\n') text += '\n';
  write_faults(state, text + format_record(fault) + "\n");
  return 0;
}

int clear_faults(const std::string& state, const std::vector<std::string>& which) {
  const std::string path = radio_path(state, "faults");
  const std::string text = read_file_or_empty(path);
  std::vector<bool> found(which.size());
  std::string kept;
  int number = 0;
  for_each_line(text, [&](std::string_view line) {
    Record record;
    const bool is_fault = read_record(line, record).empty() && !record.empty() && wrong_fault(record).empty();
    bool goes = is_fault && which.empty();
    if (is_fault) ++number;
    for (std::size_t i = 0; is_fault && i < which.size(); ++i) {
      if (which[i] != record.text("fault") && which[i] != std::to_string(number)) continue;
      goes = found[i] = true;
    }
    if (!goes) kept += std::string(line) + "\n";
  });
  for (std::size_t i = 0; i < which.size(); ++i) {
    if (!found[i]) throw Failure("no fault \"" + which[i] + "\" is on (\"extender fault list\" shows them)");
  }
  if (kept != text) write_faults(state, kept);
  return 0;
}

std::string fault_help() {
  std::string help;
  for (const bool of_connection : {true, false}) {
    help += of_connection ? "Faults of the connection (share=PERCENT seed=N action=NAME for=MILLISECONDS):\n"
                          : "Faults of the device and its surroundings (for=MILLISECONDS):\n";
    for (const FaultKind& kind : fault_kinds()) {
      if (kind.of_connection != of_connection) continue;
      std::string name = kind.name;
      name.resize(15, ' ');
      help += "  " + name + kind.meaning + "\n";
    }
  }
  return help;
}

}  // namespace kd
