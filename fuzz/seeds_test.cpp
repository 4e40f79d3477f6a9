// Every seed, kept crashes included, through its target; and whatever a cut or a changed byte makes of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "targets.hpp"

namespace kd::fuzz {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> seeds_of(const Target& target) {
  const fs::directory_iterator all{fs::path{KD_FUZZ_SEEDS} / target.name};
  std::vector<fs::path> seeds{fs::begin(all), fs::end(all)};
  std::sort(seeds.begin(), seeds.end());
  return seeds;
}

std::string content_of(const fs::path& path) {
  std::ifstream file{path, std::ios::binary};
  return {std::istreambuf_iterator<char>{file}, {}};
}

class Seeds : public ::testing::TestWithParam<Target> {};

// A broken promise ends the process.
TEST_P(Seeds, AndWhatIsNearThem) {
  constexpr std::size_t kPlaces = 12;
  const std::vector<fs::path> seeds = seeds_of(GetParam());
  ASSERT_FALSE(seeds.empty());
  for (const fs::path& seed : seeds) {
    SCOPED_TRACE(seed);
    const std::string input = content_of(seed);
    GetParam().run(input);
    for (std::size_t i = 0; i < kPlaces && i < input.size(); ++i) {
      const std::size_t at = input.size() * i / kPlaces;
      GetParam().run(input.substr(0, at));
      std::string changed = input;
      for (const char byte : {'\0', '\n', '<', '\xFF'}) {
        changed[at] = byte;
        GetParam().run(changed);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Seeds, ::testing::ValuesIn(kTargets),
                         [](const auto& row) { return std::string{row.param.name}; });

}  // namespace
}  // namespace kd::fuzz
