#include "firmware/crc32.hpp"

#include "support/fixture.hpp"

namespace kd::test {
namespace {

std::uint32_t crc_of(std::string_view text, std::uint32_t previous = 0) {
  return crc32(previous, reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

std::uint32_t bit_by_bit(std::string_view text) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : text) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
  }
  return ~crc;
}

TEST(Crc32, KnownValues) {
  EXPECT_EQ(crc_of(""), 0u);
  EXPECT_EQ(crc_of("123456789"), 0xCBF43926u);
  EXPECT_EQ(crc_of("The quick brown fox jumps over the lazy dog"), 0x414FA339u);
}

// Around every number of whole blocks, at every alignment, and cut in two anywhere.
TEST(Crc32, AnyLengthPlaceAndSplit) {
  std::string bytes;
  for (unsigned i = 0; i < 120; ++i) bytes += static_cast<char>(i * i * 7 + i);
  for (std::size_t start = 0; start < 8; ++start) {
    for (std::size_t length = 0; length + start < bytes.size(); ++length) {
      const std::string_view part = std::string_view{bytes}.substr(start, length);
      ASSERT_EQ(crc_of(part), bit_by_bit(part)) << start << "+" << length;
    }
  }
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    const std::string_view whole = bytes;
    ASSERT_EQ(crc_of(whole.substr(cut), crc_of(whole.substr(0, cut))), bit_by_bit(bytes)) << cut;
  }
}

}  // namespace
}  // namespace kd::test
