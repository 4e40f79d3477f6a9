#include "support/heap.hpp"

#include <expat.h>

#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <utility>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else  // a processor that the sanitizers do not know
#define ASAN_POISON_MEMORY_REGION(memory, size) ((void)(memory), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(memory, size) ((void)(memory), (void)(size))
#endif

namespace {

struct Block {
  std::size_t size;
  unsigned number;
  bool given_up = false;
};

struct Watch {
  std::unordered_map<void*, Block> live;
  kd::test::HeapFault fault;
  std::function<void()> met;
  unsigned count = 0;
};

Watch* current = nullptr;

// Counts an allocation; whether it is to fail.
bool refuses() {
  if (!current) return false;
  const unsigned number = ++current->count;
  if (number == current->fault.at && current->met) current->met();
  return current->fault.at != 0 &&
         (number == current->fault.at || (current->fault.and_later && number > current->fault.at));
}

void* remembered(void* memory, std::size_t size) {
  if (current && memory) current->live[memory] = {size, current->count};
  return memory;
}

void forget(void* memory) {
  if (current) current->live.erase(memory);
}

// Lets the address sanitizer see who writes over the end of an arena's piece.
constexpr std::size_t kRedZone = 16;

void* guarded(void* piece, std::size_t size) {
  if (piece) ASAN_POISON_MEMORY_REGION(static_cast<char*>(piece) + size, kRedZone);
  return piece;
}

}  // namespace

// The linker's names of libc's functions, and of kd::outlives_request, kd::Arena::allocate and grow;
// tests/CMakeLists.txt knows the letter of size_t.
#define REAL(name) __asm__("__real_" name)
#define WRAP(name) __asm__("__wrap_" name)
#define OUTLIVES "_ZN2kd16outlives_requestEPv"
#define ALLOCATE "_ZN2kd5Arena8allocateE" SIZE_LETTER
#define GROW "_ZN2kd5Arena4growEPv" SIZE_LETTER SIZE_LETTER

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
char* __real_strdup(const char* text);
void __real_free(void* memory);
void real_outlives(void* memory) REAL(OUTLIVES);
void outlives(void* memory) WRAP(OUTLIVES);
void* real_allocate(void* arena, std::size_t size) REAL(ALLOCATE);
void* allocate(void* arena, std::size_t size) WRAP(ALLOCATE);
void* real_grow(void* arena, void* piece, std::size_t old_size, std::size_t size) REAL(GROW);
void* grow(void* arena, void* piece, std::size_t old_size, std::size_t size) WRAP(GROW);

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

void outlives(void* memory) {
  if (current && current->live.contains(memory)) current->live[memory].given_up = true;
  real_outlives(memory);
}
void* allocate(void* arena, std::size_t size) {
  return refuses() ? nullptr : guarded(real_allocate(arena, size + kRedZone), size);
}
void* grow(void* arena, void* piece, std::size_t old_size, std::size_t size) {
  if (refuses()) return nullptr;
  ASAN_UNPOISON_MEMORY_REGION(static_cast<char*>(piece) + old_size, kRedZone);
  return guarded(real_grow(arena, piece, old_size + kRedZone, size + kRedZone), size);
}

// expat allocates inside its own library, out of the linker's reach.
XML_Parser __wrap_XML_ParserCreate(const XML_Char* encoding) {
  static const XML_Memory_Handling_Suite memory = {__wrap_malloc, __wrap_realloc, __wrap_free};
  return XML_ParserCreate_MM(encoding, &memory, nullptr);
}
}

namespace kd::test {

HeapWatch::HeapWatch() {
  if (::current) std::abort();
  ::current = new Watch;
}

HeapWatch::~HeapWatch() {
  delete std::exchange(::current, nullptr);
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

}  // namespace kd::test
