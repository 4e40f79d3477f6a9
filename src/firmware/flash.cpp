#include "firmware/flash.hpp"

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

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
