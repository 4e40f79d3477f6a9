// ifconfig and route.
#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "programs/interfaces.hpp"
#include "programs/programs.hpp"

namespace kd {
namespace {

// Tells radiod that an interface went up or down. Nobody listens before it runs, which is no error.
void announce(const std::string& name, bool up) {
  const Fd events(::open(layout::kLinkEvents, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  if (events) write_all(events.get(), name + (up ? " up\n" : " down\n"));
}

int print_interfaces(const char* only) {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return 1;
  bool found = false;
  for (const ifaddrs* at = list; at != nullptr; at = at->ifa_next) {
    if (only != nullptr && std::strcmp(at->ifa_name, only) != 0) continue;
    if (at->ifa_addr == nullptr) continue;
    const char* up = (at->ifa_flags & IFF_UP) != 0 ? "UP" : "DOWN";
    if (at->ifa_addr->sa_family == AF_PACKET) {
      std::printf("%-9s Link encap:Ethernet  %s\n", at->ifa_name, up);
      found = true;
    } else if (at->ifa_addr->sa_family == AF_INET) {
      char text[INET_ADDRSTRLEN];
      sockaddr_in address;
      std::memcpy(&address, at->ifa_addr, sizeof address);
      std::printf("          %s inet addr:%s\n", at->ifa_name,
                  ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text));
    }
  }
  ::freeifaddrs(list);
  if (only != nullptr && !found) std::fprintf(stderr, "ifconfig: %s: no such interface\n", only);
  return only == nullptr || found ? 0 : 1;
}

}  // namespace

int ifconfig_main(int argc, char** argv) {
  if (argc < 3) return print_interfaces(argc > 1 ? argv[1] : nullptr);
  const std::string name = argv[1];
  const bool up = std::strcmp(argv[2], "up") == 0;
  if (!up && std::strcmp(argv[2], "down") != 0) {
    std::fputs("usage: ifconfig [INTERFACE [up|down]]\n", stderr);
    return 1;
  }
  // Where the kernel gave no interfaces the radio must still see its reload, so -1 is announced as well.
  const int changed = set_interface(name, up);
  if (changed != 0) announce(name, up);
  return 0;
}

// The device has one network and no use for routes.
int route_main(int, char**) {
  return 0;
}

}  // namespace kd
