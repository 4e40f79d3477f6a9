#pragma once

#include <cstddef>
#include <string_view>

#include "base/memory.hpp"

namespace kd {

// Lenient decoder: bytes outside the alphabet ("=" and line breaks included) are skipped, the text ends at
// its end or at its first NUL. At most `capacity` bytes are written, further ones dropped. `output` may be
// the input itself: what is written never reaches what is still to be read.
//   returns  number of bytes written
std::size_t b64_decode(std::string_view input, unsigned char* output, std::size_t capacity);

// Strict decoder for credentials: ends at the first "=", any other byte outside the alphabet is an error.
struct DecodedText {
  HeapText text;  // zero-terminated; null on an error or when memory is short
  std::size_t size = 0;
};
DecodedText b64_decode_strict(std::string_view input);

}  // namespace kd
