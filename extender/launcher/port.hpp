// The listening sockets: opened once on the host, handed to the web server of every boot.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/files.hpp"

namespace kd {

sockaddr_in loopback_address(std::uint16_t port);

// "127.0.0.1:8080", "[::1]:8080".
std::string address_text(const sockaddr_storage& address);

// The port that a socket is bound to; 0 on an error.
std::uint16_t port_of(int socket);

// Whether a text is an IPv4 or IPv6 address.
bool is_address(const std::string& text);

// Throws Failure when one of the addresses stands twice, or is part of another.
void check_addresses(const std::vector<std::string>& addresses);

class Port {
 public:
  // Binds to one port on each address; 0 takes any free one. Throws Failure when it is in use.
  Port(const std::vector<std::string>& addresses, std::uint16_t number);

  void open();   // accepts connections from now on
  void close();  // refuses them, and keeps the port from other programs

  // The clients' sockets.
  std::vector<int> listeners() const;
  // Those and, as the last one, that of this program's own connections, on 127.0.0.1.
  std::vector<int> all_listeners() const;
  std::uint16_t number() const { return number_; }
  std::uint16_t own_number() const { return own_number_; }

  // One for each address.
  std::vector<std::string> urls() const;
  // Addresses that other machines may reach.
  std::vector<std::string> open_addresses() const;

 private:
  std::vector<std::string> addresses_;
  std::vector<Fd> sockets_;
  std::uint16_t number_ = 0;
  std::uint16_t own_number_ = 0;
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
