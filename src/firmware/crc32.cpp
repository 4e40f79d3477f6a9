#include "firmware/crc32.hpp"

#include <array>

namespace kd {
namespace {

constexpr std::size_t kStep = 24;  // bytes at a time

using Table = std::array<std::uint32_t, 256>;
using StepTables = std::array<Table, kStep>;

std::uint32_t take_byte(const Table& single, std::uint32_t crc, std::uint32_t byte) {
  return crc >> 8 ^ single[(crc ^ byte) & 0xFF];
}

// One table for each place in a step: what a byte there leaves in the checksum at the step's end. The last
// one is the table of a single byte.
StepTables make_tables() {
  StepTables tables;
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    tables.back()[byte] = crc;
  }
  for (std::size_t place = kStep - 1; place > 0; --place) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      tables[place - 1][byte] = take_byte(tables.back(), tables[place][byte], 0);
    }
  }
  return tables;
}

std::uint32_t word_at(const unsigned char* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

std::uint32_t look_up(const Table* tables, std::uint32_t word) {
  return (tables[0][word & 0xFF] ^ tables[1][word >> 8 & 0xFF]) ^
         (tables[2][word >> 16 & 0xFF] ^ tables[3][word >> 24]);
}

}  // namespace

std::uint32_t crc32(std::uint32_t previous, const unsigned char* data, std::size_t length) {
  const StepTables tables = make_tables();
  std::uint32_t crc = ~previous;
  for (; length >= kStep; data += kStep, length -= kStep) {
    // Only the first word waits for the step before. Words alone or bytes alone would be slower.
    std::uint32_t rest = look_up(&tables[4], word_at(data + 4)) ^ look_up(&tables[8], word_at(data + 8));
#pragma GCC unroll 12
    for (std::size_t place = 12; place < kStep; ++place) rest ^= tables[place][data[place]];
    crc = rest ^ look_up(&tables[0], word_at(data) ^ crc);
  }
  for (; length > 0; --length) crc = take_byte(tables.back(), crc, *data++);
  return ~crc;
}

}  // namespace kd
