#include "platform/radio.hpp"

#include <cstdint>
#include <cstring>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

// The driver's private requests use the layout of the kernel's wireless extensions: the name, then a union
// that begins with pointer, length and flags. Written out here because the kernel's header clashes with
// libc's.
struct WirelessRequest {
  char name[16];
  void* pointer;
  std::uint16_t length;
  std::uint16_t flags;
  char rest[16 - sizeof(void*) - 4];
};
static_assert(sizeof(WirelessRequest) == 32);

constexpr unsigned long kEepromRequest = 0x8BE7;
constexpr unsigned long kStatusRequest = 0x8BE1;
constexpr unsigned kRepeaterStatus = 0x060B;

class DriverSocket {
 public:
  DriverSocket() : socket_{os::socket()} {}
  ~DriverSocket() {
    if (socket_ >= 0) os::close(socket_);
  }
  DriverSocket(const DriverSocket&) = delete;
  DriverSocket& operator=(const DriverSocket&) = delete;

  explicit operator bool() const { return socket_ >= 0; }

  bool ask(const char* ifname, unsigned long request, void* data, std::size_t length, unsigned flags) const {
    WirelessRequest wireless{};
    copy_text(wireless.name, view_of(ifname));
    wireless.pointer = data;
    wireless.length = static_cast<std::uint16_t>(length);
    wireless.flags = static_cast<std::uint16_t>(flags);
    return os::ioctl(socket_, request, &wireless) >= 0;
  }

 private:
  int socket_;
};

// `report` is told of a failure, and whether the socket had been opened.
int read_eeprom(const char* offset, const char* ifname, void (*report)(bool opened)) {
  const DriverSocket driver;
  if (!driver) {
    report(false);
    return -1;
  }
  char text[4096] = {};
  copy_text(text, view_of(offset));
  if (!driver.ask(ifname, kEepromRequest, text, std::strlen(text) + 1, 0)) {
    report(true);
    return 0;
  }
  text[sizeof text - 1] = '\0';
  int zero = 0, second_zero = 0;
  unsigned at = 0, word = 0;
  const int fields = std::sscanf(text, "\n[%dx%04X]:%dx%X ", &zero, &at, &second_zero, &word);
  return fields == 4 ? static_cast<int>(word) : 0;
}

}  // namespace

int getEEPROM(const char* offset) {
  return read_eeprom(offset, "ra0", [](bool opened) {
    os::print(opened ? "\nrtuser::error::get eeprom\n" : "\nrtuser::error::Open socket error!\n");
  });
}

int kd_get_eeprom(const char* offset, const char* ifname) {
  return read_eeprom(offset, ifname, []([[maybe_unused]] bool opened) {
    KD_LOG_MODULE("%s",
                  opened ? "Error while read EEPROM !!!" : "Error while open socket for read EEPROM !!!");
  });
}

std::uint32_t RP_getRPStatus(const char* ifname) {
  const DriverSocket driver;
  std::uint32_t status = 0;
  if (!driver || !driver.ask(ifname, kStatusRequest, &status, sizeof status, kRepeaterStatus)) return 0;
  return status;
}

int getAPClientStatus() {
  const int operation_mode = nvram_number("OperationMode");
  const bool is_repeater = operation_mode == 3 || (operation_mode == 0 && nvram_number("apClient") == 1);
  if (!is_repeater || RP_getRPStatus("apcli0") == 0) return 0;
  // The driver has answered; what the tool prints decides nothing.
  const os::Pipe pipe{os::popen("iwconfig apcli0")};
  char text[256];
  if (pipe) os::fread(text, sizeof text, pipe.get());
  return 1;
}

}  // namespace kd
