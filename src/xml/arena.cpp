#include "xml/arena.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace kd {
namespace {

constexpr std::size_t kLargestBlock = std::size_t{8} * 1024 * 1024;

constexpr std::size_t rounded(std::size_t size) {
  return (size + alignof(void*) - 1) & ~(alignof(void*) - 1);
}

}  // namespace

struct Arena::Block {
  Block* older;
};

Arena::~Arena() {
  while (blocks_) {
    Block* older = blocks_->older;
    std::free(blocks_);
    blocks_ = older;
  }
}

bool Arena::add_block(std::size_t least) {
  const std::size_t size = std::max(least + sizeof(Block), next_size_);
  auto* block = static_cast<Block*>(std::malloc(size));
  if (!block) return false;
  block->older = blocks_;
  blocks_ = block;
  at_ = reinterpret_cast<char*>(block + 1);
  end_ = reinterpret_cast<char*>(block) + size;
  next_size_ = std::min(next_size_ * 4, kLargestBlock);
  return true;
}

void* Arena::allocate(std::size_t size) {
  const std::size_t needed = rounded(size);
  if (needed < size) return nullptr;
  if (static_cast<std::size_t>(end_ - at_) < needed && !add_block(needed)) return nullptr;
  void* piece = at_;
  at_ += needed;
  return piece;
}

void* Arena::grow(void* piece, std::size_t old_size, std::size_t size) {
  char* start = static_cast<char*>(piece);
  if (start + rounded(old_size) == at_ && static_cast<std::size_t>(end_ - start) >= rounded(size)) {
    at_ = start + rounded(size);
    return piece;
  }
  void* copy = allocate(size);
  if (copy) std::memcpy(copy, piece, old_size);
  return copy;
}

}  // namespace kd
