#include "common/format.hpp"

#include <algorithm>
#include <charconv>

#include "section_text.hpp"

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

}  // namespace

std::string check_fields(const Record& record, const Format& format) {
  const std::string wrong = wrong_fields(record, format);
  return wrong.empty() ? wrong_record(record, format) : wrong;
}

CheckedRecords check_records(std::string_view text, const Format& format) {
  CheckedRecords checked;
  Record all;
  Said said;
  checked.problems = check_record_lines(text, [&](Record& record) {
    std::string wrong = format.record_a_line ? check_fields(record, format) : wrong_fields(record, format);
    if (wrong.empty() && format.identity != nullptr) wrong = said.wrong(format.identity(record));
    if (wrong.empty() && format.record_a_line) {
      checked.records.push_back(std::move(record));
    } else if (wrong.empty()) {
      for (const auto& [name, value] : record.fields()) all.set(name, value);
    }
    return wrong;
  });
  if (!format.record_a_line) checked.records.push_back(std::move(all));
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
    right = i % 3 == 2 ? value[i] == ':' : store::hex_digit(value[i]) >= 0;
  // An odd first byte is a group's address; no bit at all is nobody's.
  const bool of_one = right && std::string_view("02468ACEace").find(value[1]) != std::string_view::npos &&
                      value.find_first_not_of("0:") != std::string::npos;
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

bool is_hexadecimal(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return store::hex_digit(c) >= 0; });
}

std::string key_form(std::string_view security) {
  return security == "WEP" ? "a WEP key has 5 or 13 characters, or 10 or 26 hexadecimal digits"
                           : "a WPA key has 8 to 63 ASCII characters, or 64 hexadecimal digits";
}

bool is_key_of(std::string_view security, const std::string& key) {
  if (security == "WEP") {
    return key.size() == 5 || key.size() == 13 ||
           ((key.size() == 10 || key.size() == 26) && is_hexadecimal(key));
  }
  const bool printable = std::all_of(key.begin(), key.end(), [](char c) { return c >= ' ' && c < 0x7F; });
  return (key.size() >= 8 && key.size() <= 63 && printable) || (key.size() == 64 && is_hexadecimal(key));
}

}  // namespace kd
