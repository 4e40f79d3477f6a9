// IsDeviceReady, Reboot, RestoreFactoryDefaults.
#include "support/action_rows.hpp"

namespace kd::test::power {

const Effects kListed = {"run ps > /var/psInfo 2>/dev/null", "run rm /var/psInfo"};
ActionRow reset(const char* name, Effects asked, Device::Step prepare = nullptr) {
  ActionRow row{name, "RestoreFactoryDefaults", "", "REBOOT", kListed + std::move(asked), std::move(prepare)};
  row.reads = true;
  return row;
}
const Effects kRestarted = {"run killall -9 kd_vb_upnpd", "run kd_vb_upnpd&", "sleep 1",
                            "run killall -9 kd_vb_upnpd", "kill 1 TERM"};
const ActionRow kRows[] = {
    {"the marker exists", "IsDeviceReady", "", "OK"},
    {"no marker", "IsDeviceReady", "", "ERROR", {}, has_no_file("/var/is_dev_ready")},
    {"behind the reply", "Reboot", "", "REBOOT", kRestarted},
    reset("asks the daemon", {"kill 321 USR2", "sleep 5"}),
    reset("waits without it too", {"sleep 5"}, prints("ps", "  PID USER       VSZ STAT COMMAND\n")),
};
const bool kAdded = add_rows("Power", kRows);

}  // namespace kd::test::power
