#include "xml/xml_tree.hpp"

#include <span>

#include "support/fixture.hpp"
#include "xml/xml_encode.hpp"

namespace kd::test {
namespace {

using Tree = DeviceTest;

std::string serialized(const xml_tree* tree) {
  Text text;
  generate_xml(tree, text);
  return std::string{text.view()};
}

TEST_F(Tree, SerializesWhatWasPushed) {
  const struct {
    const char* name;
    void (*build)(xml_tree* tree);
    const char* text;
  } rows[] = {
      {"no root", [](xml_tree*) {}, ""},
      {"attributes and text",
       [](xml_tree* t) {
         xml_element* e = new_xml_element(t, "e");
         add_xml_element_attr(e, new_attribute(t, "a", "\"1\""));
         add_xml_element_attr(e, new_attribute(t, "b", "\"2\""));
         set_xml_element_text(e, "T");
         push_pop_xml_tree(t, e);
       },
       "<e a=\"1\" b=\"2\">T</e>\n"},
      {"text before children, whatever came first",
       [](xml_tree* t) {
         push_xml_tree(t, new_xml_element(t, "r"));
         push_xml_tree(t, new_xml_element(t, "a"));
         pop_xml_tree(t);
         add_text_xml_tree(t, "xy", 1);
         push_xml_tree(t, new_xml_element(t, "b"));
         push_pop_xml_tree(t, new_xml_element(t, "c"));
         add_text_xml_tree(t, "z", 1);
         pop_all_xml_tree(t);
         add_text_xml_tree(t, "lost: nothing is open", 4);
       },
       "<r>x\n<a></a>\n<b>z\n<c></c>\n</b>\n</r>\n"},
      {"texts join",
       [](xml_tree* t) {
         xml_element* leaf = new_xml_leaf(t, "a", "1");
         set_xml_element_text(leaf, "2");
         setn_xml_element_text(leaf, "345", 2);
         setn_xml_element_text(leaf, "6\0007", 3);  // a NUL ends the piece
         push_xml_tree(t, leaf);
       },
       "<a>12346</a>\n"},
      {"null arguments change nothing",
       [](xml_tree* t) {
         push_xml_tree(t, nullptr);
         push_pop_xml_tree(t, nullptr);
         add_text_xml_tree(t, nullptr, 4);
         setn_xml_element_text(nullptr, "x", 1);
         add_xml_element_attr(nullptr, nullptr);
         new_attribute(t, "a", nullptr);
         new_xml_element(nullptr, "a");
         push_xml_tree(nullptr, nullptr);
       },
       ""},
  };
  for (const auto& row : rows) {
    const TreePtr tree{new_xml_tree()};
    row.build(tree.get());
    EXPECT_EQ(serialized(tree.get()), row.text) << row.name;
  }
  EXPECT_EQ(serialized(nullptr), "");
}

TEST_F(Tree, PopsWhatWasPushed) {
  const TreePtr tree{new_xml_tree()};
  xml_tree* t = tree.get();
  EXPECT_EQ(pop_xml_tree(t), nullptr);
  EXPECT_EQ(pop_xml_tree(nullptr), nullptr);
  xml_element* root = new_xml_element(t, "r");
  EXPECT_TRUE(push_xml_tree(t, root));
  xml_element* leaf = new_xml_element(t, "l");
  EXPECT_EQ(push_pop_xml_tree(t, leaf), leaf);
  EXPECT_EQ(pop_xml_tree(t), root);
  xml_element* stray = new_xml_element(t, "s");
  EXPECT_FALSE(push_xml_tree(t, stray)) << "a root, but nothing open";
  EXPECT_EQ(push_pop_xml_tree(t, stray), nullptr);
}

TEST_F(Tree, LosesATextThatCannotGrow) {
  const TreePtr tree{new_xml_tree()};
  for (const unsigned at : {1U, 2U}) {  // the text itself, the memory that it is a piece of
    xml_element* element = new_xml_leaf(tree.get(), "e", "abc");
    heap.fail({at});
    set_xml_element_text(element, std::string(100000, 'd').c_str());
    EXPECT_EQ(element->text, nullptr);
    set_xml_element_text(element, "g");
    EXPECT_STREQ(element->text, "g");
  }
}

TEST_F(Tree, GrowsInAStraightLine) {
  constexpr int kMany = 200000;
  const TreePtr deep{new_xml_tree()}, wide{new_xml_tree()};
  push_xml_tree(wide.get(), new_xml_element(wide.get(), "r"));
  for (int i = 0; i < kMany; ++i) {
    push_xml_tree(deep.get(), new_xml_element(deep.get(), "d"));
    push_pop_xml_tree(wide.get(), new_xml_element(wide.get(), "w"));
    add_text_xml_tree(wide.get(), "x", 1);
  }
  EXPECT_EQ(serialized(deep.get()).size(), kMany * 9U - 1);
  EXPECT_EQ(serialized(wide.get()).size(), kMany * 9U + 9);
}

TEST_F(Tree, EncodesMarkup) {
  const std::pair<const char*, const char*> rows[] = {{"a<b&\"c'", "a&lt;b&amp;&quot;c&apos;"},
                                                      {"&amp;", "&amp;amp;"},
                                                      {">\x01\xc3\xa4\n", "&gt;\x01\xc3\xa4\n"}};
  for (const auto& [raw, encoded] : rows) EXPECT_STREQ(HeapText{xml_encode(raw)}.get(), encoded);
  const char* empty = "";
  EXPECT_EQ(xml_encode(empty), empty);
  EXPECT_EQ(xml_encode(nullptr), nullptr);
  heap.fail({1});
  EXPECT_EQ(xml_encode("a<"), nullptr);
  heap.fail({1});
  EXPECT_STREQ(EncodedText{"a<"}.get(), "a<") << "raw when memory is short";
}

std::string freed;
void note_freed(void* data) {
  freed += *static_cast<const char*>(data);
}

TEST_F(Tree, FreesFromHeadToTailButNotWhatWasPopped) {
  char letters[] = "abc";
  stack* s = new_stack();
  EXPECT_EQ(pop_stack(s), nullptr);
  for (char& letter : std::span{letters, 3}) EXPECT_TRUE(push_stack(s, &letter, note_freed));
  EXPECT_FALSE(push_stack(s, nullptr, note_freed));
  EXPECT_FALSE(push_stack(s, letters, nullptr));
  EXPECT_FALSE(push_stack(nullptr, letters, note_freed));
  heap.fail({1});
  EXPECT_FALSE(push_stack(s, letters, note_freed));
  EXPECT_EQ(pop_stack(s), &letters[2]);
  EXPECT_EQ(top_stack(s), &letters[1]);
  EXPECT_TRUE(push_stack(s, &letters[2], note_freed));
  free_stack(s);
  EXPECT_EQ(freed, "abc");
  EXPECT_EQ(top_stack(nullptr), nullptr);
  EXPECT_EQ(pop_stack(nullptr), nullptr);
  deep_free_linked_list(new_linked_list());
  deep_free_linked_list(nullptr);
  free_stack(nullptr);
}

}  // namespace
}  // namespace kd::test
