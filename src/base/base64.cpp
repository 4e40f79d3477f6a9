#include "base/base64.hpp"

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/text.hpp"

namespace kd {
namespace {

constexpr std::int8_t kOutside = -1;

constexpr auto make_values() {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::int8_t, 256> values{};
  for (auto& value : values) value = kOutside;
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::int8_t>(i);
  }
  return values;
}

constexpr auto kValues = make_values();

int value_of(char c) {
  return kValues[static_cast<unsigned char>(c)];
}

// Decodes whole groups up to the first one that holds a byte to be skipped.
//   returns  number of groups decoded
std::size_t decode_groups(const char* at, std::size_t groups, unsigned char* output) {
  std::size_t done = 0;
  for (; done < groups; ++done, at += 4, output += 3) {
    const int group = value_of(at[0]) << 18 | value_of(at[1]) << 12 | value_of(at[2]) << 6 | value_of(at[3]);
    if (group < 0) break;  // one of them is outside the alphabet
    output[0] = static_cast<unsigned char>(group >> 16);
    output[1] = static_cast<unsigned char>(group >> 8);
    output[2] = static_cast<unsigned char>(group);
  }
  return done;
}

}  // namespace

std::size_t b64_decode(std::string_view input, unsigned char* output, std::size_t capacity) {
  std::size_t written = 0;
  unsigned phase = 0;
  unsigned bits = 0;  // the values so far; a byte is the 8 bits above those not yet used
  while (!input.empty()) {
    if (phase == 0) {
      const std::size_t groups =
          decode_groups(input.data(), std::min(input.size() / 4, (capacity - written) / 3), output + written);
      written += 3 * groups;
      input.remove_prefix(4 * groups);
      if (input.empty()) break;
    }
    const char c = input.front();
    input.remove_prefix(1);
    if (c == '\0') break;
    const int value = value_of(c);
    if (value == kOutside) continue;
    bits = bits << 6 | static_cast<unsigned>(value);
    if (phase != 0 && written < capacity) {
      output[written++] = static_cast<unsigned char>(bits >> (6 - 2 * phase));
    }
    phase = (phase + 1) & 3;
  }
  return written;
}

DecodedText b64_decode_strict(std::string_view input) {
  input = head(input, input.find('='));
  for (const char c : input) {
    if (value_of(c) == kOutside) return {};
  }
  const std::size_t room = input.size() / 4 * 3 + 3;  // terminator included
  DecodedText decoded;
  decoded.text.reset(static_cast<char*>(std::malloc(room)));
  if (!decoded.text) return {};
  decoded.size = b64_decode(input, reinterpret_cast<unsigned char*>(decoded.text.get()), room - 1);
  decoded.text.get()[decoded.size] = '\0';
  return decoded;
}

}  // namespace kd
