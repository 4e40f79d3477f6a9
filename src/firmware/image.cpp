#include "firmware/image.hpp"

#include <algorithm>
#include <cstdio>

#include "base/text.hpp"
#include "firmware/crc32.hpp"

namespace kd {

std::uint32_t image_number(std::span<const unsigned char> image, image_field field) {
  const unsigned char* bytes = image.data() + field;
  return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
         static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
}

std::uint32_t image_header_crc(std::span<const unsigned char> header) {
  unsigned char copy[kImageHeaderSize];
  std::copy_n(header.data(), kImageHeaderSize, copy);
  std::fill_n(copy + kImageHeaderCrcField, 4, static_cast<unsigned char>(0));
  return crc32(0, copy, sizeof copy);
}

ImageFault check_image_header(std::span<const unsigned char> image) {
  if (image.size() < kImageHeaderSize) return ImageFault::size;
  if (image_number(image, kImageMagicField) != kImageMagic) return ImageFault::magic;
  if (image_number(image, kImageHeaderCrcField) != image_header_crc(image)) return ImageFault::header_crc;
  if (image_number(image, kImageMakerMagicField) != kMakerMagic) return ImageFault::maker_magic;
  return ImageFault::none;
}

bool board_fits(std::uint32_t device_board, std::uint32_t image_board) {
  return device_board == kUnknownBoard || image_board == kAnyBoard || device_board == image_board;
}

ImageFault check_image_data(std::span<const unsigned char> image) {
  const std::uint32_t size = image_number(image, kImageDataSizeField);
  // More than was uploaded cannot have the right checksum. Bytes behind the data are nobody's concern.
  if (size > image.size() - kImageHeaderSize) return ImageFault::data_crc;
  const bool matches =
      crc32(0, image.data() + kImageHeaderSize, size) == image_number(image, kImageDataCrcField);
  return matches ? ImageFault::none : ImageFault::data_crc;
}

bool read_kernel_partition(const char* line, std::uint32_t& size) {
  // As wide as the line: a long column never shifts the ones behind it.
  char device[512], hex_size[512], erase_size[512], name[512];
  if (std::sscanf(line, "%511s %511s %511s %511s", device, hex_size, erase_size, name) != 4) return false;
  if (view_of(name) != "\"Kernel\"") return false;
  size = hex_to_uint(hex_size);
  return true;
}

}  // namespace kd
