#include "base/text.hpp"

#include <climits>

#include "support/fixture.hpp"

namespace kd::test::text {

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

}  // namespace kd::test::text
