// The plain-text records that people and tests edit: fields "name=value", in any order.
//
//   ssid="Home Network" channel=6   signal = 72    # a comment
//
// A value with blanks, "#" or nothing in it stands in double quotes. "\\", "\"" and "\xHH" stand for bytes
// that are hard to type. A word without "=" and a field that cannot be read are skipped, never an error:
// the device must go on while a person is in the middle of an edit.
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

// All fields of a text, over any number of lines, as one record.
Record parse_record(std::string_view text);

// One record a line; lines without a field give none.
std::vector<Record> parse_records(std::string_view text);

// A record as one line without its end, quoted where needed.
std::string format_record(const Record& record);

}  // namespace kd
