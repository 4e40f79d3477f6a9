// The one file that knows the JSON library: it is slow to compile.
#include <cmath>
#include <nlohmann/json.hpp>

#include "output.hpp"
#include "text.hpp"

namespace hnap {

struct Json::Tree {
  Tree() = default;
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  nlohmann::ordered_json value = nlohmann::ordered_json::object();
};

Json::Json() : tree_(std::make_unique<Tree>()) {}
Json::Json(const std::string& text) : Json() {
  tree_->value = text;
}
Json::Json(Json&&) noexcept = default;
Json& Json::operator=(Json&&) noexcept = default;
Json::~Json() = default;

Json Json::object() {
  return {};
}

Json Json::list() {
  Json json;
  json.tree_->value = nlohmann::ordered_json::array();
  return json;
}

Json& Json::text(const char* key, const std::string& value) {
  tree_->value[key] = value;
  return *this;
}

Json& Json::number(const char* key, long value) {
  tree_->value[key] = value;
  return *this;
}

Json& Json::real(const char* key, double value) {
  tree_->value[key] = std::round(value * 1000) / 1000;
  return *this;
}

Json& Json::flag(const char* key, bool value) {
  tree_->value[key] = value;
  return *this;
}

Json& Json::null(const char* key) {
  tree_->value[key] = nullptr;
  return *this;
}

Json& Json::value(const std::string& key, Json inner) {
  tree_->value[key] = std::move(inner.tree_->value);
  return *this;
}

Json& Json::text_or_null(const char* key, const std::string& value) {
  return value.empty() ? null(key) : text(key, value);
}

Json& Json::number_or_null(const char* key, const std::string& value) {
  const std::optional<long> known = whole_number(value);
  return known ? number(key, *known) : null(key);
}

void Json::add(Json item) {
  tree_->value.push_back(std::move(item.tree_->value));
}

bool Json::has(const std::string& key) const {
  return tree_->value.contains(key);
}

void Json::add_under(const std::string& key, Json item) {
  nlohmann::ordered_json& there = tree_->value[key];
  if (!there.is_array()) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    if (!there.is_null()) list.push_back(std::move(there));
    there = std::move(list);
  }
  there.push_back(std::move(item.tree_->value));
}

std::string Json::dump(bool one_line) const {
  return tree_->value.dump(one_line ? -1 : 2, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace hnap
