#include "firmware/crc32.hpp"

#include <gtest/gtest.h>

#include <string>

namespace kd::test {
namespace {

std::uint32_t crc_of(std::string_view text, std::uint32_t previous = 0) {
  return crc32(previous, reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

// As another library computes it.
TEST(Crc32, IsTheSameHoweverTheBytesAreCut) {
  EXPECT_EQ(crc_of("123456789"), 0xCBF43926);
  std::string bytes;
  for (unsigned i = 0; i < 300; ++i) bytes += static_cast<char>(i * 167);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    EXPECT_EQ(crc_of(bytes.substr(cut), crc_of(bytes.substr(0, cut))), 0x628945EC) << cut;
  }
}

}  // namespace
}  // namespace kd::test
