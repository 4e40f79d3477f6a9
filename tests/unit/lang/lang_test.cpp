#include "lang/lang.hpp"

#include "actions/locale.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

constexpr const char* kFile = "/web/lang/STRINGS_EN.txt";
constexpr const char* kUnknown = "(none)";

class Lang : public DeviceTest {
 protected:
  void TearDown() override {
    lang_free();
    DeviceTest::TearDown();
  }

  int load(const std::string& strings) {
    device.set("Language", "EN");
    device.files[kFile] = strings;
    lang_free();
    effects();
    return lang_init();
  }

  // What lang_init said besides its first and its last line.
  Effects complaints() {
    Effects said;
    for (const std::string& line : changes()) {
      if (line.starts_with("console lang_init: ") || line.starts_with("console  "))
        said.push_back(line.substr(8));
    }
    if (!said.empty() &&
        said.back() == "lang_init: Initial multi-language success! Current language is EN.\n") {
      said.pop_back();
    }
    return said;
  }
};

std::string translation(const char* tag) {
  const char* text = kUnknown;
  const int found = lang_get(tag, &text);
  EXPECT_EQ(found, text == kUnknown ? 0 : 1);
  return text;
}

// One line of the file was rejected, or is not there any more.
Effects lost(const std::string& why, int lines) {
  Effects all = {
      "lang_init: Please check mem content and original string file, that seems lose some row content!\n",
      "           The file row counter is " + std::to_string(lines) + " and memory content counter is " +
          std::to_string(lines - 1) + ".\n"};
  if (!why.empty()) all.insert(all.begin(), "lang_init: " + why + "\n");
  return all;
}

TEST_F(Lang, LinesOfTheFile) {
  const std::string tag31(31, 't'), tag32(32, 't'), text4091(4091, 'x');
  const struct {
    const char* name;
    std::string file;
    std::string tag, translated;
    Effects complaints;
  } rows[] = {
      {"tag and translation", "Save,Enregistrer\n", "Save", "Enregistrer", {}},
      {"further commas", "Title,A,B\n", "Title", "A,B", {}},
      {"the first of two", "A,1\nA,2\n", "A", "1", {}},
      {"letter case counts", "A,1\n", "a", kUnknown, {}},
      {"no line end", "A,1\nB,2", "B", "2", {}},
      {"CR LF", "A,1\r\nB,2\r\n", "A", "1", {}},
      {"cut at a lone CR", "A,1\r2\n", "A", "1", {}},
      {"tag of 31", tag31 + ",1\n", tag31, "1", {}},
      {"tag of 32", tag32 + ",1\nA,2\n", tag32, kUnknown, lost("Tag '" + tag32 + "' too long! Skip it!", 2)},
      {"no translation",
       "Empty,\r\nA,1\n",
       "Empty",
       kUnknown,
       {"lang_init: Tag 'Empty' does not found translate string.\n"}},
      {"no comma", "Save\nA,1\n", "A", "1", lost("Division fail! Skip line 'Save'.", 2)},
      {"blank line", "\nA,1\n", "A", "1", lost("Division fail! Skip line ''.", 2)},
      {"empty tag finds what a skipped line left", "A,1\nSave\n", "", "1",
       lost("Division fail! Skip line 'Save'.", 2)},
      {"longest line", "A12," + text4091 + "\nB,2\n", "A12", text4091,
       lost("Division fail! Skip line ''.", 3)},
      {"line of 5000", "A," + std::string(4998, 'x') + "\nB,2\n", "B", "2",
       lost("Division fail! Skip line '" + std::string(905, 'x') + "'.", 3)},
      {"NUL in a line", std::string("A\0,1\nB,2\n", 9), "B", "2", lost("Division fail! Skip line 'A'.", 2)},
      {"empty file", "", "", kUnknown, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(load(row.file), 1) << row.name;
    EXPECT_EQ(complaints(), row.complaints) << row.name;
    EXPECT_EQ(translation(row.tag.c_str()), row.translated) << row.name;
  }
}

TEST_F(Lang, LoadingAndFreeingAreReported) {
  load("A,1\n");
  const char* text = nullptr;
  EXPECT_EQ(lang_get(nullptr, &text) + lang_get("A", nullptr), 0);
  effects();
  EXPECT_EQ(kd_hnap_init_language(), 1);
  EXPECT_EQ(changes(),
            (Effects{"console lang_free: Start to release multi-lang mapping.\n",
                     "console lang_free: End of release multi-lang mapping.\n",
                     "console lang_init: Initial multi-language success! Current language is EN.\n"}));
  lang_free();
  effects();
  lang_free();
  EXPECT_EQ(changes(), Effects{"console lang_free: Don't need release multi-lang mapping again.\n"});
  EXPECT_EQ(translation("A"), kUnknown);
}

TEST_F(Lang, LanguageWithoutFileLeavesNoTable) {
  const std::pair<std::string, std::string> rows[] = {
      {"XX", "XX"}, {"", ""}, {std::string(32, 'c'), std::string(31, 'c')}};
  for (const auto& [code, name] : rows) {
    load("A,1\n");
    device.set("Language", code);
    effects();
    EXPECT_EQ(kd_hnap_init_language(), 0) << code;
    EXPECT_EQ(complaints(), Effects{"lang_init: File /web/lang/STRINGS_" + name + ".txt open fail!\n"});
    EXPECT_EQ(translation("A"), kUnknown) << code;
  }
  for (const char* code : {"XX", "en", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(kd_hnap_set_language(code), 0);
    EXPECT_EQ(effects(), Effects{"nvram set Language=EN"});
  }
}

TEST_F(Lang, WithoutMemoryThereIsNoTable) {
  for (unsigned at = 2; at <= 3; ++at) {  // the first is the store's copy of the code
    load("");
    device.files[kFile] = "A,1\n";
    effects();
    heap.fail({at});
    EXPECT_EQ(lang_init(), 0);
    heap.fail({});
    EXPECT_EQ(complaints(), Effects{"lang_init: Error!! Allocate memory to multi-lang fail!\n"});
    EXPECT_EQ(translation("A"), kUnknown);
    EXPECT_EQ(heap.leaks(), "");
  }
}

// It is opened to count its lines, to measure it and to read it. A line that no longer fits is left out.
TEST_F(Lang, FileThatGrowsWhileItIsRead) {
  const std::string before = "A,1\nB,2\n";
  const struct {
    const char* name;
    std::string after, tag, translated;
    Effects complaints;
  } rows[] = {
      {"more lines", before + "C,3\n", "C", kUnknown, {}},
      {"a line of just its room",
       "A,123456\nB,\n",
       "A",
       "123456",
       {"lang_init: Tag 'B' does not found translate string.\n"}},
      {"a longer one", "A,12345678\nB,2\n", "A", kUnknown, lost("", 2)},
      {"what is behind it is read", "A,12345678\nB,2\n", "B", "2", lost("", 2)},
      {"one more than its room", "A,12345\nB,22\n", "B", kUnknown, lost("", 2)},
  };
  for (const auto& row : rows) {
    load("");
    device.files[kFile] = before;
    effects();
    int opened = 0;
    device.at_open = [&](Device& d, const std::string& path) {
      if (path == kFile && ++opened == 3) d.files[kFile] = row.after;
    };
    lang_init();
    EXPECT_EQ(complaints(), row.complaints) << row.name;
    EXPECT_EQ(translation(row.tag.c_str()), row.translated) << row.name;
  }
}

}  // namespace
}  // namespace kd::test
