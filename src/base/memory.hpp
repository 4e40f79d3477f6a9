// Ownership of C heap blocks. The module allocates with malloc only: every allocation can fail and is
// checked.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace kd {

struct FreeDeleter {
  void operator()(void* block) const { std::free(block); }
};

template <class T>
using HeapPtr = std::unique_ptr<T, FreeDeleter>;
using HeapText = HeapPtr<char>;
using HeapBytes = HeapPtr<unsigned char>;

// A zero-terminated heap copy of `text`; null when memory is short.
HeapText copy_of(std::string_view text);

// Tells leak checkers that a block outlives its request on purpose; the caller says why.
void outlives_request(void* block);

}  // namespace kd
