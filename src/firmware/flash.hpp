// Writing an image to the flash partition. A program in the background does it; this follows its progress.
#pragma once

#include <cstddef>

namespace kd {

inline constexpr const char* kUploadedImagePath = "/var/hnapUploadedFirmware";

// Starts the writer for the image file, which is `length` bytes long, and waits for it: without an end while
// it reports anything below 100, for about 30 seconds when it reports nothing.
//   returns  the last progress: 100 or more when the image is written
int kd_hnap_program_firmware(std::size_t length);

// Percentage that the writer reported last; -1 while there is no progress file.
int kd_get_firmware_upgrade_progress();

}  // namespace kd
