// Completion scripts for bash and zsh, made of the command line.
#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "actions.hpp"
#include "help.hpp"

namespace hnap {
namespace {

// What a value of that type may be; empty when anything may.
std::string words_for(const std::string& type) {
  if (type == "KIND") return "open wep wpa wpa2 wpa-auto";
  if (type == "SHELL") return "bash zsh";
  std::string words;
  if (type == "ACTION")
    for (const ActionInfo& action : known_actions())
      words += (words.empty() ? "" : " ") + std::string(action.name);
  return words;
}

void append(std::string& text, std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts) text += part;
}

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

struct Bash {
  std::string paths, replies, values;
  std::vector<std::string> shared;

  void add(const CommandHelp& command, const std::string& path) {
    std::vector<std::string> words;
    bool files = false;
    for (const OptionHelp& option : command.options) {
      words.insert(words.end(), option.names.begin(), option.names.end());
      if (!option.names.empty() && !option.type.empty()) add_value(option);
      if (!option.names.empty()) continue;
      files = files || option.type == "FILE";
      if (!words_for(option.type).empty()) words.push_back(words_for(option.type));
    }
    if (path.empty())
      shared = words;
    else
      words.insert(words.end(), shared.begin(), shared.end());
    for (const CommandHelp& inner : command.commands) {
      const std::string below = path + "/" + inner.name;
      words.push_back(inner.name);
      append(paths, {"      ", below, ") path=", below, " ;;\n"});
      add(inner, below);
    }
    replies +=
        "    '" + path + "') words='" + joined(words, " ") + "'" + (files ? " files=yes" : "") + " ;;\n";
  }

  void add_value(const OptionHelp& option) {
    const std::string source = option.type == "FILE" ? "-f" : "-W '" + words_for(option.type) + "'";
    values += "    " + joined(option.names, "|") + ") COMPREPLY=($(compgen " + source +
              " -- \"$current\")); return ;;\n";
  }
};

std::string bash(const CommandHelp& program) {
  Bash script;
  script.add(program, "");
  return "# bash completion for hnap\n_hnap() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} path= word words= files=\n"
         "  case ${COMP_WORDS[COMP_CWORD-1]} in\n" +
         script.values +
         "  esac\n"
         "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
         "    case $path/$word in\n" +
         script.paths +
         "    esac\n  done\n"
         "  case $path in\n" +
         script.replies +
         "  esac\n"
         "  COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
         "  if [ -n \"$files\" ]; then COMPREPLY+=($(compgen -f -- \"$current\")); fi\n"
         "}\ncomplete -o filenames -F _hnap hnap\n";
}

// In a description zsh takes these for its own.
std::string plain(std::string text) {
  std::replace(text.begin(), text.end(), '[', '(');
  std::replace(text.begin(), text.end(), ']', ')');
  std::erase(text, '\'');
  std::string result;
  for (const char character : text)
    result += character == ':' ? std::string("\\:") : std::string(1, character);
  return result;
}

std::string zsh_value(const std::string& type) {
  if (type == "FILE") return ":" + type + ":_files";
  const std::string words = words_for(type);
  return ":" + plain(type) + ":" + (words.empty() ? "" : "(" + words + ")");
}

std::string zsh_options(const CommandHelp& command) {
  std::string text;
  for (const OptionHelp& option : command.options) {
    const std::string value = option.type.empty() ? "" : zsh_value(option.type);
    if (option.names.empty()) append(text, {" '", option.many ? "*" : "", value, "'"});
    for (const std::string& name : option.names)
      append(text, {" '", name, "[", plain(option.description), "]", value, "'"});
  }
  return text;
}

// A function for every command; one with commands of its own calls theirs.
std::string zsh_functions(const CommandHelp& command, const std::string& function,
                          const std::string& shared) {
  std::string text, list, cases;
  for (const CommandHelp& inner : command.commands) {
    const std::string below = function + "_" + inner.name;
    text += zsh_functions(inner, below, shared);
    append(list, {" '", inner.name, ":", plain(inner.description), "'"});
    append(cases, {"    ", inner.name, ") ", below, " ;;\n"});
  }
  const std::string own = function == "_hnap" ? "" : zsh_options(command);
  text += function + "() {\n";
  if (command.commands.empty()) return text + "  _arguments" + own + shared + "\n}\n";
  return text + "  local state line\n  local -a commands=(" + list + ")\n  _arguments -C" + own + shared +
         " '1: :->command' '*:: :->rest'\n  case $state in\n  command) _describe command commands ;;\n" +
         "  rest) case $line[1] in\n" + cases + "    esac ;;\n  esac\n}\n";
}

}  // namespace

std::string completion_of(const CommandHelp& program, const std::string& shell) {
  if (shell == "bash") return bash(program);
  return "#compdef hnap\n" + zsh_functions(program, "_hnap", zsh_options(program)) + "_hnap \"$@\"\n";
}

}  // namespace hnap
