// What the radio sees, and through it anybody in its range.
#include "harness.hpp"
#include "platform/repeater_settings.hpp"
#include "targets.hpp"

namespace kd::fuzz {

void scan_list(std::string_view input) {
  Extender extender;
  extender.device.outputs["iwpriv ra0 get_site_survey"] = input;
  extender.ask("GetWirelessNetworks");
  for (const char* band : {"", "2.4", "5"}) {
    extender.device.set("HNAPConfiguredBand", band);
    kd_update_settings_by_site_survey();
  }
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

}  // namespace kd::fuzz
