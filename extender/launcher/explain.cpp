// Why the system refused the sandbox, in words that lead to the mend.
#include <cerrno>
#include <cstring>
#include <string>

#include "common/files.hpp"
#include "launcher/sandbox.hpp"

namespace kd {
namespace {

// The first word of a kernel setting; empty when this kernel does not have it.
std::string setting(const char* name) {
  const std::string text = read_file_or_empty(std::string("/proc/sys/") + name);
  return text.substr(0, text.find_first_of(" \t\n"));
}

std::string advice(const Refusal& refusal) {
  if (setting("user/max_user_namespaces") == "0") {
    return "user namespaces are switched off here (user.max_user_namespaces is 0).\n"
           "Allow them: sysctl -w user.max_user_namespaces=10000";
  }
  if (refusal.error == ENOSPC || refusal.error == EUSERS) {
    return "a limit on namespaces is reached (user.max_*_namespaces, or 32 levels of nesting).\n"
           "Raise it: sysctl -w user.max_user_namespaces=10000 (and see /proc/sys/user/)";
  }
  if (setting("kernel/unprivileged_userns_clone") == "0") {
    return "user namespaces are kept from ordinary users (kernel.unprivileged_userns_clone is 0).\n"
           "Allow them: sysctl -w kernel.unprivileged_userns_clone=1";
  }
  if (setting("kernel/apparmor_restrict_unprivileged_userns") == "1") {
    return "AppArmor restricts user namespaces (kernel.apparmor_restrict_unprivileged_userns is 1).\n"
           "Allow them: sysctl -w kernel.apparmor_restrict_unprivileged_userns=0, or an AppArmor profile\n"
           "with \"userns,\" for this program";
  }
  if (refusal.step == "mount proc") {
    return "/proc is partly masked, as in a container.\n"
           "Run the container with an unmasked /proc (docker: --security-opt systempaths=unconfined)";
  }
  if (refusal.error == ENOSYS) {
    return "the kernel, or a container's filter, does not know this call; Linux 5.12 or newer is needed.";
  }
  if (refusal.error == EPERM || refusal.error == EACCES) {
    return "a container's system-call filter or a security module forbids it.\n"
           "Run the container with it allowed (docker: --security-opt seccomp=unconfined\n"
           "--security-opt apparmor=unconfined --security-opt systempaths=unconfined)";
  }
  return "the kernel was built without something that the sandbox needs (user, mount, pid, network, ipc and\n"
         "uts namespaces, tmpfs), or a path is missing.";
}

}  // namespace

std::string explain(const Refusal& refusal) {
  return "the sandbox cannot be made, and the device never runs without it.\n  step:   " + refusal.step +
         "\n  error:  " + std::strerror(refusal.error) + "\n  likely: " + advice(refusal);
}

}  // namespace kd
