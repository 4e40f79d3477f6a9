#include "xml/linked_list.hpp"

#include <cstdlib>
#include <new>

namespace kd {

linked_list* new_linked_list() {
  void* memory = std::malloc(sizeof(linked_list));
  return memory ? new (memory) linked_list : nullptr;
}

LL_node* new_LL_node(void* data, FreeFunction free_data) {
  if (!data || !free_data) return nullptr;
  void* memory = std::malloc(sizeof(LL_node));
  return memory ? new (memory) LL_node{data, nullptr, nullptr, free_data} : nullptr;
}

bool insert_linked_list(linked_list* list, void* data, FreeFunction free_data) {
  if (!list) return false;
  LL_node* node = new_LL_node(data, free_data);
  if (!node) return false;
  append_LL_node(*list, node);
  return true;
}

void append_LL_node(linked_list& list, LL_node* node) {
  node->previous = list.tail;
  (list.tail ? list.tail->next : list.head) = node;
  list.tail = node;
}

void* remove_last_linked_list(linked_list* list) {
  if (!list || !list->tail) return nullptr;
  LL_node* node = list->tail;
  list->tail = node->previous;
  (list->tail ? list->tail->next : list->head) = nullptr;
  void* data = node->data;
  std::free(node);
  return data;
}

void clear_linked_list(linked_list& list) {
  for (LL_node* node = list.head; node;) {
    LL_node* next = node->next;
    node->free_data(node->data);
    std::free(node);
    node = next;
  }
  list = {};
}

void deep_free_linked_list(linked_list* list) {
  if (!list) return;
  clear_linked_list(*list);
  std::free(list);
}

stack* new_stack() {
  void* memory = std::malloc(sizeof(stack));
  return memory ? new (memory) stack : nullptr;
}

void free_stack(stack* s) {
  if (!s) return;
  clear_linked_list(s->list);
  std::free(s);
}

bool push_stack(stack* s, void* data, FreeFunction free_data) {
  return s && insert_linked_list(&s->list, data, free_data);
}

void* pop_stack(stack* s) {
  return s ? remove_last_linked_list(&s->list) : nullptr;
}

void* top_stack(const stack* s) {
  return s && s->list.tail ? s->list.tail->data : nullptr;
}

}  // namespace kd
