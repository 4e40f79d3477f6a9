// The fuzz targets, the extender that they ask, and what has to hold however hostile the input was. Whatever
// does not hold ends the process, which is what a fuzzer looks for.
#pragma once

#include <optional>
#include <span>

#include "support/server.hpp"
#include "support/setups.hpp"

namespace kd::fuzz {

// Ends the process when `holds` is false.
void demand(bool holds, const char* what, std::string_view detail = {});

// Text that no input may get into a command that the module runs. The dictionary knows it.
inline constexpr std::string_view kTaint = "$(taint)";

// On it every action finds what it reads. At its end nothing may be open, and no command or path may have
// been formed by the input.
class Extender {
 public:
  Extender();
  ~Extender();

  // Answers a request, demands a complete answer, and ends its connection.
  std::string serve(const test::Request& request);
  // The same for an action without arguments.
  void ask(const char* action) {
    demand(serve(test::soap(action)).starts_with("<?xml "), "an answer", action);
  }

  test::Device device;

 private:
  std::optional<test::Server> server_;  // from the first request on
};

// A kind of untrusted input: a row in targets.cpp, and seeds/<name>/ with seeds named after what they hold.
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
