// Runs a function in a child process, system call by system call.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kd::test {

// What befalls the child at one of its system calls, counted from 0; the last two count its writes only.
struct Fault {
  enum Kind { none, kill_before, kill_after, fail, cut, cut_and_kill } kind = none;
  std::size_t call = 0;
  int error = 0;  // errno for `fail`; a cut write takes half and the next write fails with it
};

inline bool counts_writes(const Fault& fault) {
  return fault.kind == Fault::cut || fault.kind == Fault::cut_and_kill;
}

struct Outcome {
  bool traced = false;               // false: this system does not let a process trace its child
  bool reached = false;              // the call of the fault was made, and is one that can take the fault
  bool past_end = false;             // the child made fewer calls
  int status = -1;                   // the child's exit status; -1 when it was killed
  std::size_t descriptors_left = 0;  // open at its end beyond those at its start
  std::vector<long> calls;           // numbers of the system calls, in order
};

// Runs `work` in a child, which exits with its result.
Outcome run_stepwise(const std::function<int()>& work, Fault fault = {});

// The same without tracing: the child's exit status, or -1.
int run_undisturbed(const std::function<int()>& work);

// Whether this machine's registers are known, so that a call can be failed or cut.
bool can_change_calls();

}  // namespace kd::test
