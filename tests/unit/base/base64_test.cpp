#include "base/base64.hpp"

#include "support/fixture.hpp"

namespace kd::test {
namespace {

using namespace std::string_view_literals;

// Each text is decoded in place and, where it is clean, as credentials.
TEST(Base64, Decodes) {
  const struct {
    std::string_view name, encoded, decoded;
    bool clean = true;
    std::size_t capacity = 48;
  } rows[] = {
      {"RFC 4648: nothing", "", ""},
      {"RFC 4648: one byte", "Zg==", "f"},
      {"RFC 4648: two bytes", "Zm8=", "fo"},
      {"RFC 4648: three bytes", "Zm9v", "foo"},
      {"RFC 4648: four bytes, not padded", "Zm9vYg", "foob"},
      {"the alphabet", "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
       "\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51\x55\x97\x61\x96\x9b\x71\xd7\x9f"
       "\x82\x18\xa3\x92\x59\xa7\xa2\x9a\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d\xb7\xe3\x9e\xbb\xf3\xdf\xbf"sv},
      {"group of one", "Zm9vY", "foo"},
      {"neighbours of the alphabet", "Z\r\n m*,-.:@[`{=\x7f\x80\3779v", "foo", false},
      {"a NUL ends it", "Zm9vYg\0Yg"sv, "foob", false},
      {"room for a byte less", "Zm9vYmFy", "fooba", true, 5},
      {"room for a group less", "Zm9vYmFy", "foo", true, 3},
      {"no room", "Zm9v", "", true, 0},
  };
  for (const auto& row : rows) {
    std::string text{row.encoded};
    const std::size_t size = b64_decode(text, reinterpret_cast<unsigned char*>(text.data()), row.capacity);
    EXPECT_EQ(text.substr(0, size), row.decoded) << row.name;
    const DecodedText strict = b64_decode_strict(row.encoded);
    const bool whole = row.capacity == 48;
    EXPECT_EQ(strict.text != nullptr, row.clean) << row.name;
    EXPECT_TRUE(!row.clean || !whole || std::string(strict.text.get(), strict.size) == row.decoded)
        << row.name;
  }
}

}  // namespace
}  // namespace kd::test
