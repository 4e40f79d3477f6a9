#include "xml/xml_tree.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace kd {
namespace {

void free_attribute_data(void* data) {
  free_attribute(static_cast<attribute*>(data));
}
void free_element_data(void* data) {
  free_xml_element(static_cast<xml_element*>(data));
}

char* put_text(char* at, std::string_view text) {
  if (!text.empty()) std::memcpy(at, text.data(), text.size());
  at[text.size()] = '\0';
  return at;
}

void append_text(xml_element& element, std::string_view text) {
  const std::size_t length = element.text_length + text.size();
  if (!element.text || length + 1 > element.text_capacity) {
    // A first text is allocated exactly; one that comes in pieces doubles its room, so that pieces stay
    // linear.
    const std::size_t capacity = std::max(length + 1, element.text ? 2 * element.text_length : 0);
    const bool in_own_block = element.text && element.text_capacity == 0;
    char* grown = static_cast<char*>(std::realloc(in_own_block ? nullptr : element.text, capacity));
    if (!grown) {
      if (!in_own_block) std::free(element.text);
      element.text = nullptr;
      element.text_length = element.text_capacity = 0;
      return;
    }
    if (in_own_block) std::memcpy(grown, element.text, element.text_length);
    element.text = grown;
    element.text_capacity = capacity;
  }
  put_text(element.text + element.text_length, text);
  element.text_length = length;
}

void attach(xml_element& parent, xml_element& child) {
  child.parent = &parent;
  (parent.last_child ? parent.last_child->next_sibling : parent.first_child) = &child;
  parent.last_child = &child;
}

// Attaches an element as the next in document order. False when the tree has a root but nothing is open.
bool attach_next(xml_tree& tree, xml_element& element) {
  if (!tree.root) {
    tree.root = &element;
    return true;
  }
  auto* open = static_cast<xml_element*>(top_stack(tree.open_elements));
  if (!open) return false;
  attach(*open, element);
  return true;
}

// Writes into room that was counted beforehand, and never past it.
class Cursor {
 public:
  Cursor(char* at, std::size_t room) : at_{at}, end_{at + room} {}
  void put(std::string_view text) {
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(end_ - at_));
    if (length) std::memcpy(at_, text.data(), length);
    at_ += length;
  }
  void put(char c) {
    if (at_ < end_) *at_++ = c;
  }
  void fill(char c, std::size_t count) {
    count = std::min(count, static_cast<std::size_t>(end_ - at_));
    if (count) std::memset(at_, c, count);
    at_ += count;
  }

 private:
  char* at_;
  char* end_;
};

struct Counter {
  std::size_t size = 0;
  void put(std::string_view text) { size += text.size(); }
  void put(char) { ++size; }
  void fill(char, std::size_t count) { size += count; }
};

template <class Sink>
void write_start(const xml_element& element, Sink& out) {
  out.put('<');
  out.put(std::string_view{element.name, element.name_length});
  for (const LL_node* node = element.attributes.head; node; node = node->next) {
    const auto& attr = *static_cast<const attribute*>(node->data);
    out.put(' ');
    out.put(std::string_view{attr.name});
    out.put('=');
    out.put(std::string_view{attr.value});
  }
  out.put('>');
  out.put(std::string_view{element.text, element.text_length});
  out.fill(element.fill_byte, element.fill_count);
  if (element.first_child) out.put('\n');
}

template <class Sink>
void write_end(const xml_element& element, Sink& out) {
  out.put(std::string_view{"</"});
  out.put(std::string_view{element.name, element.name_length});
  out.put(std::string_view{">\n"});
}

template <class Sink>
void write_chain(const xml_element* element, Sink& out) {
  while (element) {
    write_start(*element, out);
    if (element->first_child) {
      element = element->first_child;
      continue;
    }
    write_end(*element, out);
    while (!element->next_sibling && element->parent) {
      element = element->parent;
      write_end(*element, out);
    }
    element = element->next_sibling;
  }
}

}  // namespace

attribute* new_attribute(const char* name, const char* value) {
  if (!name || !value) return nullptr;
  const std::string_view name_view{name}, value_view{value};
  void* memory = std::malloc(sizeof(attribute) + name_view.size() + value_view.size() + 2);
  if (!memory) return nullptr;
  char* texts = static_cast<char*>(memory) + sizeof(attribute);
  return new (memory)
      attribute{put_text(texts, name_view), put_text(texts + name_view.size() + 1, value_view)};
}

