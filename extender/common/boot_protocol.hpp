// What the launcher and the device's first process agree on.
#pragma once

namespace kd {

// Descriptors that init finds at fixed numbers.
constexpr int kListenerFd = 3;
constexpr int kConsoleLogFd = 4;
constexpr int kStatusFd = 5;    // write end: one Report
constexpr int kLifelineFd = 6;  // read end: at its end of file the launcher is gone

// What a booting device tells its launcher.
struct Report {
  enum class Kind : int { ready, sandbox_refused } kind;
  int error;
  char step[120];
};

// Exit statuses of init besides 1, a failure that the console explains.
constexpr int kInitRestart = 42;       // the device restarts: boot it again
constexpr int kInitServerFailed = 43;  // the web server ended again and again

}  // namespace kd
