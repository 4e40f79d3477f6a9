#include "base/text.hpp"

#include <climits>

#include "support/fixture.hpp"

namespace kd::test {
namespace {

TEST(Text, ReadsDecimalNumbersLeniently) {
  const std::pair<const char*, int> rows[] = {{nullptr, 0},
                                              {"", 0},
                                              {" \t\n\v\f\r12x", 12},
                                              {"+7", 7},
                                              {"-7", -7},
                                              {"- 7", 0},
                                              {"+-3", 0},
                                              {"0x10", 0},
                                              {"2147483647", INT_MAX},
                                              {"2147483648", INT_MAX},
                                              {"-2147483648", INT_MIN},
                                              {"-2147483649", INT_MIN},
                                              {"99999999999999999999999", INT_MAX},
                                              {"-99999999999999999999999", INT_MIN},
                                              {"007", 7}};
  for (const auto& [text, value] : rows) EXPECT_EQ(text_to_int(text), value) << view_of(text);
}

TEST(Text, ReadsHexadecimalNumbersLeniently) {
  const std::pair<const char*, unsigned> rows[] = {{"", 0},
                                                   {"fF", 255},
                                                   {" 0XfF", 255},
                                                   {"0x", 0},
                                                   {"1g", 1},
                                                   {"FFFFFFFF", UINT_MAX},
                                                   {"100000000", UINT_MAX},
                                                   {"x1", 0}};
  for (const auto& [text, value] : rows) EXPECT_EQ(hex_to_uint(text), value) << text;
}

TEST(Text, CopiesWhatFits) {
  char field[4] = "...";
  copy_text(field, "abcdef");
  EXPECT_STREQ(field, "abc");
  copy_text(field, "");
  EXPECT_STREQ(field, "");
  copy_text(field, 0, "abc");
  EXPECT_STREQ(field, "");
}

TEST(Text, IgnoresCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(equal_ignoring_case("aZ9[", "Az9["));
  EXPECT_FALSE(equal_ignoring_case("a", "ab"));
  EXPECT_FALSE(equal_ignoring_case("@", "`"));        // a case bit apart
  EXPECT_FALSE(equal_ignoring_case("\xc4", "\xe4"));  // in Latin-1 a letter
  EXPECT_TRUE(contains_ignoring_case("xxPureNetworks", "purenetworks"));
  EXPECT_TRUE(contains_ignoring_case("", ""));
  EXPECT_FALSE(contains_ignoring_case("pure", "purenetworks"));
}

using GrowingText = DeviceTest;

TEST_F(GrowingText, RemembersThatMemoryRanOut) {
  for (unsigned at = 1; at <= 3; ++at) {
    Text text;
    heap.fail({at});
    for (int i = 0; i < 40; ++i) text.append("abc");
    EXPECT_EQ(text.failed(), heap.fault_met());
    EXPECT_EQ(text.size(), text.failed() ? 0U : 120U);
    EXPECT_EQ(text.release() == nullptr, heap.fault_met());
  }
}

}  // namespace
}  // namespace kd::test
