// The survey of a device: the networks that it can join.
#pragma once

#include <string>
#include <vector>

#include "device.hpp"

namespace hnap {

/// A network as the device tells it. What it does not tell is empty.
struct Network {
  std::string ssid, signal, channel, band, mode, security, encryption, bssid;
  bool secured = false;
};

/// Asks for a survey (one request). The strongest network comes first.
std::vector<Network> survey(Device& device);

/// The signal as a number; 0 when the device's text is none.
long signal_of(const Network& network);

}  // namespace hnap
