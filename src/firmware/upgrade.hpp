// From an uploaded image to a written flash partition. A program in the background writes it.
#pragma once

#include <cstddef>
#include <span>

#include "firmware/image.hpp"

namespace kd {

// Checks an image and writes it to flash. Blocks until that is done.
//   returns  0 when the flash writer reported 100 percent, -1 otherwise
int kd_hnap_firmware_upgrade(std::span<const unsigned char> image);

// 1 when the image is whole, meant for this board and fits its partition, else 0.
//   source  "/var/boardid", "/proc/mtd"
int kd_hnap_is_valid_firmware(std::span<const unsigned char> image);

// The same with the reason: the first check that fails.
ImageFault check_image(std::span<const unsigned char> image);

// Starts the writer for the image file, which is `length` bytes long, and waits for it: without an end while
// it reports anything below 100, for about 30 seconds when it reports nothing.
//   returns  the last progress: 100 or more when the image is written
int kd_hnap_program_firmware(std::size_t length);

// Percentage that the writer reported last; -1 while there is no progress file.
int kd_get_firmware_upgrade_progress();

}  // namespace kd
