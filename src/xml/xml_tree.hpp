// The XML tree that holds a parsed request or a reply under construction, and its serializer. Elements,
// attributes and texts live in the tree's arena and go with it: nothing is freed one by one. Null arguments
// are ignored. Nothing here recurses: a hostile body nests a million deep.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "base/memory.hpp"
#include "base/text.hpp"
#include "xml/arena.hpp"
#include "xml/linked_list.hpp"

namespace kd {

// Name and value as given: a value that is to be quoted carries its quotes.
struct attribute {
  const char* name;
  const char* value;
};

struct xml_tree;

struct xml_element {
  const char* name;
  linked_list attributes;  // of attribute, in order of insertion
  xml_element* next_sibling;
  xml_element* first_child;
  char* text;  // null until some was set

  // Kept so that appending never walks and leaving a subtree needs no stack.
  xml_element* last_child;
  xml_element* parent;
  xml_tree* tree;  // that the element was made for
  std::uint32_t name_length;
  std::uint32_t text_length;
  std::uint32_t text_capacity;  // terminator included
};

struct xml_tree {
  xml_element* root = nullptr;
  stack* open_elements = nullptr;  // of xml_element
  Arena arena;
  // What the elements made so far take when written, once all of them are attached: no counting pass is
  // needed.
  std::size_t written_size = 0;
};

// Made for this tree and not yet attached; null when an argument is null or memory is short.
attribute* new_attribute(xml_tree* tree, const char* name, const char* value);
xml_element* new_xml_element(xml_tree* tree, const char* name);
// An element with its text.
xml_element* new_xml_leaf(xml_tree* tree, const char* name, std::string_view text);

// Appends an attribute of the same tree; false when memory is short.
bool add_xml_element_attr(xml_element* element, attribute* attr);

// Appends text; it never replaces. A NUL among the bytes ends what is copied. When growing fails the
// element's text becomes null and the old text is lost.
void setn_xml_element_text(xml_element* element, const char* text, std::size_t length);
void set_xml_element_text(xml_element* element, const char* text);

xml_tree* new_xml_tree();
// Makes the element the root, or the last child of the top open element, and opens it. False, with nothing
// attached, when memory is short or a rooted tree has nothing open.
bool push_xml_tree(xml_tree* tree, xml_element* element);
xml_element* pop_xml_tree(xml_tree* tree);
// Attaches the element as a leaf: push, then pop. Returns the element, null when it could not be attached.
xml_element* push_pop_xml_tree(xml_tree* tree, xml_element* element);
void pop_all_xml_tree(xml_tree* tree);
// Appends text to the top open element.
void add_text_xml_tree(xml_tree* tree, const char* text, std::size_t length);
void deep_free_xml_tree(xml_tree* tree);

// Appends the serialization: start tag, text, children on lines of their own, end tag, line end. Names,
// values and texts are written as they are stored.
void generate_xml(const xml_tree* tree, Text& output);

struct XmlTreeDeleter {
  void operator()(xml_tree* tree) const { deep_free_xml_tree(tree); }
};
using TreePtr = std::unique_ptr<xml_tree, XmlTreeDeleter>;

}  // namespace kd
