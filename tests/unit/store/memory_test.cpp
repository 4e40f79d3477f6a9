// The store's library without memory: each of its allocations fails in turn.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "nvram.h"
#include "scratch_store.hpp"
#include "support/heap.hpp"

namespace kd::test {
namespace {

using Values = std::map<std::string, std::string>;

const std::string kNone = "(none)";

std::string text_of(const Values& values) {
  std::string text = "nvram 1\n";
  for (const auto& [key, value] : values) text += key + "=" + value + "\n";
  return text + "end\n";
}

std::string value_of(const std::string& key) {
  const std::unique_ptr<char, decltype(&std::free)> value(nvram_bufget(0, key.c_str()), &std::free);
  return value ? value.get() : kNone;
}

// One process that opens the store, reads, sets, commits and reads anew, and what it must then find there: a
// call changes that if, and only if, it reports success.
struct Caller {
  Values stored, pending;
  unsigned failures = 0;

  bool succeeds(bool success) {
    if (!success) ++failures;
    return success;
  }
  void read(const std::string& key) {
    const std::string value = value_of(key);
    if (succeeds(value != kNone)) {
      EXPECT_EQ(value, all()[key]);
    }
  }
  Values all() const {
    Values both = pending;
    both.insert(stored.begin(), stored.end());
    return both;
  }
  void use_store() {
    if (!succeeds(nvram_init(0) == 0)) return;
    read("key20");
    for (const auto& [key, value] : Values{{"key20", "another"}, {"new", "value"}}) {
      if (succeeds(nvram_bufset(0, key.c_str(), value.c_str()) == 0)) pending[key] = value;
    }
    read("key20");
    if (succeeds(nvram_commit(0) == 0)) {
      stored = all();
      pending.clear();
    }
    nvram_close(0);
    if (succeeds(nvram_init(0) == 0)) read("key20");
  }
};

TEST(StoreMemory, EachAllocationFails) {
  const ScratchStore store;
  const auto file = store.directory() / "2860.nvram";
  const auto content = [&] {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
  };
  for (const bool and_later : {false, true}) {
    bool met = true;
    for (unsigned at = 1; met && !testing::Test::HasFailure(); ++at) {
      SCOPED_TRACE(std::to_string(at) + (and_later ? " and later" : ""));
      Caller caller;
      for (int i = 10; i < 42; ++i) caller.stored["key" + std::to_string(i)] = "old";  // fill the table
      std::ofstream(file, std::ios::binary) << text_of(caller.stored);

      HeapWatch heap;
      heap.fail({at, and_later});
      caller.use_store();
      met = heap.fault_met();
      EXPECT_GE(caller.failures, met ? 1U : 0U);
      EXPECT_TRUE(caller.failures <= (met ? 1U : 0U) || and_later) << caller.failures;
      EXPECT_EQ(content(), text_of(caller.stored));

      // The next use is right: what was set and not committed is still there.
      heap.fail({});
      EXPECT_EQ(nvram_init(0), 0);
      for (const auto& [key, value] : caller.all()) EXPECT_EQ(value_of(key), value);
      EXPECT_EQ(nvram_commit(0), 0);
      EXPECT_EQ(content(), text_of(caller.all()));
      // Closed, the values stay for the case that they cannot be read again: none is left of an empty file.
      nvram_close(0);
      std::ofstream(file, std::ios::binary) << text_of({});
      EXPECT_EQ(nvram_init(0), 0);
      nvram_close(0);
      EXPECT_EQ(heap.leaks(), "");
      EXPECT_TRUE(met || at > 200) << "fewer allocations than the table needs";
    }
  }
}

}  // namespace
}  // namespace kd::test
