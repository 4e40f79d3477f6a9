#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>

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
    EXPECT_EQ(heap.leaks() + device.misuse() + server.complaints, "");
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

// Inputs of a function, each with its output behind it.
void expect_each(const auto& function, const auto& input, const auto& output, const auto&... more) {
  EXPECT_EQ(function(input), output) << ::testing::PrintToString(input);
  if constexpr (sizeof...(more) > 0) expect_each(function, more...);
}

// For long lists.
Effects lines(const auto&... each) {
  return {std::string{each}...};
}
inline Effects operator+(Effects all, const Effects& more) {
  all.insert(all.end(), more.begin(), more.end());
  return all;
}
inline long count(const Effects& effects, std::string_view start) {
  return std::count_if(effects.begin(), effects.end(),
                       [=](const std::string& line) { return line.starts_with(start); });
}

}  // namespace kd::test
