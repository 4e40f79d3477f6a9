// The sandbox of one boot: namespaces, a private root and the host's files that are bound into it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace kd {

// A file or directory of the host that the device sees.
struct Source {
  std::string host;
  std::string inside;  // absolute path in the device
  bool writable = false;
};

// The user of the host whom the device's root stands for.
struct Identity {
  uid_t uid;
  gid_t gid;
};

// The caller, or for root the user behind sudo, else the nobody user: never root itself, who could write
// /proc/sys and read the host's secrets through the read-only mounts.
Identity device_identity();

struct Boot {
  std::vector<Source> sources;
  Identity identity;
  std::vector<std::string> init_arguments;
  std::vector<int> descriptors;  // from kConsoleLogFd on
};

// A step of the sandbox that the system refused.
struct Refusal {
  std::string step;
  int error;
};

// Clones the first process of a boot. It makes its root, then becomes init; a step refused inside arrives
// as a Report. Throws Refusal for a step refused outside.
//   returns  the process id as the host sees it
pid_t start_boot(const Boot& boot);

// What a person can do about a refused step: step, error text, likely cause, what to allow.
std::string explain(const Refusal& refusal);

}  // namespace kd
