// Whether the repeater client joins a network with the settings that the driver knows.
#pragma once

#include <vector>

#include "radio/model.hpp"
#include "value_table.hpp"

namespace kd::radio {

// The values of LastSetWirelessClientResult.
enum class Outcome : int { joined = 1, wrong_key = 2, no_such_network = 3 };

struct Association {
  Outcome outcome;
  Link link;  // down unless joined
};

// Judges the stored settings (ApCliEnable, ApCliSsid, ApCliAuthMode, ApCliEncrypType, ApCliWPAPSK,
// ApCliKey1Str, ApCliBssid, HT_BW, HT_EXTCHA) against the networks around. Name and security decide whether
// there is such a network, then its key; of several the pinned one comes first, then the strongest.
Association associate(const std::vector<Network>& networks, const store::Table& settings);

}  // namespace kd::radio
