// What the fuzz targets share: an extender for one execution, the ways to ask it, and what has to hold
// however hostile the input was. Whatever does not hold ends the process, which is what a fuzzer looks for.
#pragma once

#include <string>
#include <string_view>

#include "support/device.hpp"
#include "support/host_double.hpp"

namespace kd::fuzz {

// Ends the process when `holds` is false.
void demand(bool holds, const char* what, std::string_view detail = {});

// Text that no input may get into a command that the module runs. The dictionary knows it.
inline constexpr std::string_view kTaint = "$(taint)";

// A started extender on which every action finds what it reads. At its end nothing may be open, and no
// command or path may have been formed by the input.
class Extender {
 public:
  Extender();
  ~Extender();
  Extender(const Extender&) = delete;
  Extender& operator=(const Extender&) = delete;

  // Answers a request, demands a complete answer, and ends its connection.
  void serve(host::Request& request);
  // The same for an action without arguments; its reply.
  std::string ask(std::string_view action);

  test::Device device;
};

// A POST of the administrator's.
//   soap_action  the whole header
host::Request post(std::string_view soap_action, std::string_view body);

// Takes what lies before the next "\n--\n" off the front of the input: one of the texts that a seed holds.
std::string_view take_part(std::string_view& input);

}  // namespace kd::fuzz
