// From the body of an upload to a written flash partition.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "base/hnap_request.hpp"
#include "firmware/image.hpp"

namespace kd {

// Takes the image out of the request's body, checks it and writes it to flash. Blocks until that is done.
// From the decoding on the image has replaced the body in `content`.
//   returns  0 when the flash writer reported 100 percent, -1 otherwise
int kd_hnap_firmware_upgrade(hnap_request& request);

// 1 when the image is whole, meant for this board and fits its partition, else 0.
//   source  "/var/boardid", "/proc/mtd"
int kd_hnap_is_valid_firmware(const hnap_request* request, const unsigned char* image, std::uint32_t length);

// The same with the reason: the first check that fails.
image_fault check_image(const hnap_request* request, std::span<const unsigned char> image);

// The base64 text of an upload: what lies between the tags; none when one of them is missing or they stand in
// the wrong order.
std::optional<std::string_view> find_image_text(std::string_view body);

}  // namespace kd
