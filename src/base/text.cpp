#include "base/text.hpp"

#include <algorithm>
#include <cstring>

namespace kd {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char letter = lower(c);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

std::string_view skip_spaces(std::string_view text) {
  while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
  return text;
}

}  // namespace

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_hex_digit(char c) {
  return hex_digit(c) >= 0;
}

std::string_view take_word(std::string_view& text) {
  text = skip_spaces(text);
  std::size_t length = 0;
  while (length < text.size() && !is_space(text[length])) ++length;
  const std::string_view word = head(text, length);
  text = tail(text, length);
  return word;
}

std::int32_t text_to_int(const char* text) {
  return text_to_int(view_of(text));
}

std::int32_t text_to_int(std::string_view text) {
  text = skip_spaces(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  const std::int64_t limit = negative ? -std::int64_t{INT32_MIN} : INT32_MAX;
  std::int64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    value = std::min(value * 10 + (c - '0'), limit);
  }
  return static_cast<std::int32_t>(negative ? -value : value);
}

std::uint32_t hex_to_uint(std::string_view text) {
  text = skip_spaces(text);
  if (starts_with_ignoring_case(text, "0x")) text.remove_prefix(2);
  std::uint64_t value = 0;
  for (const char c : text) {
    const int digit = hex_digit(c);
    if (digit < 0) break;
    value = std::min<std::uint64_t>(value * 16 + static_cast<unsigned>(digit), UINT32_MAX);
  }
  return static_cast<std::uint32_t>(value);
}

void copy_text(std::span<char> destination, std::string_view text) {
  if (destination.empty()) return;
  const std::size_t length = std::min(text.size(), destination.size() - 1);
  if (length) std::memcpy(destination.data(), text.data(), length);
  destination[length] = '\0';
}

void append_text(std::span<char> destination, std::string_view text) {
  copy_text(destination.subspan(strnlen(destination.data(), destination.size())), text);
}

bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && starts_with_ignoring_case(a, b);
}

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (lower(text[i]) != lower(prefix[i])) return false;
  }
  return true;
}

bool contains_ignoring_case(std::string_view text, std::string_view part) {
  for (; text.size() >= part.size(); text.remove_prefix(1)) {
    if (starts_with_ignoring_case(text, part)) return true;
  }
  return false;
}

bool Text::reserve(std::size_t more) {
  if (capacity_ - size_ > more) return true;
  if (failed_) return false;
  // Doubling keeps a long chain of appends linear; a single large reservation is taken as it is.
  const std::size_t needed = size_ + more + 1;
  const std::size_t capacity = std::max(needed, capacity_ * 2);
  char* grown = static_cast<char*>(std::realloc(text_.get(), capacity));
  if (!grown) {
    text_.reset();
    size_ = capacity_ = 0;
    failed_ = true;
    return false;
  }
  (void)text_.release();  // realloc has taken the old block
  text_.reset(grown);
  capacity_ = capacity;
  text_.get()[size_] = '\0';
  return true;
}

char* Text::extend(std::size_t more) {
  if (!reserve(more)) return nullptr;
  char* room = text_.get() + size_;
  size_ += more;
  text_.get()[size_] = '\0';
  return room;
}

void Text::append(std::string_view text) {
  char* room = extend(text.size());
  if (room && !text.empty()) std::memcpy(room, text.data(), text.size());
}

void Text::shrink(std::size_t size) {
  if (size >= size_) return;
  size_ = size;
  text_.get()[size_] = '\0';
}

void Text::insert(std::size_t at, char byte, std::size_t count) {
  if (at > size_ || !extend(count)) return;
  char* gap = text_.get() + at;
  std::memmove(gap + count, gap, size_ - count - at);
  std::memset(gap, byte, count);
}

HeapText Text::release() {
  size_ = capacity_ = 0;
  return std::move(text_);
}

}  // namespace kd
