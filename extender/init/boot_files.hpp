// The files that a boot makes in the fresh root.
#pragma once

#include <string>

#include "common/record.hpp"

namespace kd {

// Makes the directories, links, /etc, the server's configuration, the board id and the flash table.
// Throws Failure.
void make_boot_files(const Record& arguments);

// One console line about the image that this boot runs.
std::string firmware_line();

}  // namespace kd
