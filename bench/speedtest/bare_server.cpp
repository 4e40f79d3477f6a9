#include "bare_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

void serve(int client, const std::string& response) {
  char request[4096];
  if (recv(client, request, sizeof request, 0) <= 0) return;
  for (std::size_t sent = 0; sent < response.size();) {
    const ssize_t count = send(client, response.data() + sent, response.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

}  // namespace

std::uint16_t start_bare_server(const std::string& response) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(listener, 16) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    std::perror("bare server");
    std::exit(1);
  }
  const pid_t child = fork();
  if (child < 0) {
    std::perror("fork");
    std::exit(1);
  }
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
      const int client = accept(listener, nullptr, nullptr);
      if (client < 0) continue;
      serve(client, response);
      close(client);
    }
  }
  close(listener);
  return ntohs(address.sin_port);
}
