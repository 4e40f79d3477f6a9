#include "table.hpp"

#include <algorithm>
#include <numeric>

#include "text.hpp"

namespace hnap {
namespace {

constexpr int kGap = 2;
constexpr int kNarrowest = 8;
constexpr int kAbsent = -1;

int total(const std::vector<int>& widths) {
  int sum = -kGap;
  for (const int width : widths)
    if (width != kAbsent) sum += width + kGap;
  return sum;
}

}  // namespace

std::string coloured(const std::string& text, Colour colour, const Style& style) {
  if (!style.colour || colour == Colour::none || text.empty()) return text;
  const char* code = "1";
  if (colour == Colour::good) code = "32";
  if (colour == Colour::fair) code = "33";
  if (colour == Colour::bad) code = "31";
  return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

std::vector<int> Table::natural_widths() const {
  std::vector<int> widths(columns_.size(), kAbsent);
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    int widest = 0;
    for (const std::vector<Cell>& row : rows_) widest = std::max(widest, columns_of(row[column].text));
    if (widest > 0 || rows_.empty()) widths[column] = std::max(widest, columns_of(columns_[column].title));
  }
  return widths;
}

std::vector<int> Table::widths_for(const Style& style) const {
  std::vector<int> natural = natural_widths();
  if (style.width == 0) return natural;
  for (;;) {
    std::vector<int> widths = natural;
    std::size_t leaves = columns_.size();  // the column that goes next
    for (std::size_t column = 0; column < columns_.size(); ++column)
      if (natural[column] != kAbsent &&
          columns_[column].rank > (leaves == columns_.size() ? 0 : columns_[leaves].rank))
        leaves = column;
    for (std::size_t column = 0; column < columns_.size(); ++column) {
      if (widths[column] == kAbsent || columns_[column].shrinks_to == 0) continue;
      const int least = leaves == columns_.size() ? kNarrowest : columns_[column].shrinks_to;
      const int excess = std::max(0, total(widths) - style.width);
      widths[column] = std::max(std::min(widths[column], least), widths[column] - excess);
    }
    if (total(widths) <= style.width || leaves == columns_.size()) return widths;
    natural[leaves] = kAbsent;
  }
}

std::string Table::line_of(const std::vector<Cell>& row, const std::vector<int>& widths,
                           const Style& style) const {
  std::string line;
  int owed = 0;  // blanks that are written only when something follows
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    if (widths[column] == kAbsent) continue;
    const std::string text = cut_to(row[column].text, widths[column], style.utf8);
    const int padding = std::max(0, widths[column] - columns_of(text));
    const bool right = columns_[column].right;
    const int blanks = owed + (right ? padding : 0);
    if (!text.empty()) line.append(static_cast<std::size_t>(blanks), ' ');
    line += coloured(text, row[column].colour, style);
    owed = text.empty() ? owed + widths[column] + kGap : kGap + (right ? 0 : padding);
  }
  return line;
}

void Table::print(const Style& style, std::FILE* out) const {
  const std::vector<int> widths = widths_for(style);
  std::vector<Cell> titles;
  for (const Column& column : columns_) titles.push_back({column.title, Colour::strong});
  std::fprintf(out, "%s\n", line_of(titles, widths, style).c_str());
  for (const std::vector<Cell>& row : rows_) std::fprintf(out, "%s\n", line_of(row, widths, style).c_str());
}

std::string bars_of(long percent, const Style& style) {
  const std::vector<std::string> steps =
      style.utf8 ? std::vector<std::string>{"▂", "▄", "▆", "█"} : std::vector<std::string>(4, "*");
  std::string bars;
  for (long step = 0; step < 4; ++step)
    bars += percent > step * 25 ? steps[static_cast<std::size_t>(step)] : style.utf8 ? "_" : "-";
  return bars;
}

Colour colour_of_signal(long percent) {
  return percent > 50 ? Colour::good : percent > 25 ? Colour::fair : Colour::bad;
}

}  // namespace hnap
