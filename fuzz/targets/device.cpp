// What other programs of the device write down, some of it learned from the network.
#include <algorithm>
#include <cstring>

#include "base/text.hpp"
#include "harness.hpp"
#include "platform/client_list.hpp"
#include "platform/if_statistics.hpp"
#include "platform/wps.hpp"
#include "targets.hpp"

namespace kd::fuzz {

void client_list(std::string_view input) {
  // The daemon's lines are too short for the longest name.
  char name[256];
  copy_text(name, input);
  clean_device_name(name);
  client_entry entry{};
  parse_client_line(input, entry);

  Extender extender;
  test::Device::Texts& files = extender.device.files;
  files["/tmp/connected_client_list"] = take_part(input);
  if (!input.empty()) files["/tmp/hostname_netbios_10.0.0.2"] = take_part(input);
  if (!input.empty()) files["/var/run/kd_client_list.pid"] = take_part(input);
  extender.ask("GetConnectedDevices");
}

void device_reports(std::string_view input) {
  Extender extender;
  test::Device& device = extender.device;
  device.files["/var/boardid"] = take_part(input);
  device.outputs["ps"] = take_part(input);
  const std::string eeprom{take_part(input)};
  device.driver = [&eeprom](test::DriverRequest& request) {
    constexpr std::size_t kRoom = 4096;  // the driver fills the caller's whole buffer, without a terminator
    if (request.number == 0x8BE7) std::memcpy(request.data, eeprom.data(), std::min(eeprom.size(), kRoom));
    return request.number == 0x8BE7;
  };
  const std::string counters{take_part(input)};
  for (const char* command :
       {"cat /proc/net/dev | grep ra0", "cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2"}) {
    device.outputs[command] = counters;
  }
  device.files["/var/wps_status"] = take_part(input);
  device.files["/var/wps_progress"] = device.files["/var/run/wpsctl.pid"] = input;

  for (const char* action :
       {"GetDeviceSettings", "GetDeviceSettings2", "GetFirmwareSettings", "RestoreFactoryDefaults"}) {
    extender.ask(action);
  }
  if_statistics record{};
  kd_hnap_get_if_statistics(nullptr, "ra0", true, record);
  kd_hnap_get_if_statistics(nullptr, "eth2", false, record);
  wps_status status{};
  kd_hnap_get_wps_status(nullptr, status);
  kd_hnap_stop_wps(nullptr);
}

}  // namespace kd::fuzz
