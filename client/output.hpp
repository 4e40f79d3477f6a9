// What every command works with: the device, and how to print.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device.hpp"
#include "terminal.hpp"

namespace hnap {

struct Context {
  Device device;
  bool json = false;
  Style style;  // of standard output
};

/// A JSON value that is made from front to back; keys keep their order.
class Json {
 public:
  static Json object();
  static Json list();
  explicit Json(const std::string& text);

  Json(Json&&) noexcept;
  Json& operator=(Json&&) noexcept;
  ~Json();

  Json& text(const char* key, const std::string& value);
  Json& number(const char* key, long value);
  Json& real(const char* key, double value);  // three places
  Json& flag(const char* key, bool value);
  Json& null(const char* key);
  Json& value(const std::string& key, Json inner);

  /// Null when the text is empty, or no decimal number.
  Json& text_or_null(const char* key, const std::string& value);
  Json& number_or_null(const char* key, const std::string& value);

  /// Appends to a list.
  void add(Json item);

  /// In a list under a key, which is made of the one value that may be there.
  void add_under(const std::string& key, Json item);
  bool has(const std::string& key) const;

  /// In ASCII; bytes that are no UTF-8 become U+FFFD. On one line or on many.
  std::string dump(bool one_line = false) const;

 private:
  struct Tree;
  Json();
  std::unique_ptr<Tree> tree_;
};

/// A list of the texts of a node's children.
Json texts_of(pugi::xml_node list);

void print(const Json& value);
void print(const std::string& line);

/// Prints lines of a name and a value, the values below each other; lines without a value are left out.
void print_fields(const std::vector<std::pair<std::string, std::string>>& fields, const Style& style);

/// A number with so many places.
std::string decimal(double value, int places);

}  // namespace hnap
