// How the device's first process tells the launcher why it ended.
#ifndef KD_EXTENDER_EXIT_STATUS_HPP
#define KD_EXTENDER_EXIT_STATUS_HPP

namespace kd {

constexpr int kInitRestart = 42;       // the device restarts: boot it again
constexpr int kInitServerFailed = 43;  // the web server ended again and again

}  // namespace kd

#endif
