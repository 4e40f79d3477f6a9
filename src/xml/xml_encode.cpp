#include "xml/xml_encode.hpp"

#include <string_view>

#include "base/text.hpp"

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
  Text encoded;
  for (const char* at = text; *at; ++at) {
    const std::string_view escape = escape_of(*at);
    encoded.append(escape.empty() ? std::string_view{at, 1} : escape);
  }
  return encoded.release().release();
}

EncodedText::EncodedText(const char* raw) : text_{raw} {
  char* encoded = xml_encode(raw);
  if (!encoded || encoded == raw) return;
  copy_.reset(encoded);
  text_ = encoded;
}

}  // namespace kd
