#include "programs/program_table.hpp"

#include "nvram_tools.hpp"
#include "programs/programs.hpp"

namespace kd {
namespace {

constexpr Program kPrograms[] = {
    {"ps", ps_main},
    {"killall", killall_main},
    {"reboot", reboot_main},
    {"dmesg", dmesg_main},
    {"iwconfig", iwconfig_main},
    {"iwpriv", iwpriv_main},
    {"ifconfig", ifconfig_main},
    {"route", route_main},
    {"ralink_init", ralink_init_main},
    {"gpio", gpio_main},
    {"internet.sh", internet_sh_main},
    {"mtd_write", mtd_write_main},
    {"nvram_set", store::nvram_set_main},
    {"nvram_get", store::nvram_get_main},
    {"nvram_daemon", nvram_daemon_main},
    {"kd_client_list", kd_client_list_main},
    {"radiod", radiod_main},
    {"kelda_nmbd.sh", kelda_nmbd_sh_main},
    {"kelda_nmbd", idle_daemon_main},
    {"kd_rp_autochannel", idle_daemon_main},
    {"kd_wps_led", idle_daemon_main},
    {"kd_wps_auto_pin", idle_daemon_main},
    {"kd_vb_upnpd", idle_daemon_main},
    {"kd_red", idle_daemon_main},
    {"mdnspr", idle_daemon_main},
    {"udhcpc", idle_daemon_main},
    {"wscd", idle_daemon_main},
    {"wpsctl", idle_daemon_main},
};

}  // namespace

std::span<const Program> programs() {
  return kPrograms;
}

const Program* find_program(std::string_view name) {
  for (const Program& program : kPrograms) {
    if (name == program.name) return &program;
  }
  return nullptr;
}

}  // namespace kd
