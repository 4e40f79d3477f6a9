// call: any action with any arguments, and its reply as text, JSON or XML.
#include <algorithm>
#include <array>

#include "commands/commands.hpp"
#include "failure.hpp"
#include "files.hpp"
#include "text.hpp"

namespace hnap {
namespace {

constexpr std::size_t kLongestFile = 16U << 20;
constexpr int kDeepest = 32;  // levels of a reply that are shown

// Elements that come in lists: always arrays in JSON, however many there are.
constexpr std::array<std::string_view, 8> kListed = {"string",          "WirelessNetwork", "WirelessNetwork2",
                                                     "ConnectedClient", "MACInfo",         "NetworkStats",
                                                     "SecurityInfo",    "TaskExtension"};

[[noreturn]] void wrong(const std::string& line) {
  throw Failure(Exit::usage, line);
}

Arguments arguments_of(const std::vector<std::string>& words) {
  Arguments arguments;
  for (const std::string& word : words) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) wrong("\"" + visible(word) + "\" is not of the form name=value");
    arguments.emplace_back(word.substr(0, equals), word.substr(equals + 1));
  }
  return arguments;
}

std::string checked_fragment(const std::string& path) {
  std::string xml = contents_of(path, kLongestFile);
  if (const std::string flaw = xml_text_flaw(xml); !flaw.empty()) wrong(path + ": " + flaw);
  pugi::xml_document document;
  const pugi::xml_parse_result parsed =
      document.load_buffer(xml.data(), xml.size(), pugi::parse_fragment, pugi::encoding_utf8);
  if (!parsed)
    wrong(path + ": not well-formed at byte " + std::to_string(parsed.offset) + ": " + parsed.description());
  return xml;
}

bool has_elements(pugi::xml_node node) {
  return static_cast<bool>(
      node.find_child([](pugi::xml_node inner) { return inner.type() == pugi::node_element; }));
}

void print_tree(pugi::xml_node node, int depth) {
  for (const pugi::xml_node inner : node.children()) {
    if (inner.type() != pugi::node_element) continue;
    const std::string text = has_elements(inner) ? "" : visible(text_of(inner));
    print(std::string(static_cast<std::size_t>(2 * depth), ' ') + visible(local_name(inner)) +
          (text.empty() ? ":" : ": " + text));
    if (depth < kDeepest) print_tree(inner, depth + 1);
  }
}

Json as_json(pugi::xml_node node, int depth) {
  if (!has_elements(node)) return Json(text_of(node));
  Json object = Json::object();
  for (const pugi::xml_node inner : node.children()) {
    if (inner.type() != pugi::node_element || depth >= kDeepest) continue;
    const std::string name(local_name(inner));
    if (object.has(name) || std::find(kListed.begin(), kListed.end(), name) != kListed.end())
      object.add_under(name, as_json(inner, depth + 1));
    else
      object.value(name, as_json(inner, depth + 1));
  }
  return object;
}

}  // namespace

void call(Context& context, const CallCommand& command) {
  if (!command.xml_file.empty() + !command.body_file.empty() + !command.arguments.empty() > 1)
    wrong("name=value, --xml and --body exclude each other");
  if (command.name_space.find_first_of("\"\\ \t\r\n") != std::string::npos ||
      !is_xml_text(command.name_space))
    wrong("a namespace holds neither blanks nor quotes");
  CallOptions options;
  options.name_space = command.name_space;
  if (!command.xml_file.empty()) options.arguments_xml = checked_fragment(command.xml_file);
  std::string body = envelope(command.action, arguments_of(command.arguments), options);
  if (!command.body_file.empty()) body = contents_of(command.body_file, kLongestFile);

  const Reply reply = context.device.call_with_body(command.action, body, options);
  if (command.raw) {
    std::fputs(visible_lines(reply.http.body).c_str(), stdout);
  } else if (context.json) {
    print(as_json(reply.response, 0));
  } else {
    print_tree(reply.response, 0);
  }
}

}  // namespace hnap
