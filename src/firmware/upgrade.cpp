#include "firmware/upgrade.hpp"

#include <cstdio>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

constexpr const char* kUploadedImagePath = "/var/hnapUploadedFirmware";

std::uint32_t read_device_board() {
  char line[7];
  if (read_first_line("/var/boardid", line)) return hex_to_uint(line);
  KD_LOG_MODULE("upload.cgi: can't get /var/boardid, don't check compare f/w board id.");
  return kUnknownBoard;
}

ImageFault check_board(std::uint32_t image_board) {
  const std::uint32_t device_board = read_device_board();
  if (device_board == kUnknownBoard) {
    KD_LOG_MODULE("Board ID in EEPROM is FFFFFF, don't need check compare f/w board id.");
  } else if (image_board == kAnyBoard) {
    KD_LOG_MODULE("upload.cgi: F/W board id is 000000, don't need check eeprom.");
  }
  if (board_fits(device_board, image_board)) return ImageFault::none;
  KD_LOG_MODULE("upload.cgi: We can't match. F/W board id is 0x%08X, eeprom board id is 0x%08X", image_board,
                device_board);
  return ImageFault::board;
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
ImageFault check_partition(std::uint32_t data_size) {
  if (read_partition_size() >= data_size) return ImageFault::none;
  KD_LOG_MODULE("*** Warning: the image file(0x%x) is bigger than Kernel MTD partition.", data_size);
  return ImageFault::partition;
}

bool write_image_file(std::span<const unsigned char> image) {
  os::File file{os::fopen(kUploadedImagePath, "w+")};
  if (!file) return false;
  const std::string_view bytes{reinterpret_cast<const char*>(image.data()), image.size()};
  if (write_and_close(std::move(file), {bytes})) return true;
  os::system("rm /var/hnapUploadedFirmware");
  return false;
}

constexpr int kNoProgress = -1;
constexpr int kDone = 100;
constexpr int kMostStalls = 15;  // passes in a row without a progress file
constexpr unsigned kPassSeconds = 2;

// A value that stands still is no stall: the writer is there, and erasing takes its time.
int follow_writer() {
  int progress = kNoProgress;
  for (int stalls = 0; stalls < kMostStalls;) {
    progress = kd_get_firmware_upgrade_progress();
    if (progress == kNoProgress) {
      ++stalls;
    } else {
      KD_LOG_MODULE("%d%%", progress);
      stalls = 0;
    }
    os::sleep(kPassSeconds);
    if (progress >= kDone) {
      KD_LOG_MODULE("DONE");
      return progress;
    }
  }
  KD_LOG_MODULE("UPRGADE FAILE");
  return progress;
}

}  // namespace

int kd_hnap_firmware_upgrade(std::span<const unsigned char> image) {
  if (!kd_hnap_is_valid_firmware(image) || !write_image_file(image)) return -1;
  if (kd_hnap_program_firmware(image.size()) >= 100) return 0;
  os::system("rm /var/hnapUploadedFirmware");
  return -1;
}

int kd_hnap_is_valid_firmware(std::span<const unsigned char> image) {
  [[maybe_unused]] constexpr const char* kMessages[] = {"",
                                                        "The size of image file is not valid",
                                                        "Bad Magic Number",
                                                        "Bad Checksum",
                                                        "Bad Kelda Magic Number",
                                                        "",
                                                        "CRC32 fail",
                                                        ""};  // what is empty was said with its numbers
  const ImageFault fault = check_image(image);
  KD_LOG_MODULE("%s", kMessages[static_cast<int>(fault)]);
  return fault == ImageFault::none;
}

ImageFault check_image(std::span<const unsigned char> image) {
  ImageFault fault = check_image_header(image);
  if (fault == ImageFault::none) fault = check_board(image_number(image, kImageBoardField));
  if (fault == ImageFault::none) fault = check_image_data(image);
  if (fault == ImageFault::none) fault = check_partition(image_number(image, kImageDataSizeField));
  return fault;
}

int kd_hnap_program_firmware(std::size_t length) {
  char command[256];
  std::snprintf(command, sizeof command, "/bin/mtd_write -o 0 -l %d write %s Kernel&",
                static_cast<int>(length), kUploadedImagePath);
  os::system("gpio l 6 5 5 132 0 1&");
  KD_LOG_MODULE("Burning firmware with command \"%s\" ....", command);
  os::system(command);
  os::sleep(kPassSeconds);
  return follow_writer();
}

int kd_get_firmware_upgrade_progress() {
  char line[8];
  return read_first_line("/var/upgrade_progress", line) ? text_to_int(line) : kNoProgress;
}

}  // namespace kd
