// What a section's file may hold, byte for byte the same on every processor, and what is refused.
#include <sys/stat.h>

#include "scratch_store.hpp"
#include "section_file.hpp"
#include "section_text.hpp"

namespace kd::test {
namespace {

using namespace std::literals;

struct Text {
  const char* name;
  std::string text;    // between the first line and the last
  std::string values;  // "key=value" each, with "|" between them; "line N" of a damaged text
};

std::string values_in(const std::string& text) {
  store::Table table;
  const store::ParseResult result = store::parse(text, table);
  if (result.status != store::ParseStatus::ok) return "line " + std::to_string(result.line);
  std::string values;
  for (const store::Entry& entry : table) {
    values += (values.empty() ? "" : "|") + std::string(entry.key) + "=" + entry.value;
  }
  return values;
}

const Text kTexts[] = {
    {"nothing", "", ""},
    {"sorted by byte", "b=2\n\xC3\xA4=3\nB=1\n", "B=1|b=2|\xC3\xA4=3"},
    {"everything behind the first =", "k= a=b \n", "k= a=b "},
    {"empty value", "k=\n", "k="},
    {"empty key", "=v\n", "=v"},
    {"a key twice", "k=1\nk=22\n", "k=22"},
    {"comments and blank lines", "# k=1\n\nk=2\n", "k=2"},
    {"escapes", R"(k=\\\n\r\t)"s + "\n", "k=\\\n\r\t"},
    {"hexadecimal", R"(k=\x01\x9a\xBf\xF0)"s + "\n", "k=\x01\x9A\xBF\xF0"},
    {"an escaped key", "\\x23a\\x3Db=v\n", "#a=b=v"},
    {"an escaped NUL", "k=\\x00\n", "line 2"},
    {"a NUL", "k=a\0b\n"s, "line 2"},
    {"an unknown escape", "a=1\nk=\\q\n", "line 3"},
    {"a cut escape", "k=\\\n", "line 2"},
    {"a cut number", "k=\\x1\n", "line 2"},
    {"a wrong escape in a key", "\\k=1\n", "line 2"},
    {"no =", "key\n", "line 2"},
    {"two ends", "end\n", "line 3"},
};

TEST(StoreText, Values) {
  for (const Text& row : kTexts) {
    EXPECT_EQ(values_in("nvram 1\n" + row.text + "end\n"), row.values) << row.name;
  }
  for (const char neighbour : "/:@G`g"s) {  // of the digits
    EXPECT_EQ(values_in("nvram 1\nk=\\x1"s + neighbour + "\nend\n"), "line 2") << neighbour;
  }
  EXPECT_EQ(values_in(""), "line 1");
  EXPECT_EQ(values_in("nvram 2\nend\n"), "line 1");
  EXPECT_EQ(values_in("nvram 1\nk=v\n"), "line 3");
  EXPECT_EQ(values_in("nvram 1\nk=v\nend"), "line 3");
}

TEST(StoreText, IsWrittenTheSameEverywhere) {
  store::Table table;
  ASSERT_TRUE(table.set("b#", "\\\n\r\t\x01\x0F\x1F \x7E\x7F\xC3\xA4#="));
  ASSERT_TRUE(table.set("#a=", ""));
  std::size_t size = 0;
  const store::OwnedText text = store::write(table, size);
  EXPECT_EQ(std::string(text.get(), size),
            "nvram 1\n\\x23a\\x3D=\nb#=\\\\\\n\\r\\t\\x01\\x0F\\x1F ~\\x7F\xC3\xA4#=\nend\n");
  EXPECT_EQ(text.get()[size], '\0');
}

class StoreSection : public ScratchStore {};

TEST_F(StoreSection, WhatIsNoFileIsRefused) {
  const auto read = [] {
    store::Table table;
    return store::read_section(store::directory(), 0, table);
  };
  EXPECT_EQ(read(), store::ReadStatus::ok);
  put("nvram 1\nend");
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  put("nvram 1\n#" + std::string(16 * 1024 * 1024, 'x') + "\nend\n");
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  put("");
  ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  put("");
  std::filesystem::create_directory(file());
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  setenv("NVRAM_DIR", std::string(4100, 'd').c_str(), 1);
  EXPECT_EQ(read(), store::ReadStatus::failed);
  setenv("NVRAM_DIR", "", 1);
  EXPECT_STREQ(store::directory(), "/etc/nvram");
}

TEST_F(StoreSection, IsUsedOnlyWhenOpen) {
  for (const int section : {-1, 2}) {
    EXPECT_EQ(nvram_init(section), -1);
    EXPECT_EQ(nvram_bufset(section, "k", "v"), -1);
    EXPECT_EQ(nvram_commit(section), -1);
    nvram_close(section);
  }
  EXPECT_EQ(nvram_bufset(1, "k", "v"), -1);
  std::ofstream(directory / "second.nvram") << "damaged";
  EXPECT_EQ(nvram_init(1), -1);
  EXPECT_EQ(nvram_bufset(1, "k", "v"), -1) << "never read: nothing to go on with";
  put("nvram 1\nk=known\nend\n");
  EXPECT_EQ(nvram_init(0), 0);
  EXPECT_EQ(nvram_bufset(0, nullptr, "v"), -1);
  EXPECT_EQ(nvram_bufset(0, "k", nullptr), -1);
  EXPECT_EQ(nvram_bufget(0, nullptr), nullptr);
  nvram_close(0);
  EXPECT_EQ(value_of("k"), "(none)");
  put("damaged");
  EXPECT_EQ(nvram_init(0), -1);
  EXPECT_EQ(value_of("k"), "known");
  EXPECT_EQ(nvram_bufset(0, "k", "set"), 0);
  EXPECT_EQ(nvram_commit(0), -1) << "over a damaged file";
  put("nvram 1\nk=mended\nother=x\nend\n");
  EXPECT_EQ(nvram_init(0), 0) << "the next opening tries again";
  EXPECT_EQ(value_of("k") + value_of("other"), "setx");
  EXPECT_EQ(nvram_commit(0), 0);
}

}  // namespace
}  // namespace kd::test
