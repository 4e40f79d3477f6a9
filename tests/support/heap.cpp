#include "support/heap.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <utility>

namespace {

using kd::test::HeapFault;
using kd::test::refuses;

struct block {
  std::size_t size;
  unsigned number;
  bool given_up = false;
};

struct watch {
  std::unordered_map<void*, block> live;
  HeapFault fault;
  std::function<void()> met;
  unsigned count = 0;
};

watch* current = nullptr;

void* remembered(void* memory, std::size_t size) {
  if (current && memory) current->live[memory] = {size, current->count};
  return memory;
}

void forget(void* memory) {
  if (current) current->live.erase(memory);
}

}  // namespace

// Names that the linker's --wrap prescribes.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
char* __real_strdup(const char* text);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  return refuses() ? nullptr : remembered(__real_malloc(size), size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return refuses() ? nullptr : remembered(__real_calloc(count, size), count * size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  if (refuses()) return nullptr;
  forget(memory);
  return remembered(__real_realloc(memory, size), size);
}
char* __wrap_strdup(const char* text) {
  if (refuses()) return nullptr;
  return static_cast<char*>(remembered(__real_strdup(text), std::strlen(text) + 1));
}
void __wrap_free(void* memory) {
  forget(memory);
  __real_free(memory);
}
}

namespace kd::test {

HeapWatch::HeapWatch() {
  if (::current) std::abort();
  ::current = new watch;
}

HeapWatch::~HeapWatch() {
  delete ::current;
  ::current = nullptr;
}

void HeapWatch::fail(HeapFault fault, std::function<void()> met) {
  ::current->fault = fault;
  ::current->met = std::move(met);
  ::current->count = 0;
}

bool HeapWatch::fault_met() const {
  return ::current->fault.at != 0 && ::current->count >= ::current->fault.at;
}

std::string HeapWatch::leaks() const {
  std::string all;
  for (const auto& [memory, block] : ::current->live) {
    if (block.given_up) continue;
    all +=
        "leaked: " + std::to_string(block.size) + " bytes, allocation " + std::to_string(block.number) + "\n";
  }
  return all;
}

std::size_t HeapWatch::given_up() const {
  return static_cast<std::size_t>(std::count_if(::current->live.begin(), ::current->live.end(),
                                                [](const auto& entry) { return entry.second.given_up; }));
}

bool refuses() {
  if (!::current) return false;
  const unsigned number = ++::current->count;
  const HeapFault& fault = ::current->fault;
  if (number == fault.at && ::current->met) ::current->met();
  return fault.at != 0 && (number == fault.at || (fault.and_later && number > fault.at));
}

void give_up(void* memory) {
  if (!::current) return;
  const auto found = ::current->live.find(memory);
  if (found != ::current->live.end()) found->second.given_up = true;
}

}  // namespace kd::test
