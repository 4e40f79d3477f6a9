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
struct wireless_request {
  char name[16];
  void* pointer;
  std::uint16_t length;
  std::uint16_t flags;
  char rest[16 - sizeof(void*) - 4];
};
static_assert(sizeof(wireless_request) == 32);

constexpr unsigned long kEepromRequest = 0x8BE7;
constexpr unsigned long kStatusRequest = 0x8BE1;
constexpr unsigned kRepeaterStatus = 0x060B;
constexpr unsigned long kWscRequest = 0x8BEE;
constexpr unsigned kWscStatusCommand = 0x0751;

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
    wireless_request wireless{};
    copy_text(wireless.name, view_of(ifname));
    wireless.pointer = data;
    wireless.length = static_cast<std::uint16_t>(length);
    wireless.flags = static_cast<std::uint16_t>(flags);
    return os::ioctl(socket_, request, &wireless) >= 0;
  }

 private:
  int socket_;
};

struct eeprom_answer {
  enum { kNoSocket, kRefused, kAnswered } status;
  int word;
};

eeprom_answer read_eeprom(const char* offset, const char* ifname) {
  const DriverSocket driver;
  if (!driver) return {eeprom_answer::kNoSocket, -1};
  char text[4096] = {};
  copy_text(text, view_of(offset));
  if (!driver.ask(ifname, kEepromRequest, text, std::strlen(text) + 1, 0))
    return {eeprom_answer::kRefused, 0};
  text[sizeof text - 1] = '\0';

  int zero = 0, second_zero = 0;
  unsigned at = 0, word = 0;
  const int fields = std::sscanf(text, "\n[%dx%04X]:%dx%X ", &zero, &at, &second_zero, &word);
  return {eeprom_answer::kAnswered, fields == 4 ? static_cast<int>(word) : 0};
}

}  // namespace

int getEEPROM(const char* offset) {
  const eeprom_answer answer = read_eeprom(offset, "ra0");
  if (answer.status == eeprom_answer::kNoSocket) os::print("\nrtuser::error::Open socket error!\n");
  if (answer.status == eeprom_answer::kRefused) os::print("\nrtuser::error::get eeprom\n");
  return answer.word;
}

int kd_get_eeprom(const hnap_request* request, const char* offset, const char* ifname) {
  const eeprom_answer answer = read_eeprom(offset, ifname);
  if (answer.status == eeprom_answer::kNoSocket) {
    kd_hnap_printf(request, kModuleSource, __LINE__, "Error while open socket for read EEPROM !!!");
  }
  if (answer.status == eeprom_answer::kRefused) {
    kd_hnap_printf(request, kModuleSource, __LINE__, "Error while read EEPROM !!!");
  }
  return answer.word;
}

std::uint32_t RP_getRPStatus(const char* ifname) {
  const DriverSocket driver;
  std::uint32_t status = 0;
  if (!driver || !driver.ask(ifname, kStatusRequest, &status, sizeof status, kRepeaterStatus)) return 0;
  return status;
}

int getAPClientStatus() {
  const int operation_mode = nvram_number(nullptr, "OperationMode");
  const bool is_repeater =
      operation_mode == 3 || (operation_mode == 0 && nvram_number(nullptr, "apClient") == 1);
  if (!is_repeater || RP_getRPStatus("apcli0") == 0) return 0;
  // The driver has answered; what the tool prints decides nothing.
  const os::Pipe pipe{os::popen("iwconfig apcli0")};
  char text[256];
  if (pipe) os::fread(text, sizeof text, pipe.get());
  return 1;
}

std::uint32_t kd_get_wsc_status(const hnap_request* request, const char* ifname) {
  std::uint32_t status = 0;
  const DriverSocket driver;
  if (driver && driver.ask(ifname, kWscRequest, &status, sizeof status, kWscStatusCommand)) return status;
  kd_hnap_printf(request, kModuleSource, __LINE__, "ioctl error when get wsc status");
  return 0;
}

}  // namespace kd
