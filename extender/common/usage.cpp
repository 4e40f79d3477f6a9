#include "common/usage.hpp"

#include <algorithm>

namespace kd {

std::string usage_sentence(std::string text, const std::string& error,
                           const std::vector<std::string>& unknown) {
  const auto is = [&](const char* part) { return text.find(part) != std::string::npos; };
  if (error == "ArgumentMismatch") {
    const bool twice = is("At Most") || is("Expected");
    text.resize(std::min(text.find(':'), text.size()));
    text += twice ? " stands twice" : " needs a value";
  }
  if (error == "ConversionError" && is("Could not convert: ")) {
    text = text.substr(text.find(": ") + 2);
    text.resize(std::min(text.find(" = "), text.size()));
    text += " takes no value, or another one";
  }
  if (error == "ExcludesError") text += ": leave one of them out";
  if (is(" not expected: ")) {
    const bool one = is("argument was");
    text = "\"" + text.substr(text.find(": ") + 2) + "\"" +
           (one ? " is no command or option here" : " are no commands or options here");
  }
  if (error == "RequiredError") {
    const bool command = is("ubcommand");
    text = command ? (unknown.empty() ? "a command is missing" : "\"" + unknown.front() + "\" is no command")
                   : text.substr(0, text.find(" is required")) + " is missing";
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == '.')) text.pop_back();
  return text;
}

}  // namespace kd
