#include "launcher/exchange.hpp"

#include <algorithm>
#include <cstdlib>

namespace kd {
namespace {

constexpr std::size_t kLongestValue = 200;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same_text(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

bool contains(std::string_view text, std::string_view part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(),
                     [](char x, char y) { return lower(x) == lower(y); }) != text.end();
}

// The elements of a document one after the other, without regard to what is well-formed.
class Tags {
 public:
  explicit Tags(std::string_view text) : text_(text) {}

  struct Tag {
    std::string_view name;  // without prefix
    bool closes = false;
    bool is_empty = false;
    std::size_t begin = 0;  // its place in the document
    std::size_t end = 0;
  };

  // False at the end.
  bool next(Tag& tag) {
    for (;;) {
      const std::size_t open = text_.find('<', at_);
      const std::size_t close = open == std::string_view::npos ? open : text_.find('>', open);
      if (close == std::string_view::npos) return false;
      at_ = close + 1;
      std::string_view inside = text_.substr(open + 1, close - open - 1);
      if (inside.empty() || inside[0] == '?' || inside[0] == '!') continue;
      tag.begin = open;
      tag.end = at_;
      tag.closes = inside[0] == '/';
      if (tag.closes) inside.remove_prefix(1);
      tag.is_empty = !inside.empty() && inside.back() == '/';
      inside = inside.substr(0, inside.find_first_of(" \t\r\n/"));
      const std::size_t colon = inside.find(':');
      tag.name = colon == std::string_view::npos ? inside : inside.substr(colon + 1);
      return true;
    }
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
};

std::string unescaped(std::string_view text) {
  constexpr std::pair<std::string_view, char> kEntities[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
  std::string out;
  while (!text.empty()) {
    std::size_t taken = 1;
    char c = text.front();
    for (const auto& [entity, meaning] : kEntities) {
      if (text.substr(0, entity.size()) != entity) continue;
      c = meaning;
      taken = entity.size();
      break;
    }
    out += c;
    text.remove_prefix(taken);
  }
  return out;
}

std::string shown(std::string_view name, std::string_view value) {
  if (is_secret(name)) return value.empty() ? "" : "***";
  if (value.size() > kLongestValue) return "(" + std::to_string(value.size()) + " bytes)";
  return unescaped(value);
}

void read_body(std::string_view body, SeenRequest& request) {
  Tags tags(body);
  Tags::Tag tag;
  bool in_body = false;
  bool in_action = false;
  std::string_view open;  // the argument whose end is looked for
  std::size_t value = 0;  // where its value begins
  while (tags.next(tag)) {
    if (!in_action) {
      if (in_body && !tag.closes) {
        in_action = true;
        if (request.action.empty()) request.action = tag.name;
        if (tag.is_empty) return;
      }
      in_body = in_body || (same_text(tag.name, "Body") && !tag.closes);
    } else if (!tag.closes && open.empty()) {
      if (tag.is_empty) {
        request.arguments.emplace_back(tag.name, "");
      } else {
        open = tag.name;
        value = tag.end;
      }
    } else if (tag.closes && open == tag.name) {
      request.arguments.emplace_back(open, shown(open, body.substr(value, tag.begin - value)));
      open = {};
    } else if (tag.closes && open.empty()) {
      return;  // of the action
    }
  }
  if (!open.empty())
    request.arguments.emplace_back(open, is_secret(open) ? "***" : shown(open, body.substr(value)) + "...");
}

std::string_view without_blanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

}  // namespace

bool is_secret(std::string_view name) {
  if (contains(name, "password") || contains(name, "psk") || same_text(name, "pin")) return true;
  // "Key", "Key1Str1", "ApCliKey1Str", "LastKey1Str1", and no "DefaultKeyID".
  return same_text(name, "key") || (contains(name, "key") && contains(name, "str"));
}

std::size_t end_of_head(std::string_view bytes) {
  const std::size_t end = bytes.find("\r\n\r\n");
  const std::size_t plain = bytes.find("\n\n");
  if (end == std::string_view::npos && plain == std::string_view::npos) return std::string_view::npos;
  return end < plain ? end + 4 : plain + 2;
}

std::string_view header_value(std::string_view head, std::string_view name) {
  for (std::size_t at = head.find('\n'); at != std::string_view::npos; at = head.find('\n', at)) {
    ++at;
    const std::string_view line = head.substr(at, head.find('\n', at) - at);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && same_text(line.substr(0, colon), name)) {
      return without_blanks(line.substr(colon + 1));
    }
  }
  return {};
}

SeenRequest read_request(std::string_view bytes) {
  SeenRequest request;
  const std::string_view line = bytes.substr(0, bytes.find_first_of("\r\n"));
  const std::size_t blank = std::min(line.find(' '), line.size());
  request.method = line.substr(0, blank);
  if (blank < line.size()) request.path = line.substr(blank + 1, line.find(' ', blank + 1) - blank - 1);

  const std::size_t head = end_of_head(bytes);
  std::string_view action = header_value(bytes.substr(0, head), "SOAPAction");
  while (!action.empty() && action.front() == '"') action.remove_prefix(1);
  while (!action.empty() && action.back() == '"') action.remove_suffix(1);
  request.action = action.substr(action.find_last_of("/#") + 1);
  if (head != std::string_view::npos) read_body(bytes.substr(head), request);
  return request;
}

SeenReply read_reply(std::string_view bytes) {
  SeenReply reply;
  const std::size_t blank = bytes.find(' ');
  if (bytes.substr(0, 5) == "HTTP/" && blank != std::string_view::npos) {
    reply.status = std::atoi(std::string(bytes.substr(blank + 1, 3)).c_str());
  }
  const std::size_t head = end_of_head(bytes);
  if (head == std::string_view::npos) return reply;
  const std::string_view body = bytes.substr(head);
  Tags tags(body);
  Tags::Tag tag;
  std::size_t value = 0;
  while (tags.next(tag)) {
    constexpr std::string_view kSuffix = "Result";
    const bool is_result =
        tag.name.size() > kSuffix.size() && tag.name.substr(tag.name.size() - kSuffix.size()) == kSuffix;
    if (is_result && tag.closes) {
      reply.result = unescaped(body.substr(value, tag.begin - value));
      break;
    }
    value = tag.end;
  }
  return reply;
}

}  // namespace kd
