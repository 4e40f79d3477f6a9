#include "support/fixture.hpp"

#include <utility>

#include "base/flags.hpp"

namespace kd::test {

DeviceTest::DeviceTest() {
  flags = {};
  prepare_extender(device);
}

void DeviceTest::TearDown() {
  EXPECT_EQ(heap.leaks(), "");
  EXPECT_EQ(device.misuse(), "");
  flags = {};
}

std::vector<std::string> DeviceTest::effects() {
  return std::exchange(device.journal, {});
}

}  // namespace kd::test
