#include "value_table.hpp"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace kd::store {
namespace {

char* copy_text(std::string_view text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace

std::size_t Table::lower_bound(std::string_view key) const {
  std::size_t low = 0;
  std::size_t high = size_;
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (std::string_view(entries_[middle].key) < key) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

const char* Table::find(std::string_view key) const {
  const std::size_t at = lower_bound(key);
  return at < size_ && entries_[at].key == key ? entries_[at].value : nullptr;
}

bool Table::contains(const Table& other) const {
  for (const Entry& entry : other) {
    const char* value = find(entry.key);
    if (value == nullptr || std::strcmp(value, entry.value) != 0) return false;
  }
  return true;
}

bool Table::reserve_one() {
  if (size_ < capacity_) return true;
  const std::size_t wanted = capacity_ == 0 ? 32 : capacity_ * 2;
  void* grown = std::realloc(entries_, wanted * sizeof(Entry));
  if (grown == nullptr) return false;
  entries_ = static_cast<Entry*>(grown);
  capacity_ = wanted;
  return true;
}

bool Table::set(std::string_view key, std::string_view value) {
  char* new_value = copy_text(value);
  if (new_value == nullptr) return false;

  const std::size_t at = lower_bound(key);
  if (at < size_ && entries_[at].key == key) {
    std::free(entries_[at].value);
    entries_[at].value = new_value;
    return true;
  }

  char* new_key = copy_text(key);
  if (new_key == nullptr || !reserve_one()) {
    std::free(new_key);
    std::free(new_value);
    return false;
  }
  std::memmove(entries_ + at + 1, entries_ + at, (size_ - at) * sizeof(Entry));
  entries_[at] = {new_key, new_value};
  ++size_;
  return true;
}

bool Table::overlay(const Table& newer) {
  for (const Entry& entry : newer) {
    if (!set(entry.key, entry.value)) return false;
  }
  return true;
}

void Table::clear() {
  for (std::size_t i = 0; i < size_; ++i) {
    std::free(entries_[i].key);
    std::free(entries_[i].value);
  }
  std::free(entries_);
  entries_ = nullptr;
  size_ = 0;
  capacity_ = 0;
}

void Table::swap(Table& other) {
  std::swap(entries_, other.entries_);
  std::swap(size_, other.size_);
  std::swap(capacity_, other.capacity_);
}

}  // namespace kd::store
