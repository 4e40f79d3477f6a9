// The device's network interfaces.
#pragma once

#include <string>

namespace kd {

// Makes ra0, apcli0, eth2 and br0 (with the LAN address) and sets them up, apcli0 excepted.
//   returns  empty, or what the kernel refused; the device then goes on without interfaces
std::string make_interfaces();

// Sets one interface up or down.
//   returns  1 when its state changed, 0 when it was so already, -1 when there is no such interface
int set_interface(const std::string& name, bool up);

}  // namespace kd
