// The device's first process: makes the device's files and network, starts its programs, keeps the console,
// and ends the boot when it is told to restart.
#pragma once

namespace kd {

// Arguments are fields: boot, port, listeners, server, server_modules, module, ready_delay
// (launcher/device_view.cpp).
int init_main(int argc, char** argv);

}  // namespace kd
