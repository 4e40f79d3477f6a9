// What the lines of a file may hold, and what is wrong with those that hold something else.
#pragma once

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/record.hpp"

namespace kd {

// Judges one value: empty when it is right, else what would be ("a number from 0 to 100").
using ValueCheck = std::string (*)(const std::string& value);

struct Field {
  const char* name;
  ValueCheck wrong;
  bool required = false;
};

struct Format {
  std::span<const Field> fields;
  bool record_a_line;  // else the fields of all lines are one record
  // Judges what no field shows alone; null: nothing.
  std::string (*wrong)(const Record& record) = nullptr;
  // What no two lines may have in common; null: nothing.
  std::string (*identity)(const Record& record) = nullptr;
};

struct Problem {
  std::size_t line;  // from 1
  std::string text;  // what is wrong, and what would be right
};

// The problems of a text: `judge` says what is wrong with a line, or nothing ("").
template <typename Judge>
std::vector<Problem> check_lines(std::string_view text, Judge judge) {
  std::vector<Problem> problems;
  std::size_t number = 0;
  for_each_line(text, [&](std::string_view line) {
    ++number;
    if (std::string wrong = judge(line); !wrong.empty()) problems.push_back({number, std::move(wrong)});
  });
  return problems;
}

// The same for lines of fields: `take` judges the record of each line that has one, and may keep it.
template <typename Take>
std::vector<Problem> check_record_lines(std::string_view text, Take take) {
  return check_lines(text, [&](std::string_view line) {
    Record record;
    std::string wrong = read_record(line, record);
    return wrong.empty() && !record.empty() ? std::string(take(record)) : wrong;
  });
}

// What the lines of a text have said so far.
class Said {
 public:
  // Empty, or that a line above says the same.
  std::string wrong(const std::string& text) {
    return said_.insert(text).second ? "" : text + " stands in a line above already";
  }

 private:
  std::set<std::string> said_;
};

struct CheckedRecords {
  std::vector<Record> records;  // of the lines without a problem; one in all unless there is one a line
  std::vector<Problem> problems;
};

CheckedRecords check_records(std::string_view text, const Format& format);

// The same for words of a command line, each "name=value". Empty, or what is wrong.
std::string check_fields(const Record& record, const Format& format);

// Checks that several formats use.
bool is_number_within(const std::string& value, long least, long most);
std::string wrong_number(const std::string& value, long least, long most);
std::string wrong_choice(const std::string& value, std::span<const char* const> choices);
std::string wrong_flag(const std::string& value);     // yes or no
std::string wrong_address(const std::string& value);  // of one station, with colons
std::string wrong_ssid(const std::string& value);     // 1 to 32 bytes
std::string wrong_channel(const std::string& value);
bool is_hexadecimal(std::string_view text);                         // and not empty
std::string key_form(std::string_view security);                    // what a key of it has, in words
bool is_key_of(std::string_view security, const std::string& key);  // "WEP", else a kind of WPA
template <long least, long most>
std::string number_within(const std::string& value) {
  return wrong_number(value, least, most);
}

}  // namespace kd
