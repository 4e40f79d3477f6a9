// Every seed, kept crashes included, through its target; then, for a while, what random changes make of them.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "targets.hpp"

namespace kd::fuzz {
namespace {

namespace fs = std::filesystem;
using namespace std::literals;

constexpr unsigned kStart = 1;  // of the random numbers: what breaks once breaks again
constexpr std::chrono::seconds kTime = 2s;
constexpr unsigned kLongestRun = 10;  // seconds
constexpr std::size_t kLongestInput = 30000;

std::vector<std::string> seeds_of(const Target& target) {
  const fs::directory_iterator all{fs::path{KD_FUZZ_SEEDS} / target.name};
  std::vector<fs::path> paths{fs::begin(all), fs::end(all)};
  std::sort(paths.begin(), paths.end());
  std::vector<std::string> seeds;
  for (const fs::path& path : paths) {
    std::ifstream file{path, std::ios::binary};
    seeds.emplace_back(std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{});
  }
  return seeds;
}

// Cuts, changes, repeats and mixes seeds.
class Changes {
 public:
  explicit Changes(const std::vector<std::string>& seeds) : seeds_{seeds} {}

  std::string next() {
    std::string input = seed();
    for (std::size_t left = 1 + below(4); left > 0; --left) change(input);
    return input.substr(0, kLongestInput);
  }

 private:
  std::size_t below(std::size_t end) { return random_() % end; }
  const std::string& seed() { return seeds_[below(seeds_.size())]; }
  std::string piece_of(const std::string& text) {
    return text.substr(below(text.size() + 1), 1 + below(below(2) ? 8 : 200));
  }

  void change(std::string& input) {
    constexpr std::string_view kBytes = "\0\n\t <>&;\"'/=,:-0129aZ\x7F\x80\xFF"sv;
    const std::size_t at = below(input.size() + 1);
    switch (below(6)) {
      case 0:
        return input.resize(at);
      case 1:
        if (at < input.size()) input[at] = static_cast<char>(input[at] ^ 1 << below(8));
        return;
      case 2:
        input.replace(at, below(2), 1, kBytes[below(kBytes.size())]);
        return;
      case 3:
        input.erase(at, 1 + below(60));
        return;
      case 4:
        for (std::size_t left = 1 + below(20); left > 0; --left) input.insert(at, piece_of(input));
        return;
      default:
        input.replace(at, below(60), piece_of(seed()));
    }
  }

  const std::vector<std::string>& seeds_;
  std::mt19937 random_{kStart};
};

// The input that is being run, where the parent of the process that it ends finds it.
struct Current {
  unsigned long run;
  std::size_t size;
  char input[kLongestInput];
};

Current& shared_with_children() {
  void* memory = mmap(nullptr, sizeof(Current), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  return *static_cast<Current*>(memory);
}

[[noreturn]] void run_all(const Target& target, const std::vector<std::string>& seeds, Current& current) {
  const auto run = [&](const std::string& input) {
    ++current.run;
    current.size = input.copy(current.input, kLongestInput);
    alarm(kLongestRun);
    target.run(input);
  };
  for (const std::string& seed : seeds) run(seed);
  Changes changes{seeds};
  const auto end = std::chrono::steady_clock::now() + kTime;
  while (std::chrono::steady_clock::now() < end) run(changes.next());
  std::exit(0);
}

// Keeps the input; tells where, and how to run it again. (A leak is found after the last run, whichever made
// it.)
std::string keep(const Target& target, const Current& current) {
  const fs::path path =
      fs::temp_directory_path() / ("fuzz_" + std::string{target.name} + "_" + std::to_string(current.run));
  std::ofstream{path, std::ios::binary}.write(current.input, static_cast<std::streamsize>(current.size));
  return "last: run " + std::to_string(current.run) + " of " + target.name + " (random numbers from " +
         std::to_string(kStart) + "); to repeat it: fuzz_replay " + target.name + " " + path.string();
}

class Seeds : public ::testing::TestWithParam<Target> {};

TEST_P(Seeds, AndWhatIsNearThem) {
  const Target& target = GetParam();
  const std::vector<std::string> seeds = seeds_of(target);
  ASSERT_FALSE(seeds.empty());
  Current& current = shared_with_children();
  // A broken promise ends the process.
  EXPECT_EXIT(run_all(target, seeds, current), ::testing::ExitedWithCode(0), "") << keep(target, current);
  RecordProperty("runs", std::to_string(current.run));
  munmap(&current, sizeof current);
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Seeds, ::testing::ValuesIn(kTargets),
                         [](const auto& row) { return std::string{row.param.name}; });

}  // namespace
}  // namespace kd::fuzz
