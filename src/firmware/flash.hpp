// Writing an image to the flash partition. A program in the background does it; this follows its progress.
#pragma once

#include "base/hnap_request.hpp"

namespace kd {

inline constexpr const char* kUploadedImagePath = "/var/hnapUploadedFirmware";

// Starts the writer for the image file, which is as long as the request's content, and waits for it: without
// an end while it reports anything below 100, for about 30 seconds when it reports nothing.
//   returns  the last progress: 100 or more when the image is written
int kd_hnap_program_firmware(const hnap_request& request);

// Percentage that the writer reported last; -1 while there is no progress file.
int kd_get_firmware_upgrade_progress();

}  // namespace kd
