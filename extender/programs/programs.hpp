// The device programs, one function each (programs/table.cpp gives them their names).
#pragma once

namespace kd {

// Processes (processes.cpp).
int ps_main(int argc, char** argv);       // PID USER VSZ STAT COMMAND of every process
int killall_main(int argc, char** argv);  // killall [-SIGNAL] NAME...
int reboot_main(int argc, char** argv);   // asks the first process for a restart

// The kernel log (kernel_log.cpp).
int dmesg_main(int argc, char** argv);  // prints it; -c empties it too

// The radio driver's tools (wireless.cpp).
int iwconfig_main(int argc, char** argv);
int iwpriv_main(int argc, char** argv);

// Network tools (network.cpp).
int ifconfig_main(int argc, char** argv);
int route_main(int argc, char** argv);

// The driver's configuration and small hardware tools (device.cpp).
int ralink_init_main(int argc, char** argv);
int gpio_main(int argc, char** argv);
int internet_sh_main(int argc, char** argv);

int mtd_write_main(int argc, char** argv);  // mtd_write.cpp

// Daemons. Those of idle_daemons.cpp only exist, with a pid file where others look for one.
int idle_daemon_main(int argc, char** argv);
int kelda_nmbd_sh_main(int argc, char** argv);
int nvram_daemon_main(int argc, char** argv);    // nvram_daemon.cpp
int kd_client_list_main(int argc, char** argv);  // client_list.cpp
int radiod_main(int argc, char** argv);          // radiod.cpp

}  // namespace kd