void free_attribute(attribute* attr) {
  std::free(attr);
}

xml_element* new_xml_element(const char* name) {
  if (!name) return nullptr;
  const std::string_view view{name};
  void* memory = std::malloc(sizeof(xml_element) + view.size() + 1);
  if (!memory) return nullptr;
  auto* element = new (memory) xml_element{};
  element->name = put_text(static_cast<char*>(memory) + sizeof(xml_element), view);
  element->name_length = view.size();
  return element;
}

xml_element* new_xml_leaf(const char* name, std::string_view text) {
  if (!name) return nullptr;
  const std::string_view view{name};
  void* memory = std::malloc(sizeof(xml_element) + view.size() + text.size() + 2);
  if (!memory) return nullptr;
  auto* element = new (memory) xml_element{};
  char* texts = static_cast<char*>(memory) + sizeof(xml_element);
  element->name = put_text(texts, view);
  element->name_length = view.size();
  element->text = put_text(texts + view.size() + 1, text);
  element->text_length = text.size();
  return element;
}

void free_xml_element(xml_element* element) {
  if (!element) return;
  clear_linked_list(element->attributes);
  if (element->text_capacity) std::free(element->text);
  std::free(element);
}

bool add_xml_element_attr(xml_element* element, attribute* attr) {
  return element && insert_linked_list(&element->attributes, attr, free_attribute_data);
}

void setn_xml_element_text(xml_element* element, const char* text, std::size_t length) {
  if (element && text) append_text(*element, {text, strnlen(text, length)});
}

void set_xml_element_text(xml_element* element, const char* text) {
  if (element && text) append_text(*element, text);
}

void fill_xml_element(xml_element* element, char byte, std::size_t count) {
  if (!element) return;
  element->fill_byte = byte;
  element->fill_count = count;
}

xml_tree* new_xml_tree() {
  void* memory = std::malloc(sizeof(xml_tree));
  if (!memory) return nullptr;
  auto* tree = new (memory) xml_tree;
  tree->open_elements = new_stack();
  if (tree->open_elements) return tree;
  std::free(tree);
  return nullptr;
}

bool push_xml_tree(xml_tree* tree, xml_element* element) {
  if (!tree || !element) return false;
  if (tree->root && !top_stack(tree->open_elements)) return false;
  // The stack grows first: a failure leaves the tree as it was.
  if (!push_stack(tree->open_elements, element, free_element_data)) return false;
  LL_node* pushed = tree->open_elements->list.tail;
  if (!tree->root) {
    tree->root = element;
  } else {
    attach(*static_cast<xml_element*>(pushed->previous->data), *element);
  }
  return true;
}

xml_element* pop_xml_tree(xml_tree* tree) {
  return tree ? static_cast<xml_element*>(pop_stack(tree->open_elements)) : nullptr;
}

xml_element* push_pop_xml_tree(xml_tree* tree, xml_element* element) {
  // Opening and closing at once leaves the stack as it was, so a leaf never touches it.
  return tree && element && attach_next(*tree, *element) ? element : nullptr;
}

void pop_all_xml_tree(xml_tree* tree) {
  while (pop_xml_tree(tree)) {
  }
}

void add_text_xml_tree(xml_tree* tree, const char* text, std::size_t length) {
  if (tree) setn_xml_element_text(static_cast<xml_element*>(top_stack(tree->open_elements)), text, length);
}

void deep_free_xml_tree(xml_tree* tree) {
  if (!tree) return;
  pop_all_xml_tree(tree);
  for (xml_element* element = tree->root; element;) {
    if (element->first_child) {
      // Cut the link before descending: on the way back the element is a leaf and is freed.
      element = std::exchange(element->first_child, nullptr);
      continue;
    }
    xml_element* next = element->next_sibling ? element->next_sibling : element->parent;
    free_xml_element(element);
    element = next;
  }
  free_stack(tree->open_elements);
  std::free(tree);
}

std::size_t xml_size(const xml_tree* tree) {
  Counter counter;
  if (tree) write_chain(tree->root, counter);
  return counter.size;
}

void generate_xml(const xml_tree* tree, Text& output) {
  if (!tree) return;
  const std::size_t size = xml_size(tree);
  if (char* room = output.extend(size)) {
    Cursor cursor{room, size};
    write_chain(tree->root, cursor);
  }
}

}  // namespace kd
