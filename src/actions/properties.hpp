#pragma once

#include "platform/identity.hpp"
#include "xml/reply.hpp"

namespace kd {

// An element with a property of the device; empty when it cannot be read.
inline void property_leaf(Reply& reply, const char* element, ConfigIndex index) {
  ConfigValue value{};
  kd_hnap_get_config(index, value);
  reply.leaf(element, value);
}

}  // namespace kd
