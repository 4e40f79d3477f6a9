// The os port and the store's C interface, on top of the device double.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "nvram.h"
#include "platform/os.hpp"
#include "support/device.hpp"

using kd::test::device;

namespace kd::os {
namespace {

using Stream = test::Device::Stream;

constexpr const char* kConsole = "/dev/console";

// No libc stream: handing one to libc behind the port's back would crash.
std::FILE* opened(Stream stream) {
  return static_cast<std::FILE*>(static_cast<void*>(&device().streams.emplace_back(std::move(stream))));
}

// The bytes that the next read may give. A read that goes wrong ends the stream, at once or after half of
// them.
std::size_t readable(Stream& stream, std::size_t wanted, bool counts) {
  if (stream.ended) return 0;
  std::size_t left = std::min(wanted, stream.data.size() - stream.at);
  if (counts && device().goes_wrong()) {
    left = device().cuts() ? left / 2 : 0;
    stream.data.resize(stream.at + left);
    stream.ended = left == 0;
  }
  return left;
}

int status_of(const std::string& command) {
  return device().statuses.contains(command) ? device().statuses.find(command)->second : 0;
}

}  // namespace

int system(const char* command) {
  device().note(std::string{"run "} + command);
  const bool wrong = device().goes_wrong();
  if (!wrong || device().cuts()) device().run(command, wrong);
  if (wrong) return device().cuts() ? 256 : -1;
  return status_of(command);
}

std::FILE* popen(const char* command) {
  device().note(std::string{"pipe "} + command);
  const bool wrong = device().goes_wrong();
  if ((wrong && !device().cuts()) || device().broken.contains(command)) return nullptr;
  std::string output = device().output_of(command);
  if (wrong) output.resize(output.size() / 2);
  return opened({command, std::move(output), true});
}

int pclose(std::FILE* pipe) {
  const int status = status_of(device().stream(pipe).path);
  device().close_stream(device().stream(pipe), true);
  return status;
}

std::FILE* fopen(const char* path, const char* mode) {
  if (std::strcmp(path, kConsole) != 0) device().note(std::string{"open "} + path + " " + mode);
  if (device().at_open) device().at_open(device(), path);
  if (device().goes_wrong() || device().broken.contains(path)) return nullptr;
  const bool writes = *mode != 'r';
  if (!writes && !device().files.contains(path)) return nullptr;
  if (writes && std::strcmp(path, kConsole) != 0) device().files[path] = "";
  return opened({path, writes ? "" : device().files[path], false, writes});
}

int fclose(std::FILE* file) {
  Stream& stream = device().stream(file);
  bool failed = false;
  if (stream.path == kConsole) {
    device().note("console " + stream.data);
  } else if (stream.writes) {
    const bool is_short = stream.data.size() <= 4200;
    device().note("write " + stream.path + " " +
                  (is_short ? stream.data : "(" + std::to_string(stream.data.size()) + " bytes)"));
    failed = device().goes_wrong() || device().full_at_close.contains(stream.path);
    if (!failed) device().files[stream.path] = stream.data;
  }
  device().close_stream(stream, false);
  return failed ? EOF : 0;
}

int getc(std::FILE* file) {
  Stream& stream = device().stream(file);
  const bool line_starts = stream.at == 0 || stream.data[stream.at - 1] == '\n';
  const std::size_t line =
      line_starts ? std::min(stream.data.find('\n', stream.at), stream.data.size() - 1) + 1 - stream.at : 1;
  if (readable(stream, line, line_starts) == 0) return EOF;
  return static_cast<unsigned char>(stream.data[stream.at++]);
}

int ungetc(int byte, std::FILE* file) {
  --device().stream(file).at;
  return byte;
}

std::size_t fread(void* data, std::size_t size, std::FILE* file) {
  Stream& stream = device().stream(file);
  const std::size_t count = readable(stream, size, true);
  if (count) std::memcpy(data, stream.data.data() + stream.at, count);
  stream.at += count;
  return count;
}

std::size_t fwrite(const void* data, std::size_t size, std::FILE* file) {
  Stream& stream = device().stream(file);
  std::size_t count = size;
  if (device().goes_wrong()) count = device().cuts() ? size / 2 : 0;
  if (stream.ended || device().full.contains(stream.path)) count = 0;
  if (count < size) stream.ended = true;
  stream.data.append(static_cast<const char*>(data), count);
  return count;
}

void rewind(std::FILE* file) {
  device().stream(file).at = 0;
}

int access(const char* path) {
  device().note(std::string{"access "} + path);
  return !device().goes_wrong() && device().files.contains(path) ? 0 : -1;
}

off_t size(std::FILE* file) {
  return device().goes_wrong() ? -1 : static_cast<off_t>(device().stream(file).data.size());
}

int open(const char* path) {
  device().note(std::string{"open "} + path);
  if (!device().goes_wrong() && device().files.contains(path)) return device().open_number(path);
  errno = ENOENT;
  return -1;
}

ssize_t pread(int descriptor, void* data, std::size_t size, off_t offset) {
  const bool wrong = device().goes_wrong();
  if (!device().numbers.contains(descriptor) || offset < 0 || (wrong && !device().cuts())) return -1;
  const std::string& file = device().files[device().numbers[descriptor]];
  const std::size_t start = std::min(static_cast<std::size_t>(offset), file.size());
  const std::size_t count = std::min(wrong ? size / 2 : size, file.size() - start);
  if (count) std::memcpy(data, file.data() + start, count);
  return static_cast<ssize_t>(count);
}

int close(int descriptor) {
  if (device().numbers.erase(descriptor)) return 0;
  device().wrongly_closed += "closed, but not open: " + std::to_string(descriptor) + "\n";
  return -1;
}

int socket() {
  if (device().goes_wrong() || device().broken.contains("socket")) return -1;
  return device().open_number("socket");
}

namespace {

// The layout of the wireless extensions' request, which plain interface requests share as far as the name.
struct WirelessRequest {
  char name[16];
  void* pointer;
  std::uint16_t length;
  std::uint16_t flags;
};

bool answer_eeprom(const test::DriverRequest& request) {
  char* text = static_cast<char*>(request.data);
  const auto answer = device().eeprom.find(std::string_view{text});
  if (answer == device().eeprom.end() || request.length != std::strlen(text) + 1) return false;
  // The driver writes a terminator where the module's buffer of 4096 bytes has room for one.
  std::memcpy(text, answer->second.c_str(), std::min<std::size_t>(answer->second.size() + 1, 4096));
  return true;
}

}  // namespace

int ioctl(int descriptor, unsigned long number, void* argument) {
  auto& wireless = *static_cast<WirelessRequest*>(argument);
  const std::string_view ifname{wireless.name, strnlen(wireless.name, sizeof wireless.name)};
  char line[64];
  std::snprintf(line, sizeof line, "ioctl 0x%lx %.*s", number, static_cast<int>(ifname.size()),
                ifname.data());
  device().note(line);
  if (device().goes_wrong() || !device().numbers.contains(descriptor)) return -1;
  test::DriverRequest request{number, ifname, wireless.pointer, wireless.length, wireless.flags, argument};
  if (device().driver) return device().driver(request) ? 0 : -1;
  return number == 0x8BE7 && answer_eeprom(request) ? 0 : -1;
}

int kill(pid_t process, int signal) {
  device().note("kill " + std::to_string(process) + " " + sigabbrev_np(signal));
  return device().goes_wrong() ? -1 : 0;
}

void sleep(unsigned seconds) {
  device().note("sleep " + std::to_string(seconds));
  device().sleep(std::uint64_t{seconds} * 1000000);
}

void usleep(unsigned microseconds) {
  device().note("usleep " + std::to_string(microseconds));
  device().sleep(microseconds);
}

void print(const char* text) {
  device().note(std::string{"print "} + text);
}

void print_error(const char* text) {
  device().note(std::string{"print "} + text);
}

}  // namespace kd::os

int nvram_init(int section) {
  device().note("nvram init " + std::to_string(section));
  if (section != 0) return 0;
  if (device().goes_wrong() || device().broken.contains("store")) return -1;
  device().library = device().store;
  for (const auto& [key, value] : device().pending) device().library[key] = value;
  return 0;
}

char* nvram_bufget(int section, const char* key) {
  const auto value = device().library.find(key);
  if (section == 0 && value == device().library.end() && device().absent_is_empty) return ::strdup("");
  if (section != 0 || value == device().library.end()) return nullptr;
  return ::strdup(value->second.c_str());
}

int nvram_bufset(int section, const char* key, const char* value) {
  device().note(std::string{"nvram set "} + key + "=" + value);
  if (section != 0 || device().goes_wrong()) return -1;
  device().library[key] = device().pending[key] = value;
  return 0;
}

int nvram_commit(int section) {
  device().note("nvram commit " + std::to_string(section));
  if (section != 0 || device().goes_wrong()) return -1;
  for (const auto& [key, value] : device().pending) device().store[key] = value;
  device().pending.clear();
  return 0;
}

void nvram_close(int section) {
  device().note("nvram close " + std::to_string(section));
  if (section == 0) device().library.clear();
}
