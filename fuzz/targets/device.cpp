// What the radio and other programs of the device write down, some of it learned from the network.
#include <algorithm>
#include <cstring>

#include "base/text.hpp"
#include "harness.hpp"
#include "platform/client_list.hpp"
#include "platform/identity.hpp"
#include "platform/if_statistics.hpp"
#include "platform/shell.hpp"
#include "platform/site_survey.hpp"
#include "platform/upstream_target.hpp"
#include "platform/wps.hpp"
#include "targets.hpp"

namespace kd::fuzz {

void scan_list(std::string_view input) {
  for (std::string_view rest = input; !rest.empty();) {
    const std::string_view line = head(rest, rest.find('\n'));
    rest = tail(rest, line.size() + 1);
    site_survey_entry entry{};
    if (parse_scan_line(line, entry)) {
      demand(contains(line, entry.ssid), "a name comes from the line", entry.ssid);
    }
    UpstreamTarget target{};
    for (const char* band : {"2.4", "5"}) match_target_line(line, "Home", band, target);
  }
  Extender extender;
  extender.device.outputs["iwpriv ra0 get_site_survey"] = input;
  site_survey_list list;
  demand(kd_hnap_repeater_get_networks(list) == list.count || list.count == 0, "the list is counted");
  kd_hnap_repeater_free_networks(list);
  kd_update_settings_by_site_survey();
}

void station_table(std::string_view input) {
  Extender extender;
  test::Device::Texts& outputs = extender.device.outputs;
  outputs["dmesg -c | grep -in '^..:.*$'"] = take_part(input);
  if (!input.empty()) outputs["iwconfig apcli0"] = take_part(input);
  outputs["iwpriv apcli0 stat|grep RSSI-A|sed -n 's/^.*= //p'"] = input;
  extender.ask("GetWirelessClientConnectionInfo");
  extender.ask("GetConnectedDevices");
}

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
  ClientList list;
  kd_hnap_get_client_list(list);
  kd_hnap_free_client_list(list);
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
  const std::string_view counters = take_part(input);
  for (const char* command :
       {"cat /proc/net/dev | grep ra0", "cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2"}) {
    device.outputs[command] = counters;
  }
  device.files["/var/wps_status"] = take_part(input);
  device.files["/var/wps_progress"] = device.files["/var/run/wpsctl.pid"] = input;

  ConfigValue text{};
  kd_get_model_name(text);
  kd_get_model_reversion(text);
  kd_get_firmware_version(text);
  char serial[kSerialNumberSize];
  kd_hnap_get_serial_number(serial);
  kd_get_process_pid("nvram_daemon");
  IfStatistics record{};
  kd_hnap_get_if_statistics("ra0", true, record);
  kd_hnap_get_if_statistics("eth2", false, record);
  WpsStatus status{};
  kd_hnap_get_wps_status(status);
  kd_hnap_stop_wps();
}

}  // namespace kd::fuzz
