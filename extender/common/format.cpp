#include "common/format.hpp"

#include <algorithm>
#include <charconv>

namespace kd {
namespace {

std::string names_of(const Format& format) {
  std::string names;
  for (const Field& field : format.fields) names += (names.empty() ? "" : ", ") + std::string(field.name);
  return names;
}

// What is wrong with the fields that are there.
std::string wrong_fields(const Record& record, const Format& format) {
  for (const auto& [name, value] : record.fields()) {
    const auto known = std::find_if(format.fields.begin(), format.fields.end(),
                                    [&name = name](const Field& field) { return name == field.name; });
    if (known == format.fields.end()) {
      return "no field is named \"" + name + "\"; the fields are " + names_of(format);
    }
    if (const std::string right = known->wrong(value); !right.empty()) {
      return format_record(record, name) + ": " + name + " must be " + right;
    }
  }
  return "";
}

std::string wrong_record(const Record& record, const Format& format) {
  for (const Field& field : format.fields) {
    if (field.required && !record.has(field.name)) return std::string("say ") + field.name + "=...";
  }
  return format.wrong != nullptr ? format.wrong(record) : "";
}

bool is_hex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

std::string check_fields(const Record& record, const Format& format) {
  const std::string wrong = wrong_fields(record, format);
  return wrong.empty() ? wrong_record(record, format) : wrong;
}

CheckedRecords check_records(std::string_view text, const Format& format) {
  CheckedRecords checked;
  Record all;
  std::size_t number = 0;
  for_each_line(text, [&](std::string_view line) {
    ++number;
    Record record;
    std::string wrong = read_record(line, record);
    if (wrong.empty() && record.empty()) return;
    if (wrong.empty()) {
      wrong = format.record_a_line ? check_fields(record, format) : wrong_fields(record, format);
    }
    if (!wrong.empty()) {
      checked.problems.push_back({number, std::move(wrong)});
    } else if (format.record_a_line) {
      checked.records.push_back(std::move(record));
    } else {
      for (const auto& [name, value] : record.fields()) all.set(name, value);
    }
  });
  if (!format.record_a_line) {
    if (std::string wrong = wrong_record(all, format); !wrong.empty()) {
      checked.problems.push_back({number, std::move(wrong)});
    }
    checked.records.push_back(std::move(all));
  }
  return checked;
}

bool is_number_within(const std::string& value, long least, long most) {
  long number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  return error == std::errc{} && end == value.data() + value.size() && number >= least && number <= most;
}

std::string wrong_number(const std::string& value, long least, long most) {
  if (is_number_within(value, least, most)) return "";
  return "a number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::string wrong_choice(const std::string& value, std::span<const char* const> choices) {
  std::string right = "one of";
  for (const char* choice : choices) {
    if (value == choice) return "";
    right += (choice == choices.front() ? " " : ", ") + std::string(choice);
  }
  return right;
}

std::string wrong_flag(const std::string& value) {
  static constexpr const char* kFlags[] = {"yes", "no", "true", "false", "on", "off", "1", "0"};
  return wrong_choice(value, kFlags).empty() ? "" : "yes or no";
}

std::string wrong_address(const std::string& value) {
  bool right = value.size() == 17;
  for (std::size_t i = 0; right && i < value.size(); ++i)
    right = i % 3 == 2 ? value[i] == ':' : is_hex(value[i]);
  // An odd first byte is a group's address.
  const bool of_one = right && std::string_view("02468ACEace").find(value[1]) != std::string_view::npos;
  return of_one ? "" : "the address of one station as six pairs of hexadecimal digits, 02:00:00:00:00:01";
}

std::string wrong_ssid(const std::string& value) {
  return value.empty() || value.size() > 32
             ? "a name of 1 to 32 bytes (here " + std::to_string(value.size()) + ")"
             : "";
}

std::string wrong_channel(const std::string& value) {
  const auto steps_of_four = [&](long first, long last) {
    return is_number_within(value, first, last) && (std::stol(value) - first) % 4 == 0;
  };
  if (is_number_within(value, 1, 14) || steps_of_four(36, 64) || steps_of_four(100, 144) ||
      steps_of_four(149, 165))
    return "";
  return "a channel: 1 to 14; 36 to 64, 100 to 144 and 149 to 165 in steps of 4";
}

}  // namespace kd
