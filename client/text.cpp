#include "text.hpp"

#include <wchar.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>

namespace hnap {
namespace {

bool ascii_only = false;

struct Character {
  char32_t code = 0;
  std::size_t bytes = 0;  // 0: the first byte begins no character
};

// The character that a text begins with; neither overlong forms nor surrogates are characters.
Character first_character(std::string_view text) {
  const auto byte = [&](std::size_t index) -> char32_t { return static_cast<unsigned char>(text[index]); };
  const char32_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) return {};
  char32_t code = lead & (0x7FU >> bytes);
  for (std::size_t index = 1; index < bytes; ++index) {
    if ((byte(index) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(index) & 0x3F);
  }
  constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kSmallest[bytes] || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF) return {};
  return {code, bytes};
}

bool is_control(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Marks that change the direction or take no room: a name could look like another one.
bool is_deceptive(char32_t code) {
  return code == 0xAD || code == 0x61C || (code >= 0x200B && code <= 0x200F) ||
         (code >= 0x2028 && code <= 0x202E) || (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF ||
         (code >= 0xFFF9 && code <= 0xFFFB) || (code >= 0xE0000 && code <= 0xE007F);
}

std::string byte_code(char byte) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  return text.data();
}

std::string character_code(char32_t code) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "\\u{%04X}", static_cast<unsigned>(code));
  return text.data();
}

std::string shown(std::string_view text, bool keep_lines) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = first_character(text);
    const std::size_t bytes = std::max<std::size_t>(character.bytes, 1);
    const bool stays = keep_lines && (text[0] == '\n' || text[0] == '\t');
    if (character.bytes == 0 || (is_control(character.code) && character.code < 0x80 && !stays)) {
      result += byte_code(text[0]);
    } else if (!stays && (is_control(character.code) || is_deceptive(character.code) ||
                          (ascii_only && character.code >= 0x80))) {
      result += character_code(character.code);
    } else {
      result += text.substr(0, bytes);
    }
    text.remove_prefix(bytes);
  }
  return result;
}

int columns_of(const Character& character) {
  if (character.bytes == 0) return 1;
  const int columns = wcwidth(static_cast<wchar_t>(character.code));
  return columns < 0 ? 1 : columns;
}

}  // namespace

void show_ascii_only() {
  ascii_only = true;
}

std::string visible(std::string_view text) {
  return shown(text, false);
}

std::string visible_lines(std::string_view text) {
  return shown(text, true);
}

int columns_of(std::string_view text) {
  int columns = 0;
  while (!text.empty()) {
    const Character character = first_character(text);
    columns += columns_of(character);
    text.remove_prefix(std::max<std::size_t>(character.bytes, 1));
  }
  return columns;
}

std::string cut_to(std::string_view text, int columns, bool utf8) {
  if (columns_of(text) <= columns) return std::string(text);
  const std::string_view end = utf8 ? "…" : "...";
  int room = columns - (utf8 ? 1 : 3);
  std::size_t kept = 0;
  while (kept < text.size()) {
    const Character character = first_character(text.substr(kept));
    room -= columns_of(character);
    if (room < 0) break;
    kept += std::max<std::size_t>(character.bytes, 1);
  }
  return std::string(text.substr(0, kept)) + std::string(end);
}

std::string xml_text_flaw(std::string_view text) {
  while (!text.empty()) {
    const Character character = first_character(text);
    if (character.bytes == 0) return "not UTF-8";
    const bool blank = character.code == '\t' || character.code == '\n' || character.code == '\r';
    if ((character.code < 0x20 && !blank) || character.code == 0xFFFE || character.code == 0xFFFF)
      return "a control character";
    text.remove_prefix(character.bytes);
  }
  return {};
}

bool is_xml_text(std::string_view text) {
  return xml_text_flaw(text).empty();
}

bool is_hexadecimal(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

std::optional<long> whole_number(std::string_view text) {
  long number = 0;
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stopped != end || text.empty()) return std::nullopt;
  return number;
}

void append_base64(std::string& text, std::string_view bytes) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t before = text.size();
  text.resize(before + (bytes.size() + 2) / 3 * 4, '=');
  char* place = text.data() + before;
  const auto put = [&](std::uint32_t group, int shift) { *place++ = kAlphabet[group >> shift & 0x3F]; };
  const auto byte = [&](std::size_t index) -> std::uint32_t {
    return static_cast<unsigned char>(bytes[index]);
  };
  std::size_t start = 0;
  for (; start + 3 <= bytes.size(); start += 3) {
    const std::uint32_t group = byte(start) << 16 | byte(start + 1) << 8 | byte(start + 2);
    put(group, 18);
    put(group, 12);
    put(group, 6);
    put(group, 0);
  }
  const std::size_t left = bytes.size() - start;
  if (left == 0) return;
  const std::uint32_t group = byte(start) << 16 | (left == 2 ? byte(start + 1) << 8 : 0);
  put(group, 18);
  put(group, 12);
  if (left == 2) put(group, 6);
}

std::string masked(std::string_view xml) {
  constexpr std::array<std::string_view, 3> kSecrets = {"Key", "AdminPassword", "PIN"};
  std::string result;
  while (!xml.empty()) {
    const std::size_t end = xml.find('>');
    const std::string_view upto = xml.substr(0, end == std::string_view::npos ? end : end + 1);
    result += upto;
    xml.remove_prefix(upto.size());
    std::string_view name = upto.substr(std::min(upto.rfind('<'), upto.size()));
    name.remove_prefix(std::min<std::size_t>(1, name.size()));
    name = name.substr(0, name.find_first_of(" \t\r\n/>"));
    if (const std::size_t colon = name.find(':'); colon != std::string_view::npos)
      name.remove_prefix(colon + 1);
    if (upto.ends_with("/>") || std::find(kSecrets.begin(), kSecrets.end(), name) == kSecrets.end()) continue;
    const std::size_t secret = std::min(xml.find('<'), xml.size());
    if (secret > 0) result += "***";
    xml.remove_prefix(secret);
  }
  return result;
}

std::string without_blanks_around(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

}  // namespace hnap
