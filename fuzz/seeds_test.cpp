// Every seed, kept crashes included, through its target.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "harness.hpp"

namespace kd::fuzz {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void run_all(const Target& target) {
  bool any = false;
  for (const fs::path& path : fs::directory_iterator{fs::path{KD_FUZZ_SEEDS} / target.name}) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file{path, std::ios::binary};
    run(target, std::string{std::istreambuf_iterator<char>{file}, {}});
    any = true;
  }
  std::exit(any ? 0 : 1);
}

// In a process of its own, which a broken promise ends; the last name that it wrote is the seed's.
TEST(Seeds, KeepEveryPromise) {
  for (const Target& target : targets()) {
    EXPECT_EXIT(run_all(target), ::testing::ExitedWithCode(0), "") << target.name;
  }
}

}  // namespace
}  // namespace kd::fuzz
