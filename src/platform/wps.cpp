#include "platform/wps.hpp"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "platform/shell.hpp"

namespace kd {
namespace {

constexpr const char* kIdle = "IDLE";
constexpr const char* kWalkTimeout = "ERROR_WALK_TIMEOUT";
constexpr const char* kSessionTimeout = "ERROR_SESSION_TIMEOUT";

constexpr const char* kWpsctlPidFile = "/var/run/wpsctl.pid";
constexpr const char* kProgressFile = "/var/wps_progress";
constexpr const char* kPinFile = "/var/run_wps_pin";  // present while a PIN session runs

// The decimal number at the start of a file; 0 when there is none.
int read_number(const char* path) {
  const os::File file{os::fopen(path, "r")};
  if (!file) return 0;
  char text[129] = "";
  const std::size_t length = os::fread(text, sizeof text - 1, file.get());
  return text_to_int(std::string_view{text, length});
}

void signal_process(int process, int signal) {
  if (process > 0) os::kill(process, signal);
}

// A mode that nobody knows counts as one.
bool is_access_point() {
  const int mode = nvram_number("OperationMode");
  const int eth_convert = nvram_number("ethConvert");
  const int ap_client = nvram_number("apClient");
  const bool is_other = !mode && !eth_convert != !ap_client;
  KD_LOG_MODULE("OperationMode = %d, ethConvert = %d, apClient = %d", mode, eth_convert, ap_client);
  return !is_other;
}

void write_pin(const char* pin) {
  const os::File file{os::fopen(kPinFile, "w")};
  if (file) os::fwrite(pin, std::strlen(pin), file.get());
}

bool is_registering(int status) {
  return (status >= 4 && status <= 30) || (status >= 36 && status <= 38);
}

// The IPv4 address of the bridge, dotted.
bool read_lan_address(char (&address)[16]) {
  const int socket = os::socket();
  if (socket < 0) return false;
  ifreq query{};
  copy_text(query.ifr_name, "br0");
  const bool answered = os::ioctl(socket, SIOCGIFADDR, &query) >= 0;
  os::close(socket);
  if (!answered) return false;
  sockaddr_in found;
  std::memcpy(&found, &query.ifr_addr, sizeof found);
  unsigned char bytes[4];
  std::memcpy(bytes, &found.sin_addr, sizeof bytes);
  std::snprintf(address, sizeof address, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
  return true;
}

}  // namespace

int kd_hnap_start_wps(const char* method, const char* pin) {
  constexpr int kMostPolls = 5;
  const int wpsctl = read_number(kWpsctlPidFile);
  const bool supported = is_access_point();
  KD_LOG_MODULE("Start WPS progress by %s", method);
  if (supported) {
    if (view_of(method) == "PIN") write_pin(pin);
    signal_process(wpsctl, SIGUSR2);
  } else {
    KD_LOG_MODULE("Start WPS progress by %s don't be supported uder this operation mode ", method);
  }
  for (int poll = 1; poll <= kMostPolls; ++poll) {
    WpsStatus status{};
    kd_hnap_get_wps_status(status);
    if (view_of(status) != kIdle) break;
    if (poll < kMostPolls) os::sleep(1);
  }
  return 0;
}

int kd_hnap_stop_wps() {
  const int wpsctl = read_number(kWpsctlPidFile);
  read_number("/var/run/kd_wps_led.pid");  // the device looks for the LED process too, and leaves it alone
  KD_LOG_MODULE("Stop WPS progress");
  signal_process(wpsctl, SIGTERM);
  os::system("wpsctl &");
  os::sleep(1);
  os::run_all({"rm -f /var/wps_*", "rm -f /var/run_wps_pin", "rm -f /var/gui_wps_waiting"});
  return 0;
}

int kd_hnap_get_wps_status(WpsStatus& status) {
  const int code = read_number("/var/wps_status");
  const int last_code = read_number("/var/wps_last_status");
  KD_LOG_MODULE("WPS Status: %d", code);
  const char* text = nullptr;
  if (os::exists(kProgressFile)) {
    const int progress = read_number(kProgressFile);
    const bool is_pin_session = os::exists(kPinFile);
    text = wps_status_text(code, last_code, progress, is_pin_session);
  } else {
    KD_LOG_MODULE("Can not found /var/wps_progress, so reply with IDLE\n");
    text = kIdle;
  }
  if (text) copy_text(status, text);
  KD_LOG_MODULE("WSC status: %d - %s\n", code, "");
  return 0;
}

const char* wps_status_text(int status, int last_status, int progress, bool is_pin_session) {
  const bool is_complete = progress == 100;
  if (status < 2) return kIdle;
  if (status == 3 || status == 35) return is_complete ? kWalkTimeout : "SEARCHING";
  if (is_registering(status)) return "REGISTERING";
  if (status == 39) return "CONNECTING";
  if (status == 257 || status == 265) return "ERROR_SESSION_OVERLOAP";
  if (status == 34) return "CONNECTED";
  if ((status >= 31 && status <= 33) || (status >= 259 && status <= 264)) return kSessionTimeout;
  if (status == 2 && progress >= 21 && is_registering(last_status)) return kSessionTimeout;
  if (status != 2 && status != 258) return kIdle;
  if (is_complete) return kWalkTimeout;
  return status == 2 && is_pin_session ? "ERROR_INVALID_PIN" : nullptr;
}

void kd_restart_wps() {
  os::system("kill -9 `cat /var/run/wscd.pid.ra0`");
  os::system("iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1");
  const HeapText mode = nvram_text("OperationMode");
  if (view_of(mode.get()) != "0" && view_of(mode.get()) != "1") return;
  // Compared as texts: any text from "1" on switches it on, also one that is no number.
  if (view_of(nvram_text("WscModeOption").get()) <= "0") {
    os::system("route delete 239.255.255.250 1>/dev/null 2>&1");
    return;
  }
  char address[16];
  if (!read_lan_address(address)) {
    os::print("WPSRestart error, can't get lan ip.");
    return;
  }
  doSystem("iwpriv ra0 set WscConfMode=%d", 7);
  if (view_of(nvram_text("WscConfigured").get()) == "0") os::system("iwpriv ra0 set WscConfStatus=1");
  os::system("route add -host 239.255.255.250 dev br0 1>/dev/null 2>&1");
  doSystem("wscd -m 1 -a %s -i ra0 &", address);
}

int kd_validate_pin_checksum(const char* pin) {
  std::uint64_t value = 0;
  for (; *pin >= '0' && *pin <= '9'; ++pin) {
    value = std::min<std::uint64_t>(value * 10 + static_cast<unsigned>(*pin - '0'), UINT32_MAX);
  }
  // From the last digit, the checksum itself, to the first: their weights are 1 and 3 by turns.
  unsigned sum = 0;
  for (int place = 0; place < 8; ++place, value /= 10) {
    sum += static_cast<unsigned>(value % 10) * (place % 2 ? 3 : 1);
  }
  return sum % 10 == 0;
}

}  // namespace kd
