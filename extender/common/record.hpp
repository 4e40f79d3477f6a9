// The plain-text records that people and tests edit: fields "name=value", in any order.
//
//   ssid="Home Network" channel=6   signal = 72    # a comment
//
// A value with blanks, "#" or nothing in it stands in double quotes. "\\", "\"" and "\xHH" stand for bytes
// that are hard to type.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kd {

class Record {
 public:
  void set(std::string_view name, std::string_view value);  // replaces a field of that name
  bool has(std::string_view name) const { return find(name) != nullptr; }
  bool empty() const { return fields_.empty(); }

  std::string text(std::string_view name, std::string_view otherwise = "") const;
  // The leading decimal number of a field, clamped to int; `otherwise` when there is none.
  int number(std::string_view name, int otherwise = 0) const;
  // yes, true, on, 1 and no, false, off, 0; anything else counts as `otherwise`.
  bool flag(std::string_view name, bool otherwise) const;

  const std::vector<std::pair<std::string, std::string>>& fields() const { return fields_; }

 private:
  const std::string* find(std::string_view name) const;
  std::vector<std::pair<std::string, std::string>> fields_;
};

// Reads the fields of one line. Empty, or what is wrong with it.
std::string read_record(std::string_view line, Record& record);

// All fields of a text that a program wrote, over any number of lines, as one record.
Record parse_record(std::string_view text);

// A record as one line without its end, quoted where needed; with a name that field alone.
std::string format_record(const Record& record, std::string_view only = "");

// Calls `use` with each line, without its end.
template <typename Use>
void for_each_line(std::string_view text, Use use) {
  while (!text.empty()) {
    const std::size_t length = text.find('\n');
    use(text.substr(0, length));
    if (length == std::string_view::npos) return;
    text.remove_prefix(length + 1);
  }
}

}  // namespace kd
