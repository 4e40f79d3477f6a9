#pragma once

#include <cstddef>
#include <cstdint>

namespace kd {

// CRC-32 of IEEE 802.3 over `length` bytes.
//   previous  the value so far, 0 to start with: crc32(crc32(0, a), b) is the checksum of a followed by b
// Its tables, 24 KB, stand on the stack and are made by each call: pass few long pieces.
std::uint32_t crc32(std::uint32_t previous, const unsigned char* data, std::size_t length);

}  // namespace kd
