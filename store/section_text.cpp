#include "section_text.hpp"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace kd::store {
namespace {

constexpr std::string_view kVersionLine = "nvram 1";
constexpr std::string_view kEndLine = "end";

// Decodes one escape at the front of `text` (behind the backslash) and takes it off. The byte, or -1 when
// there is no such escape; a NUL is none, since no value can hold it.
int take_escape(std::string_view& text) {
  if (text.empty()) return -1;
  const char kind = text.front();
  text.remove_prefix(1);
  switch (kind) {
    case '\\':
      return '\\';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case 'x':
      break;
    default:
      return -1;
  }
  if (text.size() < 2) return -1;
  const int high = hex_digit(text[0]);
  const int low = hex_digit(text[1]);
  text.remove_prefix(2);
  if (high < 0 || low < 0 || (high == 0 && low == 0)) return -1;
  return high * 16 + low;
}

// Undoes the escapes of `text` into `out` (room for text.size() bytes). False when one is wrong.
bool unescape(std::string_view text, char* out, std::size_t& length) {
  length = 0;
  while (!text.empty()) {
    char c = text.front();
    text.remove_prefix(1);
    if (c == '\0') return false;
    if (c == '\\') {
      const int byte = take_escape(text);
      if (byte < 0) return false;
      c = static_cast<char>(byte);
    }
    out[length++] = c;
  }
  return true;
}

// A cursor that measures when it has no room and writes when it has.
struct Writer {
  char* out = nullptr;
  std::size_t size = 0;

  void put(char c) {
    if (out != nullptr) out[size] = c;
    ++size;
  }
  void put(std::string_view text) {
    for (const char c : text) put(c);
  }
  void put_hex(unsigned char byte) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    put("\\x");
    put(digits[byte >> 4]);
    put(digits[byte & 15]);
  }
  void put_escaped(const char* text, bool is_key) {
    for (const char* at = text; *at != '\0'; ++at) {
      const auto byte = static_cast<unsigned char>(*at);
      // A key is also cut at "=", and a "#" in front would make its line a comment.
      const bool special_in_key = is_key && (*at == '=' || (*at == '#' && at == text));
      switch (*at) {
        case '\\':
          put("\\\\");
          break;
        case '\n':
          put("\\n");
          break;
        case '\r':
          put("\\r");
          break;
        case '\t':
          put("\\t");
          break;
        default:
          if (byte < 0x20 || byte == 0x7F || special_in_key) {
            put_hex(byte);
          } else {
            put(*at);
          }
      }
    }
  }
  void put_table(const Table& table) {
    put(kVersionLine);
    put('\n');
    for (const Entry& entry : table) {
      put_escaped(entry.key, true);
      put('=');
      put_escaped(entry.value, false);
      put('\n');
    }
    put(kEndLine);
    put('\n');
  }
};

ParseStatus parse_line(std::string_view line, char* work, Table& out) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return ParseStatus::damaged;
  std::size_t key_length = 0;
  std::size_t value_length = 0;
  const std::string_view key(line.data(), equals);
  line.remove_prefix(equals + 1);
  if (!unescape(key, work, key_length)) return ParseStatus::damaged;
  if (!unescape(line, work + key_length, value_length)) return ParseStatus::damaged;
  const bool stored = out.set({work, key_length}, {work + key_length, value_length});
  return stored ? ParseStatus::ok : ParseStatus::no_memory;
}

}  // namespace

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

ParseResult parse(std::string_view text, Table& out) {
  const OwnedText work(static_cast<char*>(std::malloc(text.size() + 1)));
  if (!work) return {ParseStatus::no_memory, 1};

  std::size_t number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t length = text.find('\n');
    if (length == std::string_view::npos) return {ParseStatus::damaged, number};
    const std::string_view line(text.data(), length);
    text.remove_prefix(length + 1);

    if (number == 1) {
      if (line != kVersionLine) return {ParseStatus::damaged, number};
    } else if (line == kEndLine) {
      return text.empty() ? ParseResult{ParseStatus::ok, 0} : ParseResult{ParseStatus::damaged, number + 1};
    } else if (!line.empty() && line.front() != '#') {
      const ParseStatus status = parse_line(line, work.get(), out);
      if (status != ParseStatus::ok) return {status, number};
    }
  }
  return {ParseStatus::damaged, number + 1};  // no end line: something is cut off
}

OwnedText write(const Table& table, std::size_t& size) {
  Writer measure;
  measure.put_table(table);
  OwnedText text(static_cast<char*>(std::malloc(measure.size + 1)));
  if (!text) return nullptr;
  Writer writer{text.get(), 0};
  writer.put_table(table);
  text.get()[writer.size] = '\0';
  size = writer.size;
  return text;
}

}  // namespace kd::store
