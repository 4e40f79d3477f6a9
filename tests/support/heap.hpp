// The allocations of the module and of expat on its behalf: counted, made to fail, and checked for leaks. The
// linker puts the functions of heap.cpp before libc's (--wrap in tests/CMakeLists.txt); the tests' own
// containers use operator new and stay outside. Each piece of an arena counts as an allocation.
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
};

}  // namespace kd::test
