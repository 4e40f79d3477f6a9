// The module's own ways to memory, beside libc's functions in heap.cpp.
#include <expat.h>
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else  // a processor that the sanitizers do not know
#define ASAN_POISON_MEMORY_REGION(memory, size) ((void)(memory), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(memory, size) ((void)(memory), (void)(size))
#endif

#include "support/heap.hpp"

using kd::test::refuses;

// The linker's names of kd::outlives_request and of kd::Arena::allocate and grow; tests/CMakeLists.txt knows
// the letter of size_t.
#define REAL(name) __asm__("__real_" name)
#define WRAP(name) __asm__("__wrap_" name)
#define OUTLIVES "_ZN2kd16outlives_requestEPv"
#define ALLOCATE "_ZN2kd5Arena8allocateE" SIZE_LETTER
#define GROW "_ZN2kd5Arena4growEPv" SIZE_LETTER SIZE_LETTER

extern "C" {
void* __wrap_malloc(std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size);
void __wrap_free(void* memory);

void real_outlives(void* memory) REAL(OUTLIVES);
void outlives(void* memory) WRAP(OUTLIVES);
void* real_allocate(void* arena, std::size_t size) REAL(ALLOCATE);
void* allocate(void* arena, std::size_t size) WRAP(ALLOCATE);
void* real_grow(void* arena, void* piece, std::size_t old_size, std::size_t size) REAL(GROW);
void* grow(void* arena, void* piece, std::size_t old_size, std::size_t size) WRAP(GROW);

void outlives(void* memory) {
  kd::test::give_up(memory);
  real_outlives(memory);
}

// Each piece of an arena counts as an allocation, and a red zone behind it lets the address sanitizer see who
// writes over its end.
constexpr std::size_t kRedZone = 16;

static void* guarded(void* piece, std::size_t size) {
  if (piece) ASAN_POISON_MEMORY_REGION(static_cast<char*>(piece) + size, kRedZone);
  return piece;
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
