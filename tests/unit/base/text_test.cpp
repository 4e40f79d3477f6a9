#include <climits>

#include "base/base64.hpp"
#include "base/text.hpp"
#include "support/fixture.hpp"

namespace kd::test::text {

using namespace std::string_view_literals;

TEST(Text, ReadsNumbersLeniently) {
  const char* null = nullptr;
  EXPECT_EQ(text_to_int(null), 0);
  expect_each([](const char* text) { return text_to_int(text); }, "", 0, " \t\n\v\f\r12x", 12, "+7", 7, "-7",
              -7, "- 7", 0, "+-3", 0, "0x10", 0, "007", 7, "\0165", 0, "\0105", 0, "9:", 9, "9/", 9,
              "2147483647", INT_MAX, "2147483648", INT_MAX, "-2147483648", INT_MIN, "-2147483649", INT_MIN,
              "99999999999999999999999", INT_MAX, "-99999999999999999999999", INT_MIN);
  expect_each(hex_to_uint, "", 0, " 0XfF", 255, "0x", 0, "1g", 1, "x1", 0, "09afAF", 0x09AFAF, "1:", 1, "1/",
              1, "1`", 1, "1@", 1, "1G", 1, "FFFFFFFF", UINT_MAX, "100000000", UINT_MAX);
}

TEST(Text, CopiesWhatFits) {
  char field[4] = "...";
  copy_text(field, "abcdef");
  EXPECT_STREQ(field, "abc");
  copy_text(field, "x");
  append_text(field, "yz12");
  EXPECT_STREQ(field, "xyz");
  copy_text({field, 0}, "abc");
  EXPECT_STREQ(field, "xyz");
}

TEST(Text, IgnoresCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(equal_ignoring_case("aZ9[", "Az9["));
  // Of another length, a case bit apart, in Latin-1 a letter.
  for (const auto& [a, b] : {std::pair{"a", "ab"}, {"@", "`"}, {"[", "{"}, {"\xc4", "\xe4"}}) {
    EXPECT_FALSE(equal_ignoring_case(a, b)) << a;
  }
  EXPECT_TRUE(contains_ignoring_case("xxPureNetworks", "purenetworks") && contains_ignoring_case("", ""));
  EXPECT_FALSE(contains_ignoring_case("pure", "purenetworks"));
}

using GrowingText = DeviceTest;

TEST_F(GrowingText, RemembersThatMemoryRanOut) {
  for (unsigned at = 1; at <= 8; ++at) {
    Text text;
    heap.fail({at});
    for (int i = 0; i < 40; ++i) text.append("abc");
    EXPECT_EQ(text.failed(), heap.fault_met());
    EXPECT_EQ(text.size(), text.failed() ? 0U : 120U);
    EXPECT_EQ(text.release() == nullptr, heap.fault_met());
    EXPECT_TRUE(at < 8 || !heap.fault_met()) << "few steps for many appends";
  }
  heap.fail({});
  Text text;
  text.append("ac");
  text.insert(1, 'b', 3);
  text.insert(9, 'x', 3);
  EXPECT_EQ(text.view(), "abbbc");
  text.shrink(9);
  text.shrink(2);
  EXPECT_STREQ(text.release().get(), "ab");
}

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

}  // namespace kd::test::text
