#include "platform/markers.hpp"

#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/os.hpp"
#include "platform/shell.hpp"

namespace kd {

void wait_for_site_survey() {
  while (os::exists("/tmp/scanning")) {
    os::sleep(1);
    console_printf("Postpone HNAP request since device under scanning\n");
  }
}

void postpone_site_survey() {
  os::system("echo 1 > /tmp/postponeSiteSurvey");
}

void release_site_survey() {
  os::system("rm -f /tmp/postponeSiteSurvey");
}

int read_too_large_mark() {
  char line[10];
  return read_first_line("/tmp/request_size_too_long", line) ? text_to_int(line) : 0;
}

bool is_device_started() {
  return os::File{os::fopen("/var/is_dev_ready", "r")} != nullptr;
}

void mark_wireless_reload() {
  os::system(os::exists("/tmp/SetWirelessClientSettings") ? "echo 2 > /tmp/SetWirelessClientSettings"
                                                          : "echo 1 > /tmp/SetWirelessClientSettings");
}

bool write_user_file(const char* password) {
  os::File file{os::fopen("/etc/lighttpd.user", "w+")};
  return file && write_and_close(std::move(file), {"admin:", password});
}

}  // namespace kd
