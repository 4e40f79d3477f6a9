#include "launcher/fault_board.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "common/files.hpp"

namespace kd {
namespace {

// 1 to 100, on every machine the same for the same state of the lots.
std::uint32_t percent(std::minstd_rand& lots) {
  return static_cast<std::uint32_t>(lots() / 7 % 100) + 1;
}

}  // namespace

FaultBoard::FaultBoard(const std::string& state, EventLoop& loop, FileWatch& watch)
    : path_(state + "/radio/faults"), loop_(loop) {
  if (!watch.add(state + "/radio", [this] { read(); })) {
    std::fputs("The kernel has no watches left: faults change with the next boot.\n", stderr);
  }
}

void FaultBoard::read() {
  struct stat status {};
  file_ = ::stat(path_.c_str(), &status) == 0 ? status.st_ino : 0;
  std::vector<Active> now;
  for (Fault& fault : parse_faults(read_file_or_empty(path_))) {
    const std::string line = format_record(fault.record);
    const auto old = std::find_if(active_.begin(), active_.end(), [&](const Active& each) {
      return format_record(each.fault.record) == line;
    });
    if (old != active_.end()) {
      // It goes on where it is.
      now.push_back(std::move(*old));
      active_.erase(old);
      continue;
    }
    if (changed) changed("fault on", line);
    if (fault.record.has("for")) {
      loop_.at(EventLoop::Clock::now() + std::chrono::milliseconds(fault.record.number("for")),
               [this, line] { take_out(line); });
    }
    const auto seed = static_cast<std::uint32_t>(fault.record.number("seed", 0)) + 1;
    now.push_back({std::move(fault), std::minstd_rand(seed)});
  }
  for (const Active& gone : active_) {
    if (changed) changed("fault off", format_record(gone.fault.record));
  }
  active_ = std::move(now);
  if (changed) changed("", "");
}

void FaultBoard::take_out(const std::string& line) {
  std::string kept;
  for_each_line(read_file_or_empty(path_), [&](std::string_view text) {
    Record record;
    if (read_record(text, record).empty() && format_record(record) == line) return;
    kept += std::string(text) + "\n";
  });
  replace_file(path_, kept);
  read();
}

bool FaultBoard::has_connection_faults() const {
  return std::any_of(active_.begin(), active_.end(),
                     [](const Active& each) { return each.fault.kind->of_connection; });
}

std::vector<Fault> FaultBoard::draw(std::string_view action) {
  std::vector<Fault> met;
  for (Active& each : active_) {
    const Record& record = each.fault.record;
    if (!each.fault.kind->of_connection) continue;
    if (record.has("action") && record.text("action") != action) continue;
    const auto share = static_cast<std::uint32_t>(record.number("share", 100));
    if (share != 100 && percent(each.lots) > share) continue;
    met.push_back(each.fault);
    if (const int jitter = record.number("jitter"); jitter > 0) {
      const auto more = static_cast<int>(each.lots() % static_cast<unsigned>(jitter + 1));
      met.back().record.set("ms", std::to_string(record.number("ms") + more));
    }
  }
  return met;
}

int FaultBoard::slow_boot_milliseconds() const {
  int total = 0;
  for (const Active& each : active_) {
    if (each.fault.is("slow-boot")) total += each.fault.record.number("ms");
  }
  return total;
}

}  // namespace kd
