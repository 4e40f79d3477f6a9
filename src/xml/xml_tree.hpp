// The XML tree that holds a parsed request or a reply under construction, and its serializer. Null arguments
// are ignored. Nothing here recurses: a hostile body nests a million deep.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/memory.hpp"
#include "base/text.hpp"
#include "xml/linked_list.hpp"

namespace kd {

// Name and value as given: a value that is to be quoted carries its quotes.
struct attribute {
  const char* name;
  const char* value;
};

struct xml_element {
  const char* name;
  linked_list attributes;  // of attribute, in order of insertion
  xml_element* next_sibling;
  xml_element* first_child;
  char* text;  // null until some was set

  // Kept so that appending never walks and leaving a subtree needs no stack.
  xml_element* last_child;
  xml_element* parent;
  std::size_t name_length;
  std::size_t text_length;
  std::size_t text_capacity;  // terminator included; 0 when the text lies in the element's own block
  std::size_t fill_count;     // copies of `fill_byte` that stand behind the text
  char fill_byte;
};

struct xml_tree {
  xml_element* root = nullptr;
  stack* open_elements = nullptr;  // of xml_element
};

// Copies of both texts; null when one is null or memory is short.
attribute* new_attribute(const char* name, const char* value);
void free_attribute(attribute* attr);

// An element without text, children or attributes; null when memory is short.
xml_element* new_xml_element(const char* name);
// The same with its text, all in one block: most elements of a reply are such leaves.
xml_element* new_xml_leaf(const char* name, std::string_view text);
// Frees name, text, attributes and the record; children and siblings stay.
void free_xml_element(xml_element* element);

// Appends the attribute. False when that failed: it is then still the caller's.
bool add_xml_element_attr(xml_element* element, attribute* attr);

// Appends text; it never replaces. A NUL among the bytes ends what is copied. When growing fails the
// element's text becomes null and the old text is lost.
void setn_xml_element_text(xml_element* element, const char* text, std::size_t length);
void set_xml_element_text(xml_element* element, const char* text);

// Lets `count` copies of one byte stand behind the element's text. They take no memory here: the serializer
// writes them where they go.
void fill_xml_element(xml_element* element, char byte, std::size_t count);

xml_tree* new_xml_tree();
// Makes the element the root, or the last child of the top open element, and opens it. False, with nothing
// attached and the element still the caller's, when memory is short or a rooted tree has nothing open.
bool push_xml_tree(xml_tree* tree, xml_element* element);
xml_element* pop_xml_tree(xml_tree* tree);
// Attaches the element as a leaf: push, then pop. Returns the element, null when it could not be attached.
xml_element* push_pop_xml_tree(xml_tree* tree, xml_element* element);
void pop_all_xml_tree(xml_tree* tree);
// Appends text to the top open element.
void add_text_xml_tree(xml_tree* tree, const char* text, std::size_t length);
void deep_free_xml_tree(xml_tree* tree);

// Bytes that the root and its following siblings take when serialized, without a terminator.
std::size_t xml_size(const xml_tree* tree);
// Appends the serialization: start tag, text, children on lines of their own, end tag, line end. Names,
// values and texts are written as they are stored.
void generate_xml(const xml_tree* tree, Text& output);

struct xml_element_deleter {
  void operator()(xml_element* element) const { free_xml_element(element); }
};
struct xml_tree_deleter {
  void operator()(xml_tree* tree) const { deep_free_xml_tree(tree); }
};
using element_ptr = std::unique_ptr<xml_element, xml_element_deleter>;
using tree_ptr = std::unique_ptr<xml_tree, xml_tree_deleter>;

}  // namespace kd
