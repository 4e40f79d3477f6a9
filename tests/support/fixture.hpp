#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/device.hpp"
#include "support/heap.hpp"
#include "support/setups.hpp"

namespace kd::test {

// A started extender whose heap is watched. At the end nothing may be allocated or open, and the flags are
// clean.
class DeviceTest : public ::testing::Test {
 protected:
  DeviceTest();
  void TearDown() override;

  // The journal since the last call.
  std::vector<std::string> effects();

  Device device;
  HeapWatch heap;
};

}  // namespace kd::test
