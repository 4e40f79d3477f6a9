// The tree, its serializer, the containers below it and the encoding of texts.
#include "xml/xml_tree.hpp"

#include <span>

#include "support/fixture.hpp"
#include "xml/xml_encode.hpp"

namespace kd::test::xml_tree_ {

using Tree = DeviceTest;

std::string serialized(const xml_tree* tree) {
  Text text;
  generate_xml(tree, text);
  return std::string{text.view()};
}

TEST_F(Tree, SerializesWhatWasPushed) {
  const TreePtr tree{new_xml_tree()};
  xml_tree* t = tree.get();
  EXPECT_EQ(serialized(t) + serialized(nullptr), "");
  EXPECT_EQ(pop_xml_tree(t), nullptr);
  xml_element* root = new_xml_element(t, "r");
  add_xml_element_attr(root, new_attribute(t, "a", "\"1\""));
  add_xml_element_attr(root, new_attribute(t, "b", "\"2\""));
  EXPECT_TRUE(push_xml_tree(t, root));
  push_xml_tree(t, new_xml_element(t, "a"));
  pop_xml_tree(t);
  add_text_xml_tree(t, "xy", 1);  // stands before the children, whatever came first
  xml_element* leaf = new_xml_leaf(t, "b", "1");
  set_xml_element_text(leaf, "2");
  setn_xml_element_text(leaf, "345", 2);
  setn_xml_element_text(leaf, "6\0007", 3);  // a NUL ends the piece
  push_xml_tree(t, leaf);
  EXPECT_EQ(push_pop_xml_tree(t, new_xml_element(t, "c"))->parent, leaf);
  add_text_xml_tree(t, "z", 1);
  EXPECT_EQ(pop_xml_tree(t), leaf);
  EXPECT_EQ(pop_xml_tree(t), root);
  // A root, but nothing open.
  add_text_xml_tree(t, "lost", 4);
  EXPECT_FALSE(push_xml_tree(t, new_xml_element(t, "s")));
  EXPECT_EQ(push_pop_xml_tree(t, new_xml_leaf(t, "s", "")), nullptr);
  EXPECT_EQ(serialized(t), "<r a=\"1\" b=\"2\">x\n<a></a>\n<b>12346z\n<c></c>\n</b>\n</r>\n");
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

TEST_F(Tree, EncodesMarkup) {
  expect_each([](const char* raw) { return std::string{HeapText{xml_encode(raw)}.get()}; }, "a<b&\"c'",
              "a&lt;b&amp;&quot;c&apos;", "&amp;", "&amp;amp;", ">\x01\xc3\xa4\n", "&gt;\x01\xc3\xa4\n");
  const char* empty = "";
  EXPECT_EQ(xml_encode(empty), empty);
  EXPECT_EQ(xml_encode(nullptr), nullptr);
  heap.fail({1});
  EXPECT_STREQ(EncodedText{"a<"}.get(), "a<") << "raw when memory is short";
}

std::string freed;

TEST_F(Tree, FreesFromHeadToTailButNotWhatWasPopped) {
  char letters[] = "abc";
  const auto note_freed = [](void* data) { freed += *static_cast<const char*>(data); };
  stack* s = new_stack();
  EXPECT_EQ(pop_stack(s), nullptr);
  for (char& letter : std::span{letters, 3}) EXPECT_TRUE(push_stack(s, &letter, note_freed));
  EXPECT_FALSE(push_stack(s, nullptr, note_freed) || push_stack(s, letters, nullptr));
  heap.fail({1});
  EXPECT_FALSE(push_stack(s, letters, note_freed));
  EXPECT_EQ(pop_stack(s), &letters[2]);
  EXPECT_EQ(top_stack(s), &letters[1]);
  EXPECT_TRUE(push_stack(s, &letters[2], note_freed));
  free_stack(s);
  EXPECT_EQ(freed, "abc");
}

}  // namespace kd::test::xml_tree_
