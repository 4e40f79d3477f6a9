#include "platform/shell.hpp"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "base/text.hpp"
#include "platform/console.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

constexpr int kCommandLimit = 4096;

// What stands between "%" and the conversion letter.
struct Spec {
  bool left = false, plus = false, space = false, alternate = false, zero = false;
  int width = 0;
  int precision = -1;  // none given
  enum { kHalf, kPlain, kLong } size = kPlain;
};

// Keeps what fits below the limit and counts what would have been written.
class Output {
 public:
  explicit Output(int limit) : room_{static_cast<std::size_t>(limit) - 1} { text_.reserve(0); }

  void put(std::string_view text) {
    text_.append(head(text, room_ - text_.size()));
    count(text.size());
  }
  void pad(char byte, std::size_t width, std::size_t used) {
    if (used >= width) return;
    text_.fill(byte, std::min(width - used, room_ - text_.size()));
    count(width - used);
  }
  bool failed() const { return text_.failed(); }
  int length() const { return static_cast<int>(length_); }
  char* release() { return text_.release().release(); }

 private:
  void count(std::size_t more) { length_ = std::min<std::size_t>(length_ + more, INT_MAX); }

  Text text_;
  std::size_t room_;
  std::size_t length_ = 0;
};

// One converted value in its field: sign or base prefix, zeros, digits, blanks on one side.
void put_field(Output& out, const Spec& spec, std::string_view prefix, std::size_t zeros,
               std::string_view body) {
  const std::size_t width = static_cast<std::size_t>(spec.width);
  const std::size_t used = prefix.size() + zeros + body.size();
  if (!spec.left) out.pad(' ', width, used);
  out.put(prefix);
  out.pad('0', zeros, 0);
  out.put(body);
  if (spec.left) out.pad(' ', width, used);
}

void put_number(Output& out, const Spec& spec, std::uint64_t value, unsigned base, bool upper,
                std::string_view prefix) {
  const char* symbols = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  char digits[24];
  char* first = digits + sizeof digits;
  for (; value != 0; value /= base) *--first = symbols[value % base];
  const std::size_t count = static_cast<std::size_t>(digits + sizeof digits - first);

  // A precision gives the least number of digits and switches zero padding off; a zero of precision 0 is
  // empty.
  std::size_t least = spec.precision < 0 ? 1 : static_cast<std::size_t>(spec.precision);
  if (base == 8 && spec.alternate) least = std::max(least, count + 1);
  if (spec.precision < 0 && spec.zero && !spec.left) {
    const std::size_t width = static_cast<std::size_t>(spec.width);
    least = std::max(least, width > prefix.size() ? width - prefix.size() : 0);
  }
  put_field(out, spec, prefix, least > count ? least - count : 0, {first, count});
}

void put_signed(Output& out, const Spec& spec, std::int64_t value) {
  const char* sign = value < 0 ? "-" : spec.plus ? "+" : spec.space ? " " : "";
  const std::uint64_t magnitude =
      value < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  put_number(out, spec, magnitude, 10, false, sign);
}

// A va_list inside a class can be handed to helpers by reference whatever its type is.
struct Arguments {
  va_list list;

  std::int64_t take_signed(const Spec& spec) {
    if (spec.size == Spec::kLong) return va_arg(list, long);
    const int value = va_arg(list, int);
    return spec.size == Spec::kHalf ? static_cast<short>(value) : value;
  }
  std::uint64_t take_unsigned(const Spec& spec) {
    if (spec.size == Spec::kLong) return va_arg(list, unsigned long);
    const unsigned value = va_arg(list, unsigned);
    return spec.size == Spec::kHalf ? static_cast<unsigned short>(value) : value;
  }
  // A width or precision: digits, or * for an argument; clamped so that no sum can overflow.
  int take_count(const char*& at) {
    if (*at == '*') {
      ++at;
      return std::clamp(va_arg(list, int), -INT16_MAX, INT16_MAX);
    }
    int value = 0;
    for (; *at >= '0' && *at <= '9'; ++at) value = std::min(value * 10 + (*at - '0'), INT16_MAX);
    return value;
  }
};

