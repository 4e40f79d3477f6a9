// The help as data, and what is made of it: the manual page and the shells' completions.
#pragma once

#include <string>
#include <vector>

namespace hnap {

struct OptionHelp {
  std::vector<std::string> names;  // "--key", "-k"; none: an argument without a name
  std::string type;                // of its value, "FILE"; empty: it has none
  std::string description;
  bool required = false;
  bool many = false;
};

struct CommandHelp {
  std::string name, description;
  std::vector<OptionHelp> options;
  std::vector<CommandHelp> commands;
};

/// The manual page hnap(1), as troff source.
std::string manual_of(const CommandHelp& program);

/// A completion script for "bash" or "zsh".
std::string completion_of(const CommandHelp& program, const std::string& shell);

extern const char* const kExitStatuses;

}  // namespace hnap
