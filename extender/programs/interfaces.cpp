#include "programs/interfaces.hpp"

#include <arpa/inet.h>
#include <linux/if_bridge.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "common/files.hpp"

namespace kd {
namespace {

constexpr const char* kLanAddress = "192.168.1.250";
constexpr const char* kLanMask = "255.255.255.0";

Fd control_socket() {
  return Fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

ifreq request_for(const std::string& name) {
  ifreq request{};
  std::strncpy(request.ifr_name, name.c_str(), sizeof request.ifr_name - 1);
  return request;
}

bool set_address(int control, const std::string& name, unsigned long what, const char* address) {
  ifreq request = request_for(name);
  sockaddr_in in{};
  in.sin_family = AF_INET;
  ::inet_pton(AF_INET, address, &in.sin_addr);
  std::memcpy(&request.ifr_addr, &in, sizeof in);
  return ::ioctl(control, what, &request) == 0;
}

}  // namespace

int set_interface(const std::string& name, bool up) {
  const Fd control = control_socket();
  ifreq request = request_for(name);
  if (!control || ::ioctl(control.get(), SIOCGIFFLAGS, &request) != 0) return -1;
  const bool was_up = (request.ifr_flags & IFF_UP) != 0;
  if (was_up == up) return 0;
  request.ifr_flags = static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
  return ::ioctl(control.get(), SIOCSIFFLAGS, &request) == 0 ? 1 : -1;
}

std::string make_interfaces() {
  const Fd control = control_socket();
  if (!control) return std::string("socket: ") + std::strerror(errno);
  set_interface("lo", true);
  // Bridges, because every kernel with namespaces lets an unprivileged root make them, without a peer.
  for (const char* name : {"ra0", "apcli0", "eth2", "br0"}) {
    if (::ioctl(control.get(), SIOCBRADDBR, name) != 0)
      return std::string(name) + ": " + std::strerror(errno);
  }
  if (!set_address(control.get(), "br0", SIOCSIFADDR, kLanAddress) ||
      !set_address(control.get(), "br0", SIOCSIFNETMASK, kLanMask)) {
    return std::string("br0 address: ") + std::strerror(errno);
  }
  for (const char* name : {"ra0", "eth2", "br0"}) set_interface(name, true);
  return "";
}

}  // namespace kd
