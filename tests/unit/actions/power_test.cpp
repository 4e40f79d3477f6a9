// IsDeviceReady, Reboot, RestoreFactoryDefaults.
#include "support/cases.hpp"

namespace kd::test {
namespace {

const std::vector<std::string> kRestart = {"run killall -9 kd_vb_upnpd", "run kd_vb_upnpd&", "sleep 1",
                                           "run killall -9 kd_vb_upnpd", "kill 1 TERM"};

const ActionCase kRows[] = {
    {"the marker exists", "IsDeviceReady", {}, "OK"},
    {"no marker", "IsDeviceReady", {}, "ERROR", {}, [](Device& d) { d.files.erase("/var/is_dev_ready"); }},
    {"restarts behind the reply", "Reboot", {}, "REBOOT", kRestart},
    {"asks the daemon",
     "RestoreFactoryDefaults",
     {},
     "REBOOT",
     {"run ps > /var/psInfo 2>/dev/null", "run rm /var/psInfo", "kill 321 USR2", "sleep 5"}},
    {"waits without the daemon too",
     "RestoreFactoryDefaults",
     {},
     "REBOOT",
     {"run ps > /var/psInfo 2>/dev/null", "run rm /var/psInfo", "sleep 5"},
     [](Device& d) { d.outputs["ps"] = "  PID USER       VSZ STAT COMMAND\n"; }},
};
INSTANTIATE_TEST_SUITE_P(Power, ActionTest, ::testing::ValuesIn(kRows), row_name);

}  // namespace
}  // namespace kd::test
