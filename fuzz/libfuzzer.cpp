// A program of its own for each target: KD_FUZZ_TARGET is its name.
#include <cstddef>
#include <cstdint>

#include "targets.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kd::fuzz::KD_FUZZ_TARGET({reinterpret_cast<const char*>(data), size});
  return 0;
}
