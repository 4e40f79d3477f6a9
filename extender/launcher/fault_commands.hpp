// `extender fault`: switches faults on and off; each is a line of radio/faults.
#pragma once

#include <string>
#include <vector>

namespace kd {

// Each throws Failure, and changes nothing, when a word is wrong.
int list_faults(const std::string& state);
int add_fault(const std::string& state, const std::string& kind, const std::vector<std::string>& fields);
// Numbers as list_faults shows them, or kinds; none: all.
int clear_faults(const std::string& state, const std::vector<std::string>& which);

// The kinds with a line each, for a help text.
std::string fault_help();

}  // namespace kd
