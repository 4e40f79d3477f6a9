#pragma once

namespace kd {

// The launcher's command line: reads it, does what it asks for, prints failures.
//   returns  the exit status of the program
int command_line(int argc, char** argv);

}  // namespace kd
