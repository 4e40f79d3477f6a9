// The containers under the XML tree: a doubly linked list of opaque pointers, each node with the function
// that frees its payload, and a stack on top of it. Null arguments are ignored.
#pragma once

namespace kd {

using FreeFunction = void (*)(void*);

struct LL_node {
  void* data;  // never null
  LL_node* next;
  LL_node* previous;
  FreeFunction free_data;  // never null
};

struct linked_list {
  LL_node* head = nullptr;
  LL_node* tail = nullptr;
};

linked_list* new_linked_list();
LL_node* new_LL_node(void* data, FreeFunction free_data);
// Appends at the tail. False when nothing was inserted: the payload is then still the caller's.
bool insert_linked_list(linked_list* list, void* data, FreeFunction free_data);
// Appends a node that the caller allocated, for a list that is never freed through its nodes.
void append_LL_node(linked_list& list, LL_node* node);
// Unlinks the tail and gives its payload back, unfreed; null for an empty list.
void* remove_last_linked_list(linked_list* list);
// Frees payloads and nodes from head to tail and leaves the list empty.
void clear_linked_list(linked_list& list);
void deep_free_linked_list(linked_list* list);

// The top is the list's tail.
struct stack {
  linked_list list;
};

stack* new_stack();
void free_stack(stack* s);
bool push_stack(stack* s, void* data, FreeFunction free_data);
void* pop_stack(stack* s);
void* top_stack(const stack* s);

}  // namespace kd
