#include "base/base64.hpp"

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/text.hpp"

namespace kd {
namespace {

constexpr std::int32_t kOutside = INT32_MIN;

// A character's value at each of the four places of its group: the last table holds the plain values. A group
// is the sum of its four entries, negative when one of them is outside the alphabet.
constexpr auto make_tables() {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::array<std::int32_t, 256>, 4> tables{};
  for (std::size_t place = 0; place < 4; ++place) {
    for (auto& value : tables[place]) value = kOutside;
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
      tables[place][static_cast<unsigned char>(alphabet[i])] =
          static_cast<std::int32_t>(i << (18 - 6 * place));
    }
  }
  return tables;
}

constexpr auto kTables = make_tables();

std::int32_t value_of(char c, std::size_t place = 3) {
  return kTables[place][static_cast<unsigned char>(c)];
}

// Decodes whole groups up to the first one that holds a byte to be skipped.
//   returns  number of groups decoded
std::size_t decode_groups(const char* at, std::size_t groups, unsigned char* output) {
  std::size_t done = 0;
  for (; done < groups; ++done, at += 4, output += 3) {
    const std::int32_t group =
        value_of(at[0], 0) | value_of(at[1], 1) | value_of(at[2], 2) | value_of(at[3], 3);
    if (group < 0) break;
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
    const std::int32_t value = value_of(c);
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
  const std::size_t capacity = input.size() / 4 * 3 + 3;
  DecodedText decoded;
  decoded.text.reset(static_cast<char*>(std::malloc(capacity + 1)));
  if (!decoded.text) return {};
  decoded.size = b64_decode(input, reinterpret_cast<unsigned char*>(decoded.text.get()), capacity);
  decoded.text.get()[decoded.size] = '\0';
  return decoded;
}

}  // namespace kd
