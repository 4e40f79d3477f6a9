// The journal of a device: a line of JSON for each request and for what the device does besides, in the state
// directory. The preload library tells what the web server does (preload/observer.h).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "common/files.hpp"
#include "launcher/event_loop.hpp"
#include "launcher/file_watch.hpp"

namespace kd {

using Json = nlohmann::ordered_json;

// How long what the device did may take to be told.
constexpr std::chrono::milliseconds kJournalPause{20};

class Journal {
 public:
  // Appends to `state`/journal and watches the store below `state`/flash. Throws Failure.
  Journal(const std::string& state, EventLoop& loop, FileWatch& watch);
  ~Journal();

  int writer() const { return writer_.get(); }  // for the device

  // A line about something that is no request.
  void note(const std::string& event, const std::string& detail);

  // A request of a client behind a connection of the launcher's own, by its local port, and which faults met
  // it.
  void introduce(std::uint16_t port, const std::string& client, const std::string& faults);

 private:
  struct Connection;
  struct Introduced {
    std::string client;
    std::deque<std::string> faults;  // that met each of its requests
  };
  // Values that were stored at one moment; secrets are "***".
  struct Stored {
    std::uint64_t when;
    std::map<std::string, std::string> values;
  };

  void listen();
  void take();  // reads what the device has told
  void handle(unsigned kind, unsigned connection, std::uint64_t when, std::size_t size,
              std::string_view bytes);
  void finish_request(unsigned number);
  void add_effect(std::uint64_t when, Json effect);
  void flush_effects(std::uint64_t up_to);
  void look_at_store();
  void add_stored(std::uint64_t up_to);
  void write(const Json& line);

  std::string directory_;
  EventLoop& loop_;
  Fd writer_;
  Fd reader_;
  Fd file_;
  std::map<unsigned, Connection> connections_;
  std::map<std::uint16_t, Introduced> introduced_;
  unsigned last_request_ = 0;
  bool has_served_ = false;    // since the web server began
  std::vector<Json> effects_;  // that no request's line holds yet
  std::uint64_t effects_began_ = 0;
  std::map<std::string, std::string> store_;
  std::pair<ino_t, long> store_file_{};  // the store's file as last read
  std::vector<Stored> stored_;           // that is no effect yet
};

}  // namespace kd
