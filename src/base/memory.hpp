// Ownership of C heap blocks. The module allocates with malloc only: every allocation can fail and is
// checked.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace kd {

struct free_deleter {
  void operator()(void* block) const { std::free(block); }
};

template <class T>
using heap_ptr = std::unique_ptr<T, free_deleter>;
using heap_text = heap_ptr<char>;
using heap_bytes = heap_ptr<unsigned char>;

// A zero-terminated heap copy of `text`; null when memory is short.
heap_text copy_of(std::string_view text);

// Gives a block up for good. The callers' blocks are lost on purpose and say why; leak checkers are told so.
void leak_deliberately(void* block);

}  // namespace kd
