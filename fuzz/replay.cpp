// fuzz_replay TARGET FILE...: runs files through a target without a fuzzing compiler, for instance to debug
// what a fuzzer found.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "targets.hpp"

namespace {

const kd::fuzz::Target* find_target(std::string_view name) {
  for (const kd::fuzz::Target& target : kd::fuzz::kTargets) {
    if (name == target.name) return &target;
  }
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  const kd::fuzz::Target* target = argc > 2 ? find_target(argv[1]) : nullptr;
  if (!target) {
    std::fputs("usage: fuzz_replay TARGET FILE...\ntargets:", stderr);
    for (const kd::fuzz::Target& each : kd::fuzz::kTargets) std::fprintf(stderr, " %s", each.name);
    std::fputs("\n", stderr);
    return 2;
  }
  for (int i = 2; i < argc; ++i) {
    std::ifstream file{argv[i], std::ios::binary};
    if (!file) {
      std::fprintf(stderr, "fuzz_replay: cannot read %s\n", argv[i]);
      return 1;
    }
    const std::string input{std::istreambuf_iterator<char>{file}, {}};
    std::printf("%s: %zu bytes\n", argv[i], input.size());
    std::fflush(stdout);
    target->run(input);
  }
}
