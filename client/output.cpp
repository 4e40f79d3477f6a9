#include "output.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "table.hpp"
#include "text.hpp"

namespace hnap {

void print(const Json& value) {
  print(value.dump());
}

void print(const std::string& line) {
  std::printf("%s\n", line.c_str());
}

void print_fields(const std::vector<std::pair<std::string, std::string>>& fields, const Style& style) {
  int widest = 0;
  for (const auto& [name, value] : fields)
    if (!value.empty()) widest = std::max(widest, columns_of(name));
  for (const auto& [name, value] : fields) {
    if (value.empty()) continue;
    std::printf("%s%*s%s\n", coloured(name, Colour::strong, style).c_str(), widest - columns_of(name) + 2, "",
                value.c_str());
  }
}

std::string decimal(double value, int places) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", places, value);
  return text.data();
}

Json texts_of(pugi::xml_node list) {
  Json texts = Json::list();
  for (const pugi::xml_node node : list.children()) texts.add(Json(text_of(node)));
  return texts;
}

}  // namespace hnap
