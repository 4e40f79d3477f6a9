// One program under many names: the launcher, the device's first process and all device programs.
#include <cstring>
#include <string>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "init/init.hpp"
#include "launcher/command_line.hpp"
#include "programs/program_table.hpp"

namespace {

// Every device program leaves its command line in the journal, so that people and tests see what the module
// started, in order.
void record_start(int argc, char** argv, const char* name) {
  std::string line = name;
  for (int i = 1; i < argc; ++i) line += std::string(" ") + argv[i];
  kd::append_file(kd::layout::kJournal, line + "\n");
}

}  // namespace

int main(int argc, char** argv) {
  const char* slash = argc > 0 ? std::strrchr(argv[0], '/') : nullptr;
  const char* name = slash != nullptr ? slash + 1 : argc > 0 ? argv[0] : "";
  if (std::strcmp(name, "init") == 0) return kd::init_main(argc, argv);
  const kd::Program* program = kd::find_program(name);
  if (program == nullptr) return kd::command_line(argc, argv);
  record_start(argc, argv, name);
  return program->main(argc, argv);
}
