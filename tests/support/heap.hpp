// The allocations of the module, of expat on its behalf (module_heap.cpp) and of the store's library:
// counted, made to fail, and checked for leaks. The linker puts these functions before libc's (--wrap in
// tests/CMakeLists.txt); the tests' own containers use operator new and stay outside.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace kd::test {

struct HeapFault {
  unsigned at = 0;         // number of the allocation that fails, from 1; 0: none
  bool and_later = false;  // every later one fails too
};

// Watches from its construction to its end; there is one at a time.
class HeapWatch {
 public:
  HeapWatch();
  ~HeapWatch();
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;

  // Starts counting anew. `met` runs when the first allocation fails.
  void fail(HeapFault fault, std::function<void()> met = nullptr);
  bool fault_met() const;
  // Blocks that were allocated under this watch and are neither freed nor given up deliberately; empty when
  // there is none.
  std::string leaks() const;
  // Blocks that were given up deliberately and are still there.
  std::size_t given_up() const;
};

// For the wrapped functions: whether the next allocation, which this counts, is to fail; and that a block is
// given up deliberately.
bool refuses();
void give_up(void* memory);

}  // namespace kd::test
