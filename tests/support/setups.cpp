#include "support/setups.hpp"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <cstdio>
#include <cstring>

namespace kd::test {

void prepare_extender(Device& device) {
  device.set("Login", "admin");
  device.set("Password", "password");
  device.set("HostName", "Attic");
  device.set("OperationMode", "0");
  device.set("apClient", "1");
  device.files["/var/boardid"] = "027210\n";
  device.files["/var/is_dev_ready"] = "";
  device.outputs["ps"] = "  PID USER       VSZ STAT COMMAND\n";
  add_process(device, 1, "init");
  add_process(device, 321, "nvram_daemon");
}

void add_process(Device& device, int pid, const char* command) {
  char line[300];
  std::snprintf(line, sizeof line, "%5d admin     1500 S    %s\n", pid, command);
  device.outputs["ps"] += line;
}

void put_serial_number(Device& device, const char* serial) {
  for (unsigned i = 0; serial[i]; ++i) {
    char offset[8], answer[40];
    std::snprintf(offset, sizeof offset, "%04X", 0x1D3 + i);
    // Only the low byte of a word counts.
    std::snprintf(answer, sizeof answer, "\n[0x%s]:0x7F%02X ", offset, static_cast<unsigned>(serial[i]));
    device.eeprom[offset] = answer;
  }
}

void has_lan_address(Device& device) {
  device.driver = [](DriverRequest& request) {
    if (request.number != SIOCGIFADDR || request.ifname != "br0") return false;
    sockaddr_in address{};
    address.sin_addr.s_addr = htonl(0xC0A80AFE);
    std::memcpy(&static_cast<ifreq*>(request.argument)->ifr_addr, &address, sizeof address);
    return true;
  };
}

Device::Step in_turn(std::vector<Device::Step> steps) {
  return [=](Device& d) {
    for (const Device::Step& step : steps) step(d);
  };
}

Device::Step has_stored(std::vector<std::pair<std::string, std::string>> values) {
  return [=](Device& d) {
    for (const auto& [key, value] : values) d.set(key, value);
  };
}

Device::Step has_file(std::string path, std::string text) {
  return [=](Device& d) { d.files[path] = text; };
}

Device::Step prints(std::string command, std::string text) {
  return [=](Device& d) { d.outputs[command] = text; };
}

Device::Step cannot_open(std::string what) {
  return [=](Device& d) { d.broken.insert(what); };
}

}  // namespace kd::test
