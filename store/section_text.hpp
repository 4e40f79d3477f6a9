// The text of a store file:
//
//   nvram 1
//   # a comment; blank lines are skipped too
//   HostName=Extender
//   Password=two\nlines
//   end
//
// The first line is the version, the last one shows that nothing is cut off. A value is everything behind
// the first "=", blanks included. "\\", "\n", "\r", "\t" and "\xHH" stand for bytes that a line cannot hold.
#pragma once

#include <cstddef>
#include <string_view>

#include "value_table.hpp"

namespace kd::store {

enum class ParseStatus { ok, damaged, no_memory };

struct ParseResult {
  ParseStatus status;
  std::size_t line;  // the line at fault, from 1; 0 when ok
};

// Reads a store file's text into an empty table. A key that stands twice has its last value.
ParseResult parse(std::string_view text, Table& out);

// The text of a table; `size` is its length without the NUL. Null when memory is short.
OwnedText write(const Table& table, std::size_t& size);

// The value of a hexadecimal digit of either case; -1 when it is none.
int hex_digit(char c);

}  // namespace kd::store
