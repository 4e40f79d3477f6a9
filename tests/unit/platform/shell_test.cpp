#include "platform/shell.hpp"

#include <climits>
#include <cstdarg>

#include "base/text.hpp"
#include "platform/console.hpp"
#include "support/fixture.hpp"

// The formats are made by the tests.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace kd::test {
namespace {

using Shell = DeviceTest;

int format(HeapText& text, int limit, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char* result = nullptr;
  const int length = fmtValloc(&result, limit, format, arguments);
  va_end(arguments);
  text.reset(result);
  return length;
}

template <class... Values>
void expect_as_libc(const std::string& pattern, Values... values) {
  char expected[512];
  std::snprintf(expected, sizeof expected, pattern.c_str(), values...);
  HeapText text;
  const int length = format(text, 4096, pattern.c_str(), values...);
  EXPECT_STREQ(text.get(), expected) << pattern;
  EXPECT_EQ(length, static_cast<int>(view_of(text.get()).size())) << pattern;
}

TEST_F(Shell, FormatsNumbersAsLibcDoes) {
  for (unsigned flags = 0; flags < 32 && !HasFailure(); ++flags) {
    std::string start = "<%";
    for (unsigned bit = 0; bit < 5; ++bit) {
      if (flags >> bit & 1) start += "-+ #0"[bit];
    }
    for (const char* width : {"", "1", "9"}) {
      for (const char* precision : {"", ".", ".0", ".3", ".12"}) {
        for (const char letter : std::string_view{"diuoxX"}) {
          const std::string size = start + width + precision;
          for (const int value : {0, 1, -1, 42, 70000, INT_MIN, INT_MAX}) {
            expect_as_libc(size + letter + ">", value);
            expect_as_libc(size + "h" + letter + ">", value);
            expect_as_libc(size + "l" + letter + ">", long{value} << 20);
          }
        }
      }
    }
  }
}

TEST_F(Shell, FormatsTextsAsLibcDoes) {
  for (const char* spec : {"", "-", "8", "-8", ".0", ".2", "8.2", "-8.2", "1"}) {
    expect_as_libc("[%" + std::string{spec} + "s]", "abc");
    expect_as_libc("[%" + std::string{spec} + "c]", 'x');
  }
  expect_as_libc("%*d|%-*d|%.*s|%*s", 6, 1, 6, 2, 2, "abc", -6, "x");
  expect_as_libc("%s %s %d%%", "iwpriv", "ra0", 100);
  expect_as_libc("%s", static_cast<const char*>(nullptr));
  expect_as_libc("%p", static_cast<const void*>("here"));
  expect_as_libc("no conversion");
}

TEST_F(Shell, LeavesNothingToTheFormat) {
  int count = 77;
  HeapText text;
  EXPECT_EQ(format(text, 99, "a%nb%d", &count, 5), 3);
  EXPECT_STREQ(text.get(), "ab5");
  EXPECT_EQ(count, 77);
  format(text, 99, "%S|%y|%5z|%", "as s");
  EXPECT_STREQ(text.get(), "as s|%y|%5z|%");
}

TEST_F(Shell, FormatsUpToTheLimitAndTheMemory) {
  const struct {
    const char* name;
    int limit;
    const char* kept;
    int length;
  } rows[] = {
      {"fits", 7, "abcdef", 6},
      {"one too long", 6, "abcde", 6},
      {"only the terminator", 1, "", 6},
      {"no room", 0, nullptr, 0},
  };
  for (const auto& row : rows) {
    HeapText text;
    EXPECT_EQ(format(text, row.limit, "ab%s%c", "cde", 'f'), row.length) << row.name;
    EXPECT_STREQ(text.get(), row.kept) << row.name;
  }
  HeapText text;
  EXPECT_EQ(format(text, 10, "%2000000000d|%.2000000000d|%*d", 1, 1, INT_MIN, 1) > 9, true);
  EXPECT_EQ(view_of(text.get()).size(), 9U);

  heap.fail({2});  // the room for the padding
  EXPECT_EQ(format(text, 4096, "%2000d", 1), 0);
  EXPECT_EQ(text, nullptr);
}

TEST_F(Shell, RunsAnOverlongCommandAsFarAsItFits) {
  const std::string longest(4095, 'x');
  doSystem("%s", longest.c_str());
  EXPECT_EQ(effects(), (std::vector<std::string>{"console " + longest + "\n", "run " + longest}));
  doSystem("%sy", longest.c_str());
  EXPECT_EQ(effects(), (std::vector<std::string>{"console doSystem: lost data, buffer overflow\n",
                                                 "console " + longest + "\n", "run " + longest}));
}

TEST_F(Shell, WithoutMemoryNothingRuns) {
  for (unsigned at = 1;; ++at) {
    heap.fail({at});
    EXPECT_EQ(doSystem("rm %s%s", "/tmp/x", std::string(300, 'y').c_str()), 0);
    if (!heap.fault_met()) break;
    EXPECT_EQ(effects(), std::vector<std::string>{});
  }
}

}  // namespace
}  // namespace kd::test