Spec read_spec(const char*& at, Arguments& arguments) {
  Spec spec;
  for (;; ++at) {
    if (*at == '-')
      spec.left = true;
    else if (*at == '+')
      spec.plus = true;
    else if (*at == ' ')
      spec.space = true;
    else if (*at == '#')
      spec.alternate = true;
    else if (*at == '0')
      spec.zero = true;
    else
      break;
  }
  spec.width = arguments.take_count(at);
  if (spec.width < 0) {
    spec.left = true;
    spec.width = -spec.width;
  }
  if (*at == '.') spec.precision = arguments.take_count(++at);
  for (; *at == 'h' || *at == 'l'; ++at) spec.size = *at == 'h' ? Spec::kHalf : Spec::kLong;
  return spec;
}

// Writes one conversion; false for a letter that is none.
bool put_conversion(Output& out, char letter, const Spec& spec, Arguments& arguments) {
  switch (letter) {
    case 'd':
    case 'i':
      put_signed(out, spec, arguments.take_signed(spec));
      return true;
    case 'u':
      put_number(out, spec, arguments.take_unsigned(spec), 10, false, "");
      return true;
    case 'o':
      put_number(out, spec, arguments.take_unsigned(spec), 8, false, "");
      return true;
    case 'x':
    case 'X': {
      const std::uint64_t value = arguments.take_unsigned(spec);
      const bool upper = letter == 'X';
      put_number(out, spec, value, 16, upper, spec.alternate && value ? (upper ? "0X" : "0x") : "");
      return true;
    }
    case 'p':
      put_number(out, spec, reinterpret_cast<std::uintptr_t>(va_arg(arguments.list, void*)), 16, false, "0x");
      return true;
    case 'c': {
      const char c = static_cast<char>(va_arg(arguments.list, int));
      put_field(out, spec, "", 0, {&c, 1});
      return true;
    }
    case 's':
    case 'S': {
      const char* text = va_arg(arguments.list, const char*);
      if (!text) text = "(null)";
      const std::size_t most = spec.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(spec.precision);
      put_field(out, spec, "", 0, {text, spec.precision < 0 ? std::strlen(text) : strnlen(text, most)});
      return true;
    }
    case 'n':  // its argument is taken and nothing is written through it
      (void)va_arg(arguments.list, void*);
      return true;
    case '%':
      out.put("%");
      return true;
    default:
      return false;
  }
}

}  // namespace

int fmtValloc(char** result, int limit, const char* format, va_list arguments) {
  *result = nullptr;
  if (limit < 1) return 0;
  Output out{limit};
  Arguments values;
  va_copy(values.list, arguments);
  while (*format) {
    const std::size_t literal = std::strcspn(format, "%");
    out.put({format, literal});
    format += literal;
    if (!*format) break;
    const char* start = format++;
    const Spec spec = read_spec(format, values);
    if (*format && put_conversion(out, *format, spec, values)) {
      ++format;
    } else {
      if (*format) ++format;
      out.put({start, static_cast<std::size_t>(format - start)});
    }
  }
  va_end(values.list);
  if (out.failed()) return 0;
  const int length = out.length();
  *result = out.release();
  return length;
}

int doSystem(const char* format, ...) {
  char* formatted = nullptr;
  va_list arguments;
  va_start(arguments, format);
  const int length = fmtValloc(&formatted, kCommandLimit, format, arguments);
  va_end(arguments);
  const HeapText command{formatted};
  if (length >= kCommandLimit) console_printf("doSystem: lost data, buffer overflow\n");
  if (!command) return 0;
  console_printf("%s\n", command.get());
  return os::system(command.get());
}

}  // namespace kd
