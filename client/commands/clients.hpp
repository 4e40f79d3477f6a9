// The clients behind a device.
#pragma once

#include <string>
#include <vector>

#include "device.hpp"

namespace hnap {

struct Client {
  std::string name, mac, port, since;
  bool wireless = false, active = false;
};

/// Takes the device two seconds or more.
std::vector<Client> clients_of(Device& device);

}  // namespace hnap
