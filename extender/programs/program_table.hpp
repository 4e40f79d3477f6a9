// The device programs: one executable, chosen by the name that it was started with.
#pragma once

#include <span>
#include <string_view>

namespace kd {

struct Program {
  const char* name;
  int (*main)(int argc, char** argv);
};

std::span<const Program> programs();

// The program of that name; null when there is none.
const Program* find_program(std::string_view name);

}  // namespace kd
