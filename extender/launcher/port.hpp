// The listening socket: opened once on the host, handed to the web server of every boot.
#pragma once

#include <cstdint>
#include <string>

#include "common/files.hpp"

namespace kd {

class Port {
 public:
  // Binds to 127.0.0.1; 0 takes any free port. Throws Failure when it is in use.
  explicit Port(std::uint16_t number);

  void open();   // accepts connections from now on
  void close();  // refuses them, and keeps the port from other programs

  int listener() const { return socket_.get(); }
  std::uint16_t number() const { return number_; }
  std::string url() const { return "http://127.0.0.1:" + std::to_string(number_); }

 private:
  Fd socket_;
  std::uint16_t number_ = 0;
};

// A first request to the device, to know when it answers: a plain GET that no HNAP code sees.
class Probe {
 public:
  explicit Probe(std::uint16_t port);
  int fd() const { return socket_.get(); }
  short events() const;
  // Call when the descriptor is ready. True when the first bytes of the answer are there; done, also with
  // a failure, from then on.
  bool proceed();
  bool done() const { return !socket_; }

 private:
  Fd socket_;
  bool sent_ = false;
};

}  // namespace kd
