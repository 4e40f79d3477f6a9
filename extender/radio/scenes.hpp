// The faults of the surroundings, laid over what the radio's files say.
#pragma once

#include <string>
#include <vector>

#include "common/faults.hpp"
#include "radio/model.hpp"

namespace kd::radio {

void apply_scenes(const std::vector<Fault>& faults, std::vector<Network>& networks);
void apply_scenes(const std::vector<Fault>& faults, Link& link);

// Why the device's survey leaves a network out; empty when it lists it.
std::string why_not_listed(const Network& network);

}  // namespace kd::radio
