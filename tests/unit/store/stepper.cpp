#include "stepper.hpp"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>

namespace kd::test {
namespace {

constexpr int kNoTrace = 99;
#ifdef SYS_mmap2
constexpr long kMap = SYS_mmap2;
#else
constexpr long kMap = SYS_mmap;
#endif

// The end itself, and the heap's and the sanitizer's own calls: their failure is another test's business.
bool can_fail(long call) {
  constexpr long kNever[] = {SYS_exit_group, SYS_exit,        kMap,               SYS_munmap,
                             SYS_mprotect,   SYS_brk,         SYS_mremap,         SYS_madvise,
                             SYS_futex,      SYS_sigaltstack, SYS_rt_sigprocmask, SYS_gettid};
  return std::find(std::begin(kNever), std::end(kNever), call) == std::end(kNever);
}

std::size_t descriptors(pid_t pid) {
  const std::filesystem::directory_iterator list("/proc/" + std::to_string(pid) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(list), end(list)));
}

#ifdef __x86_64__
template <class Change>
void change_registers(pid_t pid, Change change) {
  user_regs_struct registers;
  ptrace(PTRACE_GETREGS, pid, nullptr, &registers);
  change(registers);
  ptrace(PTRACE_SETREGS, pid, nullptr, &registers);
}
void skip_call(pid_t pid) {
  change_registers(pid, [](auto& registers) { registers.orig_rax = ~0ULL; });
}
void set_result(pid_t pid, long result) {
  change_registers(pid, [=](auto& registers) { registers.rax = static_cast<unsigned long long>(result); });
}
void halve_third_argument(pid_t pid) {
  change_registers(pid, [](auto& registers) { registers.rdx /= 2; });
}
#else
void skip_call(pid_t) {}
void set_result(pid_t, long) {}
void halve_third_argument(pid_t) {}
#endif

// The parent's side: decides at each stop of the child.
class Stepper {
 public:
  Stepper(pid_t pid, Fault fault) : pid_(pid), fault_(fault), at_start_(descriptors(pid)) {
    outcome_.traced = true;
  }

  Outcome run();

 private:
  void entered(long call);
  void left(bool failed);
  void end() { ::kill(pid_, SIGKILL); }

  pid_t pid_;
  Fault fault_;
  std::size_t at_start_;
  Outcome outcome_;
  std::size_t counted_ = 0;
  bool pending_ = false;   // the fault is in the running call
  bool cut_done_ = false;  // the next write fails
};

void Stepper::entered(long call) {
  const bool counted = call == SYS_write || !counts_writes(fault_);
  const bool here = counted && counted_ == fault_.call;
  if (counted) ++counted_;
  outcome_.calls.push_back(call);
  if (call == SYS_exit_group) outcome_.descriptors_left = descriptors(pid_) - at_start_;
  if (cut_done_ && call == SYS_write) {
    cut_done_ = false;
    pending_ = true;
    skip_call(pid_);
    return;
  }
  if (!here) return;
  switch (fault_.kind) {
    case Fault::none:
      return;
    case Fault::kill_before:
      outcome_.reached = true;
      end();
      return;
    case Fault::kill_after:
      pending_ = outcome_.reached = true;
      return;
    case Fault::fail:
      if (!can_fail(call)) return;
      pending_ = outcome_.reached = true;
      // A failing close() has closed all the same.
      if (call != SYS_close) skip_call(pid_);
      return;
    case Fault::cut:
    case Fault::cut_and_kill:
      pending_ = outcome_.reached = true;
      halve_third_argument(pid_);
      return;
  }
}

void Stepper::left(bool failed) {
  if (!pending_) return;
  pending_ = false;
  switch (fault_.kind) {
    case Fault::kill_after:
    case Fault::cut_and_kill:
      end();
      return;
    case Fault::cut:
      if (!failed && counted_ == fault_.call + 1) {
        cut_done_ = true;
        return;
      }
      set_result(pid_, -fault_.error);
      return;
    case Fault::fail:
      set_result(pid_, -fault_.error);
      return;
    default:
      return;
  }
}

Outcome Stepper::run() {
  int signal = 0;
  for (;;) {
    if (ptrace(PTRACE_SYSCALL, pid_, nullptr, signal) != 0) end();
    int status = 0;
    if (::waitpid(pid_, &status, 0) != pid_) return outcome_;
    if (!WIFSTOPPED(status)) {
      outcome_.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      outcome_.past_end = counted_ <= fault_.call;
      return outcome_;
    }
    signal = WSTOPSIG(status) == (SIGTRAP | 0x80) ? 0 : WSTOPSIG(status);
    if (signal != 0) continue;
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof info, &info);
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) entered(static_cast<long>(info.entry.nr));
    if (info.op == PTRACE_SYSCALL_INFO_EXIT) left(info.exit.is_error != 0);
  }
}

}  // namespace

bool can_change_calls() {
#ifdef __x86_64__
  return true;
#else
  return false;
#endif
}

int run_undisturbed(const std::function<int()>& work) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(work());
  int status = 0;
  return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Outcome run_stepwise(const std::function<int()>& work, Fault fault) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(kNoTrace);
    ::raise(SIGSTOP);
    ::_exit(work());
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) return {};
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  return Stepper(pid, fault).run();
}

}  // namespace kd::test
