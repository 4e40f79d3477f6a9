#include "firmware/crc32.hpp"

#include <gtest/gtest.h>

#include <string>

namespace kd::test {
namespace {

std::uint32_t crc_of(std::string_view text, std::uint32_t previous = 0) {
  return crc32(previous, reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

TEST(Crc32, KnownValues) {
  EXPECT_EQ(crc_of(""), 0U);
  EXPECT_EQ(crc_of("123456789"), 0xCBF43926);
}

TEST(Crc32, CutAnywhere) {
  std::string bytes;
  std::uint32_t expected = ~0U;
  for (unsigned i = 0; i < 300; ++i) {
    bytes += static_cast<char>(i * 167);
    expected ^= i * 167 & 0xFF;
    for (int bit = 0; bit < 8; ++bit) expected = expected & 1 ? expected >> 1 ^ 0xEDB88320 : expected >> 1;
  }
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    EXPECT_EQ(crc_of(bytes.substr(cut), crc_of(bytes.substr(0, cut))), ~expected) << cut;
  }
}

}  // namespace
}  // namespace kd::test
