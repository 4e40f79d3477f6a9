#include "firmware/crc32.hpp"

#include <array>

namespace kd {
namespace {

using table = std::array<std::uint32_t, 256>;

constexpr std::uint32_t kPolynomial = 0xEDB88320;  // bits reversed
constexpr std::size_t kWord = 4;
constexpr std::size_t kLanes = 5;
constexpr std::size_t kBlock = kLanes * kWord;

constexpr table make_byte_table() {
  table made{};
  for (std::uint32_t byte = 0; byte < made.size(); ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ kPolynomial : crc >> 1;
    made[byte] = crc;
  }
  return made;
}

constexpr table kByteTable = make_byte_table();

constexpr std::uint32_t next(std::uint32_t crc, std::uint32_t byte) {
  return crc >> 8 ^ kByteTable[(crc ^ byte) & 0xFF];
}

// What each byte of a word becomes until the lane's next word, one block further on.
constexpr std::array<table, kWord> make_lane_tables() {
  std::array<table, kWord> made{};
  for (std::size_t position = 0; position < kWord; ++position) {
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
      std::uint32_t crc = byte;
      for (std::size_t passed = position; passed < kBlock; ++passed) crc = next(crc, 0);
      made[position][byte] = crc;
    }
  }
  return made;
}

constexpr std::array<table, kWord> kLaneTables = make_lane_tables();

std::uint32_t little_endian(const unsigned char* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// Takes whole blocks: each lane sums up every fifth word, so that no look-up waits for the one before it. The
// last block runs through the lanes in order and joins them.
std::uint32_t take_blocks(std::uint32_t crc, const unsigned char* data, std::size_t blocks) {
  std::uint32_t lanes[kLanes] = {crc};
  for (; blocks > 1; --blocks, data += kBlock) {
#pragma GCC unroll 5  // the lanes are to live in registers
    for (std::size_t i = 0; i < kLanes; ++i) {
      const std::uint32_t word = lanes[i] ^ little_endian(data + i * kWord);
      lanes[i] = (kLaneTables[0][word & 0xFF] ^ kLaneTables[1][word >> 8 & 0xFF]) ^
                 (kLaneTables[2][word >> 16 & 0xFF] ^ kLaneTables[3][word >> 24]);
    }
  }
  crc = 0;
  for (std::size_t i = 0; i < kLanes; ++i) {
    crc ^= lanes[i];
    for (std::size_t k = 0; k < kWord; ++k) crc = next(crc, data[i * kWord + k]);
  }
  return crc;
}

}  // namespace

std::uint32_t crc32(std::uint32_t previous, const unsigned char* data, std::size_t length) {
  std::uint32_t crc = ~previous;
  if (const std::size_t blocks = length / kBlock) {
    crc = take_blocks(crc, data, blocks);
    data += blocks * kBlock;
    length -= blocks * kBlock;
  }
  for (; length > 0; --length) crc = next(crc, *data++);
  return ~crc;
}

}  // namespace kd
