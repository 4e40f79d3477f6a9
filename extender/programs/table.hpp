// The device programs: one executable, chosen by the name that it was started with.
#ifndef KD_EXTENDER_PROGRAMS_TABLE_HPP
#define KD_EXTENDER_PROGRAMS_TABLE_HPP

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

#endif
