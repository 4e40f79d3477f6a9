// The faults that are switched on, as radio/faults says at each moment.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "common/faults.hpp"
#include "launcher/event_loop.hpp"
#include "launcher/file_watch.hpp"

namespace kd {

class FaultBoard {
 public:
  // Reads `state`/radio/faults now and whenever it changes; takes lines out whose time (for=) is over.
  FaultBoard(const std::string& state, EventLoop& loop, FileWatch& watch);
  FaultBoard(const FaultBoard&) = delete;
  FaultBoard& operator=(const FaultBoard&) = delete;

  bool has_connection_faults() const;

  // What meets the next request for an action ("" when it names none). A fault with a share draws its lot
  // here: the same requests in the same order meet the same faults.
  std::vector<Fault> draw(std::string_view action);

  int slow_boot_milliseconds() const;

  // Called with a line of words for each fault that begins or ends.
  std::function<void(const std::string& event, const std::string& fault)> changed;

  void read();
  ino_t file() const { return file_; }  // that was read last

 private:
  struct Active {
    Fault fault;
    std::minstd_rand lots;
  };
  void take_out(const std::string& line);

  std::string path_;
  ino_t file_ = 0;
  EventLoop& loop_;
  std::vector<Active> active_;
};

}  // namespace kd
