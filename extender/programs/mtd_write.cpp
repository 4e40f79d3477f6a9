// mtd_write -o 0 -l LENGTH write FILE PARTITION: the flash writer. It reports its progress in a file and
// keeps a record of the image, which the next boot names on the console.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/files.hpp"
#include "common/layout.hpp"
#include "common/record.hpp"
#include "common/scenario.hpp"
#include "common/settings.hpp"
#include "programs/programs.hpp"
#include "radio/surroundings.hpp"

namespace kd {
namespace {

constexpr const char* kProgress = "/var/upgrade_progress";
constexpr std::size_t kHeaderSize = 64;
constexpr int kSteps = 50;
constexpr int kStallStep = 21;

std::string hexadecimal(const std::string& image, std::size_t at) {
  std::string text = "0x";
  char digits[3];
  for (std::size_t i = at; i < at + 4; ++i) {
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(static_cast<unsigned char>(image[i])));
    text += digits;
  }
  return text;
}

bool record_image(const std::string& image) {
  Record record;
  const std::string name = image.substr(32, 20);
  record.set("name", name.substr(0, name.find('\0')));
  record.set("board", hexadecimal(image, 56));
  record.set("size", std::to_string(image.size()));
  record.set("crc", hexadecimal(image, 24));
  return replace_file(std::string(layout::kFlash) + "/firmware", format_record(record) + "\n");
}

bool report_progress(int step) {
  return replace_file(kProgress, std::to_string(step * 100 / kSteps) + "\n");
}

int fail(const std::string& why) {
  std::fprintf(stderr, "mtd_write: %s\n", why.c_str());
  return 1;
}

}  // namespace

int mtd_write_main(int argc, char** argv) {
  if (argc != 8 || std::strcmp(argv[1], "-o") != 0 || std::strcmp(argv[3], "-l") != 0 ||
      std::strcmp(argv[5], "write") != 0) {
    return fail("usage: mtd_write -o OFFSET -l LENGTH write FILE PARTITION");
  }
  const std::string image = read_file_or_empty(argv[6]);
  if (image.size() < kHeaderSize || image.size() != std::strtoul(argv[4], nullptr, 10)) {
    return fail(std::string(argv[6]) + " does not have the length " + argv[4]);
  }
  Settings settings = read_settings(scenario_file("settings"));
  for (const Fault& fault : radio::load_faults()) {
    if (fault.is("flash-fails")) settings.upgrade = "fail";
    if (fault.is("flash-stalls")) settings.upgrade = "stall";
  }
  if (settings.upgrade == "fail") return fail("flash error");

  const auto pause = static_cast<useconds_t>(settings.upgrade_time / kSteps) * 1000U;
  for (int step = 0; step <= kSteps; ++step) {
    if (step == kSteps && !record_image(image)) return fail("the image cannot be kept");
    if (!report_progress(step)) return fail(std::string(kProgress) + " cannot be written");
    if (settings.upgrade == "stall" && step == kStallStep) {
      for (;;) ::pause();
    }
    if (step < kSteps) ::usleep(pause);
  }
  return 0;
}

}  // namespace kd
