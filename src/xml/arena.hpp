#pragma once

#include <cstddef>

namespace kd {

// Memory that is given back all at once: a few large blocks in place of a heap block for every element. That
// is what makes building a reply cheap.
class Arena {
 public:
  Arena() = default;
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // `size` bytes, aligned for any pointer; null when memory is short. They live as long as the arena.
  void* allocate(std::size_t size);

  // Gives a piece a new, larger size: in place when it is the newest piece and its block has room, else as a
  // copy. Null when memory is short; the old piece then stays as it was.
  void* grow(void* piece, std::size_t old_size, std::size_t size);

 private:
  struct Block;

  bool add_block(std::size_t least);

  Block* blocks_ = nullptr;  // newest first
  char* at_ = nullptr;
  char* end_ = nullptr;
  std::size_t next_size_ = std::size_t{8} * 1024;  // most replies fit into one block
};

}  // namespace kd
