// Restarts of the device, and of what it would not work without.
#pragma once

namespace kd {

// Restarts the device at once, with a reply still on its way; takes a second.
void restart_device();

// Restarts the device by its own command; used when a connection ends.
void reboot_device();

// Asks the configuration daemon for the factory defaults, and gives it 5 seconds whether it runs or not.
void kd_hnap_reset_device();

// Starts the network anew.
void reload_network();

// Makes a chosen upstream network take effect: finds it, commits the store and starts the radio anew. Takes 2
// seconds and the commands' own time.
//   caller  is named on the console
void reload_wireless(const char* caller);

// Ends the daemons beside the radio: LEDs, names, channel choice, WPS.
void kill_daemon();

// Makes room for a firmware image: nothing but the web server is needed from here on. What is stopped comes
// back with the next start only.
void stop_daemons_for_upgrade();

}  // namespace kd
