// The journal of a device: a line of JSON for each request and for what the device does besides, in the state
// directory. The preload library tells what the web server does (preload/observer.h).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "common/files.hpp"

namespace kd {

using Json = nlohmann::ordered_json;

class Journal {
 public:
  // Appends to `state`/journal and watches the store below `state`/flash. Throws Failure.
  explicit Journal(const std::string& state);
  ~Journal();

  int writer() const { return writer_.get(); }  // for the device
  int reader() const { return reader_.get(); }
  void take();  // reads what the device has told

  // A line about something that is no request.
  void note(const std::string& event, const std::string& detail);

  // The client behind a connection of the launcher's own, by its local port, and which faults met it.
  void introduce(std::uint16_t port, const std::string& client, const std::string& faults);

 private:
  struct Connection;
  struct Introduced {
    std::string client;
    std::string faults;
  };

  void handle(unsigned kind, unsigned connection, std::uint64_t when, std::size_t size,
              std::string_view bytes);
  void finish_request(unsigned number);
  void add_effect(Json effect);
  void flush_effects(std::uint64_t up_to);
  Json stored_changes(std::uint64_t up_to);
  void write(const Json& line);

  std::string directory_;
  Fd writer_;
  Fd reader_;
  Fd file_;
  std::map<unsigned, Connection> connections_;
  std::map<std::uint16_t, Introduced> introduced_;
  unsigned last_request_ = 0;
  bool has_served_ = false;    // since the web server began
  std::vector<Json> effects_;  // that no request's line holds yet
  std::map<std::string, std::string> stored_;
  std::pair<ino_t, long> stored_file_{};  // the store's file as last read
};

}  // namespace kd
