// The firmware image: a 64-byte header of the boot loader, every number big-endian, then the data. The maker
// uses the end of the header's name field for a mark and a board number of his own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kd {

// Offsets of the fields that matter; the others (load address, processor, ...) are the boot loader's own.
enum image_field : std::size_t {
  kImageMagicField = 0,
  kImageHeaderCrcField = 4,  // over the header with this field zero
  kImageDataSizeField = 12,  // without the header
  kImageDataCrcField = 24,
  kImageNameField = 32,
  kImageMakerMagicField = 52,
  kImageBoardField = 56,
  kImageHeaderSize = 64,
};
inline constexpr std::size_t kImageNameSize = 20;
inline constexpr std::uint32_t kImageMagic = 0x27051956;
inline constexpr std::uint32_t kMakerMagic = 0x4B525F46;  // "KR_F"
inline constexpr std::uint32_t kAnyBoard = 0;             // in an image
inline constexpr std::uint32_t kUnknownBoard = 0xFFFFFF;  // on a device: takes every image

// Why an image is refused.
enum class ImageFault { none, size, magic, header_crc, maker_magic, board, data_crc, partition };

// The big-endian number at a field's offset.
std::uint32_t image_number(std::span<const unsigned char> image, image_field field);
// The checksum that belongs into the header.
//   header  kImageHeaderSize bytes or more
std::uint32_t image_header_crc(std::span<const unsigned char> header);

// The checks that need nothing but the image. The first takes an image of any size, the others one that
// passed it.
ImageFault check_image_header(std::span<const unsigned char> image);
bool board_fits(std::uint32_t device_board, std::uint32_t image_board);
ImageFault check_image_data(std::span<const unsigned char> image);

// Whether a line of the flash partition table describes the firmware's partition.
//   size  in bytes; written only when it does
bool read_kernel_partition(const char* line, std::uint32_t& size);

}  // namespace kd
