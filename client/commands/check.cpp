// check: calls every action that changes nothing and compares the answers with what the protocol says.
#include <algorithm>
#include <cctype>
#include <string_view>

#include "actions.hpp"
#include "commands/commands.hpp"
#include "failure.hpp"
#include "table.hpp"
#include "text.hpp"

namespace hnap {
namespace {

constexpr std::size_t kMostProblems = 5;  // that are told of one action

using Problems = std::vector<std::string>;

// The nodes that a path leads to from any of some nodes; `path` is left with its last step.
std::vector<pugi::xml_node> parents_of(pugi::xml_node response, std::string_view& path) {
  std::vector<pugi::xml_node> nodes = {response};
  for (std::size_t slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/')) {
    std::string_view step = path.substr(0, slash);
    if (step.ends_with('*')) step.remove_suffix(1);
    path.remove_prefix(slash + 1);
    std::vector<pugi::xml_node> next;
    for (const pugi::xml_node node : nodes)
      for (const pugi::xml_node inner : node.children())
        if (local_name(inner) == step) next.push_back(inner);
    nodes = std::move(next);
  }
  return nodes;
}

bool is_number_in(const std::string& text, std::string_view range) {
  const std::optional<long> number = whole_number(text);
  if (!number) return false;
  const std::size_t dots = range.find("..");
  if (dots == std::string_view::npos) return true;
  return *number >= whole_number(range.substr(0, dots)).value_or(0) &&
         *number <= whole_number(range.substr(dots + 2)).value_or(0);
}

bool is_one_of(const std::string& text, std::string_view choices) {
  for (;;) {
    const std::size_t bar = std::min(choices.find('|'), choices.size());
    if (choices.substr(0, bar) == text) return true;
    if (bar == choices.size()) return false;
    choices.remove_prefix(bar + 1);
  }
}

// "0" in a pattern stands for a decimal digit, "x" for a hexadecimal one.
bool has_form(std::string_view text, std::string_view pattern) {
  return text.size() == pattern.size() &&
         std::equal(text.begin(), text.end(), pattern.begin(), [](char actual, char wanted) {
           const auto byte = static_cast<unsigned char>(actual);
           if (wanted == '0') return std::isdigit(byte) != 0;
           if (wanted == 'x') return std::isxdigit(byte) != 0;
           return actual == wanted;
         });
}

bool fits(const std::string& text, const Field& field) {
  switch (field.kind) {
    case Kind::filled:
      return !text.empty();
    case Kind::number:
      return is_number_in(text, field.values);
    case Kind::boolean:
      return text == "true" || text == "false";
    case Kind::choice:
      return is_one_of(text, field.values);
    case Kind::mac:
      return text.empty() || has_form(text, "xx:xx:xx:xx:xx:xx");
    case Kind::date:
      return text.empty() || has_form(text, "0000-00-00T00:00:00");
    case Kind::any:
    case Kind::group:
      return true;
  }
  return true;
}

void check_field(pugi::xml_node response, const Field& field, Problems& problems) {
  std::string_view name = field.path;
  const std::vector<pugi::xml_node> parents = parents_of(response, name);
  const bool list = name.ends_with('*');
  if (list) name.remove_suffix(1);
  for (const pugi::xml_node parent : parents) {
    long found = 0;
    for (const pugi::xml_node node : parent.children()) {
      if (local_name(node) != name) continue;
      ++found;
      if (const std::string text = text_of(node); !fits(text, field))
        problems.push_back(std::string(name) + " is \"" + visible(text.substr(0, 60)) + "\"");
    }
    if (!list && found != 1)
      problems.push_back(std::string(name) +
                         (found ? " comes " + std::to_string(found) + " times" : " is missing"));
  }
}

struct TextWalker : pugi::xml_tree_walker {
  Problems& problems;
  explicit TextWalker(Problems& found) : problems(found) {}
  bool for_each(pugi::xml_node& node) override {
    if (const std::string flaw = xml_text_flaw(node.value()); !flaw.empty())
      problems.push_back("the text of " + visible(local_name(node.parent())) + " is or has " + flaw);
    return true;
  }
};

Problems problems_of(Reply& reply) {
  if (const std::string flaw = parse(reply); !flaw.empty() && reply.http.status == 200) return {flaw};
  Problems problems;
  TextWalker walker(problems);
  reply.document.traverse(walker);
  if (reply.http.status != 200) problems.push_back("HTTP status " + std::to_string(reply.http.status));
  if (local_name(reply.response) != reply.action + "Response")
    problems.push_back("the answer is " + visible(local_name(reply.response)));
  if (reply.response && !reply.response.attribute("xmlns") &&
      std::string_view(reply.response.name()).find(':') == std::string_view::npos)
    problems.push_back("the answer has no namespace");
  if (reply.result != "OK") problems.push_back("the result is \"" + visible(reply.result) + "\"");
  if (!problems.empty()) return problems;
  for (const Field& field : fields_of(reply.action)) check_field(reply.response, field, problems);
  return problems;
}

Json as_json(const std::string& action, double seconds, const Problems& problems) {
  Json texts = Json::list();
  for (const std::string& problem : problems) texts.add(Json(problem));
  Json json = Json::object();
  json.text("action", action).real("seconds", seconds).value("problems", std::move(texts));
  return json;
}

struct Verdict {
  std::string action;
  double seconds = 0;
  Problems problems;
};

Verdict check_action(Device& device, const std::string& action) {
  Arguments arguments;
  if (action == "DownloadSpeedTest") arguments = {{"Bytes", "1000"}, {"BufferSize", "1024"}};
  try {
    Reply reply = device.fetch(action, envelope(action, arguments));
    return {action, reply.http.seconds, problems_of(reply)};
  } catch (const Failure& failure) {
    return {action, 0, {failure.what()}};
  }
}

void print_problems(const Verdict& verdict) {
  for (std::size_t index = 0; index < std::min(verdict.problems.size(), kMostProblems); ++index)
    print(verdict.action + ": " + verdict.problems[index]);
  if (verdict.problems.size() > kMostProblems)
    print(verdict.action + ": and " + std::to_string(verdict.problems.size() - kMostProblems) + " more");
}

bool is_listed(const Reply& identity, std::string_view action) {
  for (const pugi::xml_node node : child(identity.response, "SOAPActions").children())
    if (text_of(node).ends_with("/" + std::string(action))) return true;
  return false;
}

}  // namespace

void check(Context& context) {
  const Reply identity = context.device.identity();
  // With a wrong password every line would be the same.
  context.device.call("IsDeviceReady");
  std::vector<Verdict> verdicts;
  {
    Progress progress;
    for (const ActionInfo& action : known_actions()) {
      if (!action.safe || !is_listed(identity, action.name)) continue;
      progress.show(std::string("Checking ") + action.name);
      verdicts.push_back(check_action(context.device, action.name));
    }
  }
  Json list = Json::list();
  Table table({{"ACTION", 0, false, 32}, {"TIME", 1, true}, {"VERDICT"}});
  long bad = 0;
  for (const Verdict& verdict : verdicts) {
    const bool good = verdict.problems.empty();
    bad += good ? 0 : 1;
    list.add(as_json(verdict.action, verdict.seconds, verdict.problems));
    table.add({{verdict.action},
               {decimal(verdict.seconds * 1000, 0) + " ms"},
               {good ? "ok" : "wrong", good ? Colour::good : Colour::bad}});
  }
  if (context.json) {
    print(list);
  } else {
    table.print(context.style, stdout);
    for (const Verdict& verdict : verdicts) print_problems(verdict);
  }
  if (bad > 0)
    throw Failure(Exit::refused,
                  std::to_string(bad) + " of " + std::to_string(verdicts.size()) + " answers are wrong");
}

}  // namespace hnap
