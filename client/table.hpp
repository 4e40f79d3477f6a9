// Tables for people: aligned, and narrow enough for the terminal.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "terminal.hpp"

namespace hnap {

enum class Colour { none, strong, good, fair, bad };

/// The text in a colour where the style has colours.
std::string coloured(const std::string& text, Colour colour, const Style& style);

struct Column {
  std::string title;
  int rank =
      0;  // in a narrow terminal the columns of the highest rank are left out first; rank 0 always stays
  bool right = false;
  int shrinks_to = 0;  // columns that its texts may be cut to before another column is left out; 0: never
};

struct Cell {
  std::string text;  // visible
  Colour colour = Colour::none;
};

class Table {
 public:
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// As many cells as there are columns.
  void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }

  /// Prints titles and rows. A column whose cells are all empty is left out.
  void print(const Style& style, std::FILE* out) const;

 private:
  std::vector<int> natural_widths() const;
  std::vector<int> widths_for(const Style& style) const;
  std::string line_of(const std::vector<Cell>& row, const std::vector<int>& widths, const Style& style) const;

  std::vector<Column> columns_;
  std::vector<std::vector<Cell>> rows_;
};

/// Four bars for a signal of 0 to 100 per cent, and its colour.
std::string bars_of(long percent, const Style& style);
Colour colour_of_signal(long percent);

}  // namespace hnap
