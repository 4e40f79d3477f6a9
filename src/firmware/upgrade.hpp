// From an uploaded image to a written flash partition.
#pragma once

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

}  // namespace kd
