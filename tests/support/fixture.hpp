#pragma once

#include <gtest/gtest.h>

#include "support/device.hpp"
#include "support/heap.hpp"
#include "support/server.hpp"
#include "support/setups.hpp"

namespace kd::test {

// A started extender behind a server that has loaded the module; the heap is watched from then on. At the end
// nothing may be allocated or open.
class DeviceTest : public ::testing::Test {
 protected:
  DeviceTest() {
    prepare_extender(device);
    effects();
  }
  void TearDown() override {
    server.reset(CON_STATE_CLOSE);
    EXPECT_EQ(heap.leaks(), "");
    EXPECT_EQ(device.misuse(), "");
    EXPECT_EQ(server.complaints, "");
  }

  // The journal since the last call, and the same without the lines that only read.
  Effects effects() { return std::exchange(device.journal, {}); }
  Effects changes() {
    Effects kept = device.changes();
    effects();
    return kept;
  }
  // The reply to a request whose connection ends.
  std::string ask(const Request& request) { return server.answer(request); }

  Device device;
  Server server;
  HeapWatch heap;
};

}  // namespace kd::test
