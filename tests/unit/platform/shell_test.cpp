#include "platform/shell.hpp"

#include <cwchar>

#include "base/memory.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using Shell = DeviceTest;

__attribute__((format(printf, 3, 4))) int print(HeapText& text, int limit, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char unset = 0;
  char* result = &unset;
  const int length = fmtValloc(&result, limit, format, arguments);
  va_end(arguments);
  text.reset(result);
  return length;
}

TEST_F(Shell, FormatsUpToTheLimit) {
  const struct {
    int limit;
    const char* kept;
  } rows[] = {{-1, nullptr}, {0, nullptr}, {1, ""}, {2, "a"}, {4, "ab7"}, {5, "ab7c"}};
  HeapText text;
  for (const auto& row : rows) {
    EXPECT_EQ(print(text, row.limit, "%s%dc", "ab", 7), row.kept ? 4 : 0) << row.limit;
    EXPECT_STREQ(text.get(), row.kept) << row.limit;
  }
  EXPECT_EQ(print(text, 9, "%lc", wint_t{0xD800}), 0) << "no such character";
  EXPECT_EQ(text, nullptr);
}

TEST_F(Shell, RunsAnOverlongCommandAsFarAsItFits) {
  const std::string longest(4095, 'x');
  doSystem("%s", longest.c_str());
  EXPECT_EQ(effects(), (std::vector<std::string>{"console " + longest + "\n", "run " + longest}));
  doSystem("%sy", longest.c_str());
  EXPECT_EQ(effects(), (std::vector<std::string>{"console doSystem: lost data, buffer overflow\n",
                                                 "console " + longest + "\n", "run " + longest}));
  heap.fail({1});
  EXPECT_EQ(doSystem("%s", "rm /tmp/x"), 0);
  EXPECT_EQ(effects(), std::vector<std::string>{});
}

}  // namespace
}  // namespace kd::test
