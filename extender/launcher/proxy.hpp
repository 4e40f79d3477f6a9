// Stands between the clients and the device while a fault of the connection is switched on, and only then:
// otherwise the device owns its sockets.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "common/files.hpp"
#include "launcher/event_loop.hpp"
#include "launcher/fault_board.hpp"
#include "launcher/journal.hpp"

namespace kd {

class Proxy {
 public:
  // `device_port` is the device's own socket for this program, on 127.0.0.1. Throws Failure.
  Proxy(EventLoop& loop, FaultBoard& faults, Journal& journal, std::vector<int> listeners,
        std::uint16_t device_port);
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;
  ~Proxy();

  // Takes the clients' new connections from now on, or leaves them to the device. Those that it has go on.
  void divert(bool on);

  // The byte of memory that tells the device so.
  int switch_fd() const { return switch_.get(); }

 private:
  class Session;
  void accept(int listener);

  EventLoop& loop_;
  FaultBoard& faults_;
  Journal& journal_;
  std::vector<int> listeners_;
  std::uint16_t device_port_;
  Fd switch_;
  unsigned char* diverted_ = nullptr;
  std::map<unsigned, std::unique_ptr<Session>> sessions_;
  unsigned last_session_ = 0;
};

}  // namespace kd
