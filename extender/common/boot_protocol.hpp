// What the launcher and the device's first process agree on.
#pragma once

namespace kd {

// Descriptors that init finds at fixed numbers.
constexpr int kConsoleLogFd = 3;
constexpr int kStatusFd = 4;    // write end: one Report
constexpr int kLifelineFd = 5;  // read end: at its end of file the launcher is gone
constexpr int kObserverFd = 6;  // what the web server does goes there (preload/observer.h)
constexpr int kSwitchFd = 7;    // one byte of memory: whether the launcher takes the clients' connections
constexpr int kFirstListenerFd =
    8;  // as many as the argument `listeners` says; the last one for the launcher

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
