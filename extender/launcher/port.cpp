#include "launcher/port.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/failure.hpp"

namespace kd {
namespace {

constexpr int kBacklog = 128;

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

void set_reuse(int socket, int on) {
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

[[noreturn]] void fail(std::uint16_t port, const char* hint) {
  throw Failure("port " + std::to_string(port) + ": " + std::strerror(errno) + hint);
}

Fd bound_socket(std::uint16_t port) {
  Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) fail(port, "");
  set_reuse(socket.get(), 1);
  const sockaddr_in address = loopback(port);
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail(port, " (--port 0 takes a free one)");
  }
  return socket;
}

std::uint16_t port_of(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) fail(0, "");
  return ntohs(address.sin_port);
}

}  // namespace

Port::Port(std::uint16_t number) : number_(number) {
  Fd any;
  if (number == 0) {
    any = bound_socket(0);
    number_ = port_of(any.get());
  }
  // Bound by number even then: the kernel lets go of a port that it chose itself when the socket stops
  // listening. Two sockets with SO_REUSEADDR that do not listen may share it for this moment.
  socket_ = bound_socket(number_);
}

void Port::open() {
  set_reuse(socket_.get(), 1);
  if (::listen(socket_.get(), kBacklog) != 0) fail(number_, "");
}

void Port::close() {
  // While the socket does not listen, SO_REUSEADDR would let another program take the port.
  set_reuse(socket_.get(), 0);
  // Mostly the device has done so already. A second shutdown would mark the socket itself as shut, and every
  // connection of the next boot with it.
  int listening = 0;
  socklen_t size = sizeof listening;
  ::getsockopt(socket_.get(), SOL_SOCKET, SO_ACCEPTCONN, &listening, &size);
  if (listening != 0) ::shutdown(socket_.get(), SHUT_RDWR);
}

Probe::Probe(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  const sockaddr_in address = loopback(port);
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
