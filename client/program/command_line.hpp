// The command line.
#pragma once

namespace hnap {

/// Runs what the words say and gives the exit status. Throws Failure.
int run_command_line(int argc, char** argv);

}  // namespace hnap
