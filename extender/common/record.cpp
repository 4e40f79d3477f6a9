#include "common/record.hpp"

#include <algorithm>
#include <climits>

#include "section_text.hpp"

namespace kd {
namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// A reader over one line.
class Line {
 public:
  explicit Line(std::string_view text) : text_(text) {}

  // The next field into `record`; false at the end of the line, or at what cannot be read.
  bool next(Record& record) {
    skip_blanks();
    if (at_end()) return false;
    const std::size_t start = at_;
    while (!at_end() && !is_blank(text_[at_]) && text_[at_] != '=') ++at_;
    const std::string name(text_.substr(start, at_ - start));
    skip_blanks();
    if (at_ >= text_.size() || text_[at_] != '=' || name.empty()) {
      return fail("\"" + name + "\" is no field name=value (a value with blanks stands in double quotes)");
    }
    ++at_;
    skip_blanks();
    const std::string value = take_value();
    if (!wrong_.empty()) return false;
    if (record.has(name)) return fail(name + " stands twice");
    record.set(name, value);
    return true;
  }

  const std::string& wrong() const { return wrong_; }

 private:
  bool fail(std::string what) {
    if (wrong_.empty()) wrong_ = std::move(what);
    return false;
  }
  // A "#" begins a comment where a word could begin; inside one it is an ordinary character.
  bool at_end() const {
    return at_ >= text_.size() || (text_[at_] == '#' && (at_ == 0 || is_blank(text_[at_ - 1])));
  }
  void skip_blanks() {
    while (at_ < text_.size() && is_blank(text_[at_])) ++at_;
  }
  std::string take_value() {
    const bool quoted = at_ < text_.size() && text_[at_] == '"';
    if (quoted) ++at_;
    std::string value;
    while (at_ < text_.size() && (quoted ? text_[at_] != '"' : !is_blank(text_[at_]))) value += take_char();
    if (!quoted) return value;
    if (at_ >= text_.size()) {
      fail("the closing double quote is missing");
    } else if (++at_; at_ < text_.size() && !is_blank(text_[at_])) {
      fail("a blank is missing behind the closing double quote");
    }
    return value;
  }
  char take_char() {
    const char c = text_[at_++];
    if (c == '\0') fail("a NUL byte is in the line");
    if (c != '\\') return c;
    const char kind = at_ < text_.size() ? text_[at_] : '\0';
    if (kind == '\\' || kind == '"') {
      ++at_;
      return kind;
    }
    const int high = kind == 'x' && at_ + 2 < text_.size() ? store::hex_digit(text_[at_ + 1]) : -1;
    const int low = high >= 0 ? store::hex_digit(text_[at_ + 2]) : -1;
    if (low < 0 || (high == 0 && low == 0)) {
      fail("a backslash stands only in \\\\, \\\" and \\xHH (not \\x00)");
      return c;
    }
    at_ += 3;
    return static_cast<char>(high * 16 + low);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::string wrong_;
};

std::string quote(std::string_view value) {
  const bool plain = !value.empty() && std::all_of(value.begin(), value.end(), [](char c) {
    return c > ' ' && c != '"' && c != '#' && c != '\\' && c != 0x7F;
  });
  if (plain) return std::string(value);
  std::string out = "\"";
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < ' ' || byte == 0x7F) {
      constexpr std::string_view digits = "0123456789ABCDEF";
      out += "\\x";
      out += digits[byte >> 4];
      out += digits[byte & 15];
    } else {
      out += c;
    }
  }
  return out + '"';
}

}  // namespace

const std::string* Record::find(std::string_view name) const {
  for (const auto& [field, value] : fields_) {
    if (field == name) return &value;
  }
  return nullptr;
}

void Record::set(std::string_view name, std::string_view value) {
  for (auto& [field, old] : fields_) {
    if (field == name) {
      old = value;
      return;
    }
  }
  fields_.emplace_back(name, value);
}

std::string Record::text(std::string_view name, std::string_view otherwise) const {
  const std::string* value = find(name);
  return value != nullptr ? *value : std::string(otherwise);
}

int Record::number(std::string_view name, int otherwise) const {
  const std::string* value = find(name);
  if (value == nullptr) return otherwise;
  const bool negative = !value->empty() && value->front() == '-';
  long long total = 0;
  std::size_t at = negative ? 1 : 0;
  const std::size_t first = at;
  for (; at < value->size() && (*value)[at] >= '0' && (*value)[at] <= '9'; ++at) {
    total = std::min<long long>(total * 10 + ((*value)[at] - '0'), INT_MAX);
  }
  if (at == first) return otherwise;
  return static_cast<int>(negative ? -total : total);
}

bool Record::flag(std::string_view name, bool otherwise) const {
  const std::string value = text(name);
  for (const char* yes : {"yes", "true", "on", "1"}) {
    if (value == yes) return true;
  }
  for (const char* no : {"no", "false", "off", "0"}) {
    if (value == no) return false;
  }
  return otherwise;
}

std::string read_record(std::string_view line, Record& record) {
  Line reader(line);
  while (reader.next(record)) {
  }
  return reader.wrong();
}

Record parse_record(std::string_view text) {
  Record record;
  for_each_line(text, [&](std::string_view line) {
    Record fields;
    read_record(line, fields);
    for (const auto& [name, value] : fields.fields()) record.set(name, value);
  });
  return record;
}

std::string format_record(const Record& record, std::string_view only) {
  std::string line;
  for (const auto& [name, value] : record.fields()) {
    if (!only.empty() && name != only) continue;
    if (!line.empty()) line += ' ';
    line += name + '=' + quote(value);
  }
  return line;
}

}  // namespace kd
