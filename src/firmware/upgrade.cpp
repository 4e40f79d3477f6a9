#include "firmware/upgrade.hpp"

#include "base/base64.hpp"
#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "firmware/flash.hpp"
#include "platform/lines.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

const char* message_of(image_fault fault) {
  switch (fault) {
    case image_fault::size:
      return "The size of image file is not valid";
    case image_fault::magic:
      return "Bad Magic Number";
    case image_fault::header_crc:
      return "Bad Checksum";
    case image_fault::maker_magic:
      return "Bad Kelda Magic Number";
    case image_fault::data_crc:
      return "CRC32 fail";
    default:
      return nullptr;  // said with its numbers where it was found
  }
}

std::uint32_t read_device_board(const hnap_request* request) {
  char line[7];
  if (read_first_line("/var/boardid", line)) return hex_to_uint(line);
  kd_hnap_printf(request, kModuleSource, __LINE__,
                 "upload.cgi: can't get /var/boardid, don't check compare f/w board id.");
  return kUnknownBoard;
}

image_fault check_board(const hnap_request* request, std::uint32_t image_board) {
  const std::uint32_t device_board = read_device_board(request);
  if (device_board == kUnknownBoard) {
    kd_hnap_printf(request, kModuleSource, __LINE__,
                   "Board ID in EEPROM is FFFFFF, don't need check compare f/w board id.");
  } else if (image_board == kAnyBoard) {
    kd_hnap_printf(request, kModuleSource, __LINE__,
                   "upload.cgi: F/W board id is 000000, don't need check eeprom.");
  }
  if (board_fits(device_board, image_board)) return image_fault::none;
  kd_hnap_printf(request, kModuleSource, __LINE__,
                 "upload.cgi: We can't match. F/W board id is 0x%08X, eeprom board id is 0x%08X", image_board,
                 device_board);
  return image_fault::board;
}

// Without a partition table, or without a line for the firmware, only an empty image fits.
std::uint32_t read_partition_size() {
  const os::File table{os::fopen("/proc/mtd", "r")};
  std::uint32_t size = 0;
  if (!table) {
    os::print_error("mtd support not enable?");
    return size;
  }
  char line[512];
  while (!read_piece(table.get(), line).empty() && !read_kernel_partition(line, size)) {
  }
  return size;
}

// The header is not counted: it takes its place in the partition all the same.
image_fault check_partition(const hnap_request* request, std::uint32_t data_size) {
  if (read_partition_size() >= data_size) return image_fault::none;
  kd_hnap_printf(request, kModuleSource, __LINE__,
                 "*** Warning: the image file(0x%x) is bigger than Kernel MTD partition.", data_size);
  return image_fault::partition;
}

// Gives the body up for the image of `length` bytes at its start. False, with nothing left, when memory is
// short.
bool keep_start_of_content(hnap_request& request, std::size_t length) {
  unsigned char* body = request.content.release();
  unsigned char* image = length > 0 ? static_cast<unsigned char*>(std::realloc(body, length)) : nullptr;
  if (!image) std::free(body);
  request.content.reset(image);
  request.content_len = image ? static_cast<std::uint32_t>(length) : 0;
  if (image || length == 0) return true;
  kd_hnap_printf(&request, kModuleSource, __LINE__, "ERROR:allocate memory for base 64 decode fail");
  return false;
}

// Replaces the body by the image in it. Decoding in place and giving the rest back keeps one copy of an
// upload that takes a good part of the device's memory.
bool decode_content(hnap_request& request) {
  if (!request.content) return false;
  const auto text =
      find_image_text({reinterpret_cast<const char*>(request.content.get()), request.content_len});
  if (!text) return false;
  kd_hnap_printf(&request, kModuleSource, __LINE__, "Got the frimware image from HNAP message ..");
  kd_hnap_printf(&request, kModuleSource, __LINE__,
                 "The size of firmware image before base64 decode is %d bytes",
                 static_cast<int>(text->size()));
  kd_hnap_printf(&request, kModuleSource, __LINE__, "allocate %d bytes buffer for base 64 decode",
                 static_cast<int>(text->size()) + 1);
  const std::size_t decoded = b64_decode(*text, request.content.get(), request.content_len);
  kd_hnap_printf(&request, kModuleSource, __LINE__,
                 "The size of firmware image after base64 decode is %d bytes", static_cast<int>(decoded));
  return keep_start_of_content(request, decoded);
}

bool write_image_file(const hnap_request& request) {
  os::File file{os::fopen(kUploadedImagePath, "w+")};
  if (!file) return false;
  const bool written =
      os::fwrite(request.content.get(), request.content_len, file.get()) == request.content_len;
  // A full disk may show only when the last bytes are written out.
  if (os::fclose(file.release()) == 0 && written) return true;
  os::system("rm /var/hnapUploadedFirmware");
  return false;
}

}  // namespace

int kd_hnap_firmware_upgrade(hnap_request& request) {
  if (!decode_content(request)) return -1;
  if (!kd_hnap_is_valid_firmware(&request, request.content.get(), request.content_len)) return -1;
  if (!write_image_file(request)) return -1;
  if (kd_hnap_program_firmware(request) >= 100) return 0;
  os::system("rm /var/hnapUploadedFirmware");
  return -1;
}

int kd_hnap_is_valid_firmware(const hnap_request* request, const unsigned char* image, std::uint32_t length) {
  const image_fault fault = check_image(request, {image, length});
  if (const char* message = message_of(fault)) {
    kd_hnap_printf(request, kModuleSource, __LINE__, "%s", message);
  }
  return fault == image_fault::none;
}

image_fault check_image(const hnap_request* request, std::span<const unsigned char> image) {
  image_fault fault = check_image_header(image);
  if (fault == image_fault::none) fault = check_board(request, image_number(image, kImageBoardField));
  if (fault == image_fault::none) fault = check_image_data(image);
  if (fault == image_fault::none) fault = check_partition(request, image_number(image, kImageDataSizeField));
  return fault;
}

std::optional<std::string_view> find_image_text(std::string_view body) {
  constexpr std::string_view kOpening = "<Base64Image>";
  constexpr std::string_view kClosing = "</Base64Image>";
  const std::size_t opening = body.find(kOpening);
  if (opening == std::string_view::npos) return std::nullopt;
  const std::string_view text = tail(body, opening + kOpening.size());
  const std::size_t closing = text.find(kClosing);
  if (closing == std::string_view::npos) return std::nullopt;
  return head(text, closing);
}

}  // namespace kd
