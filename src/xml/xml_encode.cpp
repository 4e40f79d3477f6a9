#include "xml/xml_encode.hpp"

#include <cstring>
#include <string_view>

namespace kd {
namespace {

// The escape of a character; empty for one that stands for itself.
constexpr std::string_view escape_of(char c) {
  switch (c) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '"':
      return "&quot;";
    default:
      return {};
  }
}

}  // namespace

char* xml_encode(const char* text) {
  if (!text || !*text) return const_cast<char*>(text);
  std::size_t length = 0;
  for (const char* at = text; *at; ++at) {
    const std::string_view escape = escape_of(*at);
    length += escape.empty() ? 1 : escape.size();
  }
  char* encoded = static_cast<char*>(std::malloc(length + 1));
  if (!encoded) return nullptr;
  char* out = encoded;
  for (const char* at = text; *at; ++at) {
    const std::string_view escape = escape_of(*at);
    if (escape.empty()) {
      *out++ = *at;
    } else {
      std::memcpy(out, escape.data(), escape.size());
      out += escape.size();
    }
  }
  *out = '\0';
  return encoded;
}

EncodedText::EncodedText(const char* raw) : text_{raw} {
  char* encoded = xml_encode(raw);
  if (!encoded || encoded == raw) return;
  copy_.reset(encoded);
  text_ = encoded;
}

}  // namespace kd
