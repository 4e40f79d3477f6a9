#include "lang/lang.hpp"

#include "support/cases.hpp"

namespace kd::test {
namespace {

using Effects = std::vector<std::string>;

class Lang : public DeviceTest {
 protected:
  void TearDown() override {
    lang_free();
    DeviceTest::TearDown();
  }

  int load(const std::string& strings) {
    device.set("Language", "EN");
    device.files["/web/lang/STRINGS_EN.txt"] = strings;
    lang_free();
    device.journal.clear();
    return lang_init();
  }

  // What lang_init said besides its first and its last line.
  Effects complaints() const {
    Effects said;
    for (const std::string& line : device.changes()) {
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

constexpr const char* kUnknown = "(none)";

std::string translation(const char* tag) {
  const char* text = kUnknown;
  const int found = lang_get(tag, &text);
  EXPECT_EQ(found, text == kUnknown ? 0 : 1);
  return text;
}

Effects lost(const Effects& before, int lines, int entries) {
  Effects all = before;
  all.push_back(
      "lang_init: Please check mem content and original string file, that seems lose some row content!\n");
  all.push_back("           The file row counter is " + std::to_string(lines) +
                " and memory content counter is " + std::to_string(entries) + ".\n");
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
      {"tag of 32", tag32 + ",1\nA,2\n", tag32, kUnknown,
       lost({"lang_init: Tag '" + tag32 + "' too long! Skip it!\n"}, 2, 1)},
      {"no translation", "Empty,\r\nA,1\n", "Empty", kUnknown,
       Effects{"lang_init: Tag 'Empty' does not found translate string.\n"}},
      {"no comma", "Save\nA,1\n", "A", "1", lost({"lang_init: Division fail! Skip line 'Save'.\n"}, 2, 1)},
      {"blank line", "\nA,1\n", "A", "1", lost({"lang_init: Division fail! Skip line ''.\n"}, 2, 1)},
      {"empty tag finds what a skipped line left", "A,1\nSave\n", "", "1",
       lost({"lang_init: Division fail! Skip line 'Save'.\n"}, 2, 1)},
      {"longest line", "A12," + text4091 + "\nB,2\n", "A12", text4091,
       lost({"lang_init: Division fail! Skip line ''.\n"}, 3, 2)},
      {"line of 5000", "A," + std::string(4998, 'x') + "\nB,2\n", "B", "2",
       lost({"lang_init: Division fail! Skip line '" + std::string(905, 'x') + "'.\n"}, 3, 2)},
      {"NUL in a line", std::string("A\0,1\nB,2\n", 9), "B", "2",
       lost({"lang_init: Division fail! Skip line 'A'.\n"}, 2, 1)},
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
  device.journal.clear();
  EXPECT_EQ(lang_init(), 1);
  EXPECT_EQ(device.changes(),
            (Effects{"console lang_free: Start to release multi-lang mapping.\n",
                     "console lang_free: End of release multi-lang mapping.\n",
                     "console lang_init: Initial multi-language success! Current language is EN.\n"}));
  lang_free();
  device.journal.clear();
  lang_free();
  EXPECT_EQ(device.changes(), Effects{"console lang_free: Don't need release multi-lang mapping again.\n"});
  EXPECT_EQ(translation("A"), kUnknown);
}

TEST_F(Lang, LanguageWithoutFileLeavesNoTable) {
  const std::pair<std::string, std::string> rows[] = {
      {"XX", "XX"}, {"", ""}, {std::string(32, 'c'), std::string(31, 'c')}};
  for (const auto& [code, name] : rows) {
    load("A,1\n");
    device.set("Language", code);
    device.journal.clear();
    EXPECT_EQ(lang_init(), 0) << code;
    EXPECT_EQ(complaints(), Effects{"lang_init: File /web/lang/STRINGS_" + name + ".txt open fail!\n"});
    EXPECT_EQ(translation("A"), kUnknown) << code;
  }
}

TEST_F(Lang, WithoutMemoryThereIsNoTable) {
  const std::string file = "A,1\n";
  for (unsigned at = 2; at <= 3; ++at) {  // the first is the store's copy of the code
    device.set("Language", "EN");
    device.files["/web/lang/STRINGS_EN.txt"] = file;
    heap.fail({at});
    EXPECT_EQ(lang_init(), 0);
    heap.fail({});
    EXPECT_EQ(complaints().back(), "lang_init: Error!! Allocate memory to multi-lang fail!\n");
    EXPECT_EQ(translation("A"), kUnknown);
    EXPECT_EQ(heap.leaks(), "");
  }
}

// A read that ends early in one pass and not in the other is a file that grows or shrinks between them.
TEST_F(Lang, FileThatChangesWhileItIsRead) {
  int partly = 0;
  bool met = true;
  for (unsigned at = 1; met; ++at) {
    load("A,1\n");
    device.files["/web/lang/STRINGS_EN.txt"] = "A,1\nB,2\nC,3\n";
    device.fail({at});
    lang_init();
    met = device.fault_met();
    device.fail({});
    const std::string first = translation("A"), last = translation("C");
    EXPECT_TRUE(first == kUnknown || first == "1") << at;
    EXPECT_TRUE(last == kUnknown || last == "3") << at;
    partly += first != kUnknown && last == kUnknown;
  }
  EXPECT_GE(partly, 2);
}

}  // namespace
}  // namespace kd::test
