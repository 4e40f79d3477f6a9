// IsDeviceReady, Reboot, RestoreFactoryDefaults.
#include "support/action_rows.hpp"

namespace kd::test::power {

const Effects kAsked = {"run ps > /var/psInfo 2>/dev/null", "run rm /var/psInfo", "kill 321 USR2", "sleep 5"};
const ActionRow kRows[] = {
    {"the marker exists", "IsDeviceReady", "", "OK"},
    {"no marker", "IsDeviceReady", "", "ERROR", {}, has_no_file("/var/is_dev_ready")},
    {"restarts behind the reply",
     "Reboot",
     "",
     "REBOOT",
     {"run killall -9 kd_vb_upnpd", "run kd_vb_upnpd&", "sleep 1", "run killall -9 kd_vb_upnpd",
      "kill 1 TERM"}},
    {.name = "asks the daemon",
     .action = "RestoreFactoryDefaults",
     .reply = "REBOOT",
     .changes = kAsked,
     .reads = true},
    {"waits without the daemon too",
     "RestoreFactoryDefaults",
     "",
     "REBOOT",
     {kAsked[0], kAsked[1], kAsked[3]},
     prints("ps", "  PID USER       VSZ STAT COMMAND\n")},
};
const bool kAdded = add_rows("Power", kRows);

}  // namespace kd::test::power
