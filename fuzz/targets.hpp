// One row for each kind of untrusted input. To add one: write its row, and put seeds into seeds/<name>/,
// named after what they hold.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace kd::fuzz {

class Extender;

struct Target {
  const char* name;
  // What of the device the input takes the place of, part by part: a file, or what a command prints. A part
  // ends with a line "--".
  std::vector<const char*> places;
  void (*run)(Extender& extender, std::string_view input);
};
std::span<const Target> targets();

// Ends the process when the target does not keep its promises.
void run(const Target& target, std::string_view input);

}  // namespace kd::fuzz
