// Small helpers over text. Letter case means ASCII letters; nothing here depends on a locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/memory.hpp"

namespace kd {

// Decimal text to integer: leading white space, an optional sign, digits up to the first other byte. No digit
// or a null text gives 0; out of range clamps to the 32-bit limits.
std::int32_t text_to_int(const char* text);
std::int32_t text_to_int(std::string_view text);

// The same in base 16 without a sign ("0x" is skipped), clamped to 32 bits.
std::uint32_t hex_to_uint(std::string_view text);

// Copies at most one byte less than there is room and terminates; the rest of the text is dropped silently.
void copy_text(std::span<char> destination, std::string_view text);
// The same behind the text that stands in the destination.
void append_text(std::span<char> destination, std::string_view text);

bool equal_ignoring_case(std::string_view a, std::string_view b);
bool starts_with_ignoring_case(std::string_view text, std::string_view prefix);
bool contains_ignoring_case(std::string_view text, std::string_view part);

inline bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

bool is_space(char c);
bool is_hex_digit(char c);

// Takes the next word off the front of `text`: what stands between white space. Empty when there is none.
std::string_view take_word(std::string_view& text);

// What lies from `start` on; empty when that is behind the end (substr would need exceptions).
inline std::string_view tail(std::string_view text, std::size_t start) {
  text.remove_prefix(start < text.size() ? start : text.size());
  return text;
}

inline std::string_view head(std::string_view text, std::size_t length) {
  return {text.data(), length < text.size() ? length : text.size()};
}

// Null reads as empty text.
inline std::string_view view_of(const char* text) {
  return text ? std::string_view{text} : std::string_view{};
}

// A growing, zero-terminated heap text. The first failed allocation is remembered, drops the text and makes
// every later append do nothing, so that only the end of a chain need ask.
class Text {
 public:
  Text() = default;
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  // Room for `more` further bytes in one step.
  bool reserve(std::size_t more);
  // Adds `more` bytes for the caller to write, zeroed terminator behind them; null when memory is short.
  char* extend(std::size_t more);
  // Drops what lies behind `size` bytes; nothing when there is less.
  void shrink(std::size_t size);
  void append(std::string_view text);
  void fill(char byte, std::size_t count) { insert(size_, byte, count); }
  // Puts `count` copies of one byte before the one at `at`.
  void insert(std::size_t at, char byte, std::size_t count);

  [[nodiscard]] bool failed() const { return failed_; }
  std::size_t size() const { return size_; }
  std::string_view view() const { return {text_.get(), size_}; }
  // The text itself, null when it failed or nothing was appended; this object is then empty.
  HeapText release();

 private:
  HeapText text_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;  // terminator included
  bool failed_ = false;
};

}  // namespace kd
