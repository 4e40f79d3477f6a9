#include "launcher/port.hpp"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/failure.hpp"

namespace kd {
namespace {

constexpr int kBacklog = 128;
constexpr int kMostTries = 50;  // to find a port that is free on every address

// An address with a port, and its length. Throws Failure when it is no address.
std::pair<sockaddr_storage, socklen_t> socket_address(const std::string& text, std::uint16_t port) {
  sockaddr_storage storage{};
  sockaddr_in v4{};
  sockaddr_in6 v6{};
  if (::inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    std::memcpy(&storage, &v4, sizeof v4);
    return {storage, sizeof v4};
  }
  if (::inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    std::memcpy(&storage, &v6, sizeof v6);
    return {storage, sizeof v6};
  }
  throw Failure(text + " is no address: 192.168.1.5, 0.0.0.0, ::1, ::", kExitUsage);
}

void set_option(int socket, int level, int name, int on) {
  ::setsockopt(socket, level, name, &on, sizeof on);
}

std::string url_of(const std::string& address, std::uint16_t port) {
  const bool v6 = address.find(':') != std::string::npos;
  return "http://" + (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

[[noreturn]] void fail(const std::string& address, std::uint16_t port) {
  const int error = errno;
  const char* hint = error == EADDRINUSE      ? " (--port 0 takes a free one)"
                     : error == EADDRNOTAVAIL ? " (no address of this machine)"
                                              : "";
  throw Failure("address " + address + ", port " + std::to_string(port) + ": " + std::strerror(error) + hint);
}

// An empty descriptor when the port is in use there.
Fd bound_socket(const std::string& text, std::uint16_t port) {
  const auto [address, size] = socket_address(text, port);
  Fd socket(::socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) fail(text, port);
  set_option(socket.get(), SOL_SOCKET, SO_REUSEADDR, 1);
  // A wildcard of one kind must leave the other to a socket of its own.
  if (address.ss_family == AF_INET6) set_option(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, 1);
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0) {
    if (errno != EADDRINUSE) fail(text, port);
    socket.reset();
  }
  return socket;
}

// Bound by number even when the kernel chose it: it lets go of a port that it chose itself when the socket
// stops listening. Two sockets with SO_REUSEADDR that do not listen may share it for a moment.
Fd socket_on_any_port(const std::string& address) {
  const Fd any = bound_socket(address, 0);
  return bound_socket(address, port_of(any.get()));
}

bool is_listening(int socket) {
  int listening = 0;
  socklen_t size = sizeof listening;
  ::getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size);
  return listening != 0;
}

bool is_loopback(const std::string& address) {
  return address.rfind("127.", 0) == 0 || address == "::1";
}

}  // namespace

sockaddr_in loopback_address(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

std::string address_text(const sockaddr_storage& address) {
  char host[INET6_ADDRSTRLEN] = "";
  if (address.ss_family == AF_INET6) {
    sockaddr_in6 v6;
    std::memcpy(&v6, &address, sizeof v6);
    ::inet_ntop(AF_INET6, &v6.sin6_addr, host, sizeof host);
    return "[" + std::string(host) + "]:" + std::to_string(ntohs(v6.sin6_port));
  }
  sockaddr_in v4;
  std::memcpy(&v4, &address, sizeof v4);
  ::inet_ntop(AF_INET, &v4.sin_addr, host, sizeof host);
  return std::string(host) + ":" + std::to_string(ntohs(v4.sin_port));
}

std::uint16_t port_of(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  sockaddr_in6 either;  // the port is at the same place in both
  std::memcpy(&either, &address, sizeof either);
  return ntohs(either.sin6_port);
}

bool is_address(const std::string& text) {
  in6_addr any{};
  return ::inet_pton(AF_INET, text.c_str(), &any) == 1 || ::inet_pton(AF_INET6, text.c_str(), &any) == 1;
}

void check_addresses(const std::vector<std::string>& addresses) {
  for (auto each = addresses.begin(); each != addresses.end(); ++each) {
    if (std::find(addresses.begin(), each, *each) != each)
      throw Failure("--listen " + *each + " stands twice", kExitUsage);
    const std::string all = each->find(':') == std::string::npos ? "0.0.0.0" : "::";
    if (*each != all && std::find(addresses.begin(), addresses.end(), all) != addresses.end()) {
      throw Failure("--listen " + all + " has " + *each + " in it: leave one of them out", kExitUsage);
    }
  }
}

Port::Port(const std::vector<std::string>& addresses, std::uint16_t number) : addresses_(addresses) {
  for (int tries = 0; sockets_.size() < addresses_.size(); ++tries) {
    sockets_.clear();
    sockets_.push_back(number == 0 ? socket_on_any_port(addresses_.front())
                                   : bound_socket(addresses_.front(), number));
    number_ = sockets_.back() ? port_of(sockets_.back().get()) : number;
    for (std::size_t i = 1; sockets_.back() && i < addresses_.size(); ++i) {
      sockets_.push_back(bound_socket(addresses_[i], number_));
    }
    if (sockets_.back()) continue;
    if (number != 0 || tries == kMostTries) {
      errno = EADDRINUSE;
      fail(addresses_[sockets_.size() - 1], number_);
    }
    sockets_.clear();
  }
  sockets_.push_back(socket_on_any_port("127.0.0.1"));
  if (!sockets_.back()) fail("127.0.0.1", 0);
  own_number_ = port_of(sockets_.back().get());
}

void Port::open() {
  for (const Fd& socket : sockets_) {
    set_option(socket.get(), SOL_SOCKET, SO_REUSEADDR, 1);
    if (::listen(socket.get(), kBacklog) != 0) fail(addresses_.front(), port_of(socket.get()));
  }
}

void Port::close() {
  for (const Fd& socket : sockets_) {
    // While the socket does not listen, SO_REUSEADDR would let another program take the port.
    set_option(socket.get(), SOL_SOCKET, SO_REUSEADDR, 0);
    // Mostly the device has done so already. A second shutdown would mark the socket itself as shut, and
    // every connection of the next boot with it.
    if (is_listening(socket.get())) ::shutdown(socket.get(), SHUT_RDWR);
  }
}

std::vector<int> Port::all_listeners() const {
  std::vector<int> list;
  for (const Fd& socket : sockets_) list.push_back(socket.get());
  return list;
}

std::vector<int> Port::listeners() const {
  std::vector<int> list = all_listeners();
  list.pop_back();
  return list;
}

std::vector<std::string> Port::urls() const {
  std::vector<std::string> list;
  for (const std::string& address : addresses_) {
    const std::string shown = address == "0.0.0.0" ? "127.0.0.1" : address == "::" ? "::1" : address;
    list.push_back(url_of(shown, number_));
  }
  return list;
}

std::vector<std::string> Port::open_addresses() const {
  std::vector<std::string> list;
  std::copy_if(addresses_.begin(), addresses_.end(), std::back_inserter(list),
               [](const std::string& address) { return !is_loopback(address); });
  return list;
}

Probe::Probe(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  const sockaddr_in address = loopback_address(port);
  if (!socket_) return;
  if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
      errno != EINPROGRESS) {
    socket_.reset();
  }
}

short Probe::events() const {
  return sent_ ? POLLIN : POLLOUT;
}

bool Probe::proceed() {
  if (!sent_) {
    sent_ = true;
    if (!write_all(socket_.get(), "GET / HTTP/1.0\r\n\r\n")) socket_.reset();
    return false;
  }
  char byte;
  const bool answered = ::recv(socket_.get(), &byte, 1, 0) == 1;
  socket_.reset();
  return answered;
}

}  // namespace kd
