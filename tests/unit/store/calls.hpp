// The system as the store sees it: one of its calls fails, takes half of what it should, or is its process's
// last. The linker puts these functions before libc's (--wrap in CMakeLists.txt).
#pragma once

#include <string>
#include <vector>

namespace kd::test {

struct Fault {
  enum Kind { fail, cut, kill } kind = fail;
  int error = 0;  // errno of a failure; a cut write takes half, and the next one fails with it, or kills if 0
  int at = -1;  // which call, from 0: to fail, of all; to cut, of the writes; to kill, of all but allocations
};

// Lets the calls from here on meet the fault.
void befall(Fault fault);

// What was called until the fault was met: names, "close written" for a file that was open for writing.
struct Calls {
  std::vector<std::string> made;
  bool met = false;
};
// Ends it.
Calls recover();

constexpr int kKilled = 99;

// Runs `work` in a child process under a fault: what it returns, or kKilled.
int in_child(int (*work)(), Fault fault = {});

}  // namespace kd::test
