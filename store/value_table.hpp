// The values of one section of the store: text keys with text values, sorted by key.
// Everything here runs inside the web server too: plain malloc, no exceptions, no C++ runtime library.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace kd::store {

// A text made by malloc.
struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

struct Entry {
  char* key;
  char* value;
};

class Table {
 public:
  constexpr Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { clear(); }

  // The value of a key; null when the key is absent. Valid until the table changes.
  const char* find(std::string_view key) const;

  // Whether every value of `other` is here too.
  bool contains(const Table& other) const;

  // Sets one value. False when memory is short: the table is then as it was.
  [[nodiscard]] bool set(std::string_view key, std::string_view value);

  // Sets every value of `newer`. False when memory is short: some of them may then be set.
  [[nodiscard]] bool overlay(const Table& newer);

  void clear();
  void swap(Table& other);

  const Entry* begin() const { return entries_; }
  const Entry* end() const { return entries_ + size_; }
  std::size_t size() const { return size_; }

 private:
  std::size_t lower_bound(std::string_view key) const;
  bool reserve_one();

  Entry* entries_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace kd::store
