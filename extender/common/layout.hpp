// Where things are inside the device. The module and the device programs know only these paths.
#pragma once

namespace kd::layout {

// Bound in from the host.
constexpr const char* kProgram = "/bin/extender";        // this program; every device program links to it
constexpr const char* kServerDirectory = "/opt/server";  // the web server's modules, ours among them
constexpr const char* kLibraryDirectory = "/opt/lib";    // libnvram.so and the preload library
constexpr const char* kPreloadLibrary = "/opt/lib/libkd_preload.so";
constexpr const char* kScenario = "/opt/scenario";           // the scenario in use, read-only
constexpr const char* kHomeScenario = "/opt/scenario.home";  // what a scenario leaves out is taken from here
constexpr const char* kFlash = "/etc/nvram";                 // the configuration store, kept over boots
constexpr const char* kRadio = "/var/radio";                 // the surroundings, edited by people and tests
constexpr const char* kWeb = "/web";
constexpr const char* kPagesConfig = "/opt/pages.conf";        // how the server gives out the pages below it
constexpr const char* kMoreServerConfig = "/opt/server.conf";  // behind the web server's own, if there is one

// Made at each boot.
constexpr const char* kConsole = "/dev/console";
constexpr const char* kReady = "/var/is_dev_ready";
constexpr const char* kBoardId = "/var/boardid";
constexpr const char* kMtd = "/var/virtual/mtd";                 // what /proc/mtd shows
constexpr const char* kKernelLog = "/var/virtual/kmsg";          // what dmesg prints
constexpr const char* kDriverConfig = "/var/virtual/driver";     // the store as the driver last saw it
constexpr const char* kLinkEvents = "/var/virtual/link_events";  // FIFO from ifconfig to radiod
constexpr const char* kJournal = "/var/virtual/journal";         // every device program that was started

constexpr const char* kPath = "/bin:/usr/sbin:/usr/bin";

}  // namespace kd::layout
