// A program of its own for each target: KD_FUZZ_TARGET is its name.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "harness.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto target =
      std::ranges::find(kd::fuzz::targets(), std::string_view{KD_FUZZ_TARGET}, &kd::fuzz::Target::name);
  kd::fuzz::run(*target, {reinterpret_cast<const char*>(data), size});
  return 0;
}
