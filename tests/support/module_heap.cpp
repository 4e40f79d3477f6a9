// The module's own ways to memory, beside libc's functions in heap.cpp.
#include <expat.h>
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else  // a processor that the sanitizers do not know
#define ASAN_POISON_MEMORY_REGION(memory, size) ((void)(memory), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(memory, size) ((void)(memory), (void)(size))
#endif

#include "support/heap.hpp"

using kd::test::give_up;
using kd::test::refuses;

// Names that the linker's --wrap prescribes.
extern "C" {
void* __wrap_malloc(std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size);
void __wrap_free(void* memory);
void __real__ZN2kd17leak_deliberatelyEPv(void* memory);

// kd::leak_deliberately
void __wrap__ZN2kd17leak_deliberatelyEPv(void* memory) {
  give_up(memory);
  __real__ZN2kd17leak_deliberatelyEPv(memory);
}

// kd::Arena::allocate and grow: each piece counts as an allocation, and a red zone behind it lets the address
// sanitizer see who writes over its end.
constexpr std::size_t kRedZone = 16;

#define JOIN_(a, b, c) a##b##c
#define JOIN(a, b, c) JOIN_(a, b, c)
#define REAL_ALLOCATE JOIN(__real__ZN2kd5Arena8allocateE, SIZE_LETTER, )
#define WRAP_ALLOCATE JOIN(__wrap__ZN2kd5Arena8allocateE, SIZE_LETTER, )
#define REAL_GROW JOIN(__real__ZN2kd5Arena4growEPv, SIZE_LETTER, SIZE_LETTER)
#define WRAP_GROW JOIN(__wrap__ZN2kd5Arena4growEPv, SIZE_LETTER, SIZE_LETTER)

void* REAL_ALLOCATE(void* arena, std::size_t size);
void* REAL_GROW(void* arena, void* piece, std::size_t old_size, std::size_t size);

static void* guarded(void* piece, std::size_t size) {
  if (piece) ASAN_POISON_MEMORY_REGION(static_cast<char*>(piece) + size, kRedZone);
  return piece;
}

void* WRAP_ALLOCATE(void* arena, std::size_t size) {
  return refuses() ? nullptr : guarded(REAL_ALLOCATE(arena, size + kRedZone), size);
}
void* WRAP_GROW(void* arena, void* piece, std::size_t old_size, std::size_t size) {
  if (refuses()) return nullptr;
  ASAN_UNPOISON_MEMORY_REGION(static_cast<char*>(piece) + old_size, kRedZone);
  return guarded(REAL_GROW(arena, piece, old_size + kRedZone, size + kRedZone), size);
}

// expat allocates inside its own library, out of the linker's reach.
XML_Parser __wrap_XML_ParserCreate(const XML_Char* encoding) {
  static const XML_Memory_Handling_Suite memory = {__wrap_malloc, __wrap_realloc, __wrap_free};
  return XML_ParserCreate_MM(encoding, &memory, nullptr);
}
}
