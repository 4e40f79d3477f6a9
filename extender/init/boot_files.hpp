// The files that a boot makes in the fresh root.
#ifndef KD_EXTENDER_BOOT_FILES_HPP
#define KD_EXTENDER_BOOT_FILES_HPP

#include <string>

#include "radio/record.hpp"

namespace kd {

// A file of the scenario, or of `home` when the scenario has none of that name.
std::string scenario_file(const std::string& name);

// Makes the directories, links, /etc, the server's configuration, the board id and the flash table.
// Throws Failure.
void make_boot_files(const radio::Record& arguments);

// One console line about the image that this boot runs.
std::string firmware_line();

}  // namespace kd

#endif
