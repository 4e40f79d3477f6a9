#include "xml/xml_tree.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

namespace kd {
namespace {

// What lies in the tree's arena is freed with the tree.
void keep(void*) {}

// "<></>" and the line end; one with children has a second line end.
constexpr std::size_t kTagSize = 6;

char* put_text(char* at, std::string_view text) {
  if (!text.empty()) std::memcpy(at, text.data(), text.size());
  at[text.size()] = '\0';
  return at;
}

void lose_text(xml_element& element) {
  element.text = nullptr;
  element.text_length = element.text_capacity = 0;
}

void append_text(xml_element& element, std::string_view text) {
  const std::size_t length = element.text_length + text.size();
  if (length >= UINT32_MAX) return lose_text(element);
  if (!element.text || length + 1 > element.text_capacity) {
    // A first text gets what it needs; one that comes in pieces doubles its room, so that pieces stay linear.
    const std::size_t capacity = std::min<std::size_t>(
        std::max<std::size_t>(length + 1, element.text ? 2 * std::size_t{element.text_capacity} : 0),
        UINT32_MAX);
    void* grown = element.text ? element.tree->arena.grow(element.text, element.text_capacity, capacity)
                               : element.tree->arena.allocate(capacity);
    if (!grown) return lose_text(element);
    element.text = static_cast<char*>(grown);
    element.text_capacity = static_cast<std::uint32_t>(capacity);
  }
  put_text(element.text + element.text_length, text);
  element.text_length = static_cast<std::uint32_t>(length);
  element.tree->written_size += text.size();
}

// An element with its name, and room for a text behind it.
xml_element* make_element(xml_tree& tree, std::string_view name, std::size_t text_room) {
  if (name.size() >= UINT32_MAX) return nullptr;
  void* memory = tree.arena.allocate(sizeof(xml_element) + name.size() + 1 + text_room);
  if (!memory) return nullptr;
  auto* element = new (memory) xml_element{};
  element->name = put_text(reinterpret_cast<char*>(element + 1), name);
  element->name_length = static_cast<std::uint32_t>(name.size());
  element->tree = &tree;
  tree.written_size += 2 * name.size() + kTagSize;
  return element;
}

char* behind_name(xml_element& element) {
  return reinterpret_cast<char*>(&element + 1) + element.name_length + 1;
}

// The element under which the next one goes. False when the tree has a root but nothing is open.
bool find_place(const xml_tree& tree, xml_element*& open) {
  open = static_cast<xml_element*>(top_stack(tree.open_elements));
  return open || !tree.root;
}

void attach(xml_tree& tree, xml_element* parent, xml_element& child) {
  if (!parent) {
    tree.root = &child;
    return;
  }
  if (!parent->first_child) ++tree.written_size;
  child.parent = parent;
  (parent->last_child ? parent->last_child->next_sibling : parent->first_child) = &child;
  parent->last_child = &child;
}

// Writes into room that was reserved beforehand, and never past it.
struct Cursor {
  std::span<char> room;

  void put(std::string_view text) {
    if (text.empty() || text.size() > room.size()) return;
    std::memcpy(room.data(), text.data(), text.size());
    room = room.subspan(text.size());
  }
};

void write_start(const xml_element& element, Cursor& out) {
  out.put("<");
  out.put({element.name, element.name_length});
  for (const LL_node* node = element.attributes.head; node; node = node->next) {
    const auto& attr = *static_cast<const attribute*>(node->data);
    out.put(" ");
    out.put(attr.name);
    out.put("=");
    out.put(attr.value);
  }
  out.put(">");
  out.put({element.text, element.text_length});
  if (element.first_child) out.put("\n");
}

void write_end(const xml_element& element, Cursor& out) {
  out.put("</");
  out.put({element.name, element.name_length});
  out.put(">\n");
}

void generate_xml_helper(const xml_element* element, Cursor& out) {
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

attribute* new_attribute(xml_tree* tree, const char* name, const char* value) {
  if (!tree || !name || !value) return nullptr;
  const std::string_view name_view{name}, value_view{value};
  void* memory = tree->arena.allocate(sizeof(attribute) + name_view.size() + value_view.size() + 2);
  if (!memory) return nullptr;
  char* texts = static_cast<char*>(memory) + sizeof(attribute);
  return new (memory)
      attribute{put_text(texts, name_view), put_text(texts + name_view.size() + 1, value_view)};
}

xml_element* new_xml_element(xml_tree* tree, const char* name) {
  return tree && name ? make_element(*tree, name, 0) : nullptr;
}

xml_element* new_xml_leaf(xml_tree* tree, const char* name, std::string_view text) {
  if (!tree || !name || text.size() >= UINT32_MAX) return nullptr;
  xml_element* element = make_element(*tree, name, text.size() + 1);
  if (!element) return nullptr;
  element->text = put_text(behind_name(*element), text);
  element->text_length = static_cast<std::uint32_t>(text.size());
  element->text_capacity = element->text_length + 1;
  tree->written_size += text.size();
  return element;
}

bool add_xml_element_attr(xml_element* element, attribute* attr) {
  if (!element || !attr) return false;
  void* memory = element->tree->arena.allocate(sizeof(LL_node));
  if (!memory) return false;
  append_LL_node(element->attributes, new (memory) LL_node{attr, nullptr, nullptr, keep});
  element->tree->written_size += std::strlen(attr->name) + std::strlen(attr->value) + 2;
  return true;
}

void setn_xml_element_text(xml_element* element, const char* text, std::size_t length) {
  if (element && text) append_text(*element, {text, strnlen(text, length)});
}

void set_xml_element_text(xml_element* element, const char* text) {
  if (element && text) append_text(*element, text);
}

xml_tree* new_xml_tree() {
  void* memory = std::malloc(sizeof(xml_tree));
  if (!memory) return nullptr;
  auto* tree = new (memory) xml_tree;
  tree->open_elements = new_stack();
  if (tree->open_elements) return tree;
  tree->~xml_tree();
  std::free(tree);
  return nullptr;
}

bool push_xml_tree(xml_tree* tree, xml_element* element) {
  xml_element* open;
  if (!tree || !element || !find_place(*tree, open)) return false;
  // The stack grows first: a failure leaves the tree as it was.
  if (!push_stack(tree->open_elements, element, keep)) return false;
  attach(*tree, open, *element);
  return true;
}

xml_element* pop_xml_tree(xml_tree* tree) {
  return tree ? static_cast<xml_element*>(pop_stack(tree->open_elements)) : nullptr;
}

xml_element* push_pop_xml_tree(xml_tree* tree, xml_element* element) {
  // Opening and closing at once leaves the stack as it was, so a leaf never touches it.
  xml_element* open;
  if (!tree || !element || !find_place(*tree, open)) return nullptr;
  attach(*tree, open, *element);
  return element;
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
  free_stack(tree->open_elements);
  tree->~xml_tree();
  std::free(tree);
}

void generate_xml(const xml_tree* tree, Text& output) {
  char* room = tree ? output.extend(tree->written_size) : nullptr;
  if (!room) return;
  Cursor cursor{{room, tree->written_size}};
  generate_xml_helper(tree->root, cursor);
  output.shrink(output.size() - cursor.room.size());
}

}  // namespace kd
