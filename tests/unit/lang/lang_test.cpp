#include "lang/lang.hpp"

#include "support/fixture.hpp"

namespace kd::test::lang {

constexpr const char *kFile = "/web/lang/STRINGS_EN.txt", *kUnknown = "(none)";

std::string translation(const std::string& tag) {
  const char* text = kUnknown;
  const int found = lang_get(tag.c_str(), &text);
  EXPECT_EQ(found, text == kUnknown ? 0 : 1);
  return text;
}

class Lang : public DeviceTest {
 protected:
  void TearDown() override {
    lang_free();
    DeviceTest::TearDown();
  }
  // What lang_init complains of.
  std::string load(const std::string& strings, const std::string& code = "EN") {
    device.set("Language", code);
    device.files[kFile] = strings;
    effects();
    const bool loaded = lang_init();
    std::string said;
    for (const std::string& line : changes()) {
      if (!line.starts_with("console lang_free: ")) said += line.substr(8);
    }
    const std::string last = "lang_init: Initial multi-language success! Current language is EN.\n";
    EXPECT_EQ(said.ends_with(last), loaded);
    return loaded ? said.substr(0, said.size() - last.size()) : said;
  }
};

// One line of the file was rejected, or is not there any more.
std::string lost(const std::string& why, int lines) {
  return (why.empty() ? why : "lang_init: " + why + "\n") +
         "lang_init: Please check mem content and original string file, that seems lose some row content!\n"
         "           The file row counter is " +
         std::to_string(lines) + " and memory content counter is " + std::to_string(lines - 1) + ".\n";
}

TEST_F(Lang, LinesOfTheFile) {
  const auto check = [&](const std::string& file, const std::string& tag, const std::string& translated,
                         const std::string& complaint = "") {
    EXPECT_EQ(load(file), complaint) << file;
    EXPECT_EQ(translation(tag), translated) << file;
  };
  const std::string tag31(31, 't'), tag32(32, 't'), text4091(4091, 'x');
  check("Save,Enregistrer,B\n", "Save", "Enregistrer,B");
  check("A,1\nA,2\n", "A", "1");
  check("A,1\r\nB,2", "B", "2");
  check("A,1\r2\n", "A", "1");
  check(tag31 + ",1\n", tag31, "1");
  check(tag32 + ",1\nA,2\n", tag32, kUnknown, lost("Tag '" + tag32 + "' too long! Skip it!", 2));
  check("No,\r\nA,1\n", "No", kUnknown, "lang_init: Tag 'No' does not found translate string.\n");
  check("\nA,1\n", "A", "1", lost("Division fail! Skip line ''.", 2));
  check("A12," + text4091 + "\nB,2\n", "A12", text4091, lost("Division fail! Skip line ''.", 3));
  check("A," + std::string(4998, 'x') + "\nB,2\n", "B", "2",
        lost("Division fail! Skip line '" + std::string(905, 'x') + "'.", 3));
  check(std::string("A\0,1\nB,2\n", 9), "B", "2", lost("Division fail! Skip line 'A'.", 2));
}

TEST_F(Lang, LeavesNoTableWhenItCannotLoadOne) {
  const auto check = [&](const std::string& code, unsigned failed_allocation, const std::string& complaint) {
    load("A,1\n");
    heap.fail({failed_allocation});
    EXPECT_EQ(load("A,1\n", code), "lang_init: " + complaint + "\n");
    heap.fail({});
    EXPECT_EQ(translation("A") + heap.leaks(), kUnknown) << code;
  };
  const std::string no_memory = "Error!! Allocate memory to multi-lang fail!";
  check("XX", 0, "File /web/lang/STRINGS_XX.txt open fail!");
  check("EN", 2, no_memory);  // the first is the store's copy of the code
  check("EN", 3, no_memory);
}

// It is opened to be measured and to be read. A line that no longer fits is left out.
TEST_F(Lang, FileThatGrowsWhileItIsRead) {
  const auto check = [&](const char* after, const std::string& a_b_c, const std::string& complaint = "") {
    int opened = 0;
    device.at_open = [&](Device& d, const std::string& path) {
      if (path == kFile && ++opened == 2) d.files[kFile] = after;
    };
    EXPECT_EQ(load("A,1\nB,2\n"), complaint) << after;
    EXPECT_EQ(translation("A") + "|" + translation("B") + "|" + translation("C"), a_b_c) << after;
  };
  check("A,1\nB,2\nC,3\n", "1|2|(none)");
  check("A,123456\nB,\n", "123456|(none)|(none)", "lang_init: Tag 'B' does not found translate string.\n");
  check("A,12345678\nB,2\n", "(none)|2|(none)", lost("", 2));
  check("A,12345\nB,22\n", "12345|(none)|(none)", lost("", 2));
}

}  // namespace kd::test::lang
