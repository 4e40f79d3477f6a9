#include "platform/if_statistics.hpp"

#include <cerrno>
#include <cstring>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

const char* command_for(std::string_view ifname) {
  if (ifname == "ra0") return "cat /proc/net/dev | grep ra0";
  // The VLANs on top of the port have lines of their own.
  if (ifname == "eth2") return "cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2";
  return nullptr;
}

void name_port(bool is_wireless, IfStatistics& record) {
  if (!is_wireless) {
    copy_text(record.port_name, "LAN");
    return;
  }
  const int mode = nvram_number("WirelessMode");
  if (const char* name = wireless_port_name(mode)) {
    copy_text(record.port_name, name);
    return;
  }
  KD_LOG_MODULE("%s%d%s", "unknow wireless mode setting - ", mode, "set it as N first !!!");
}

}  // namespace

int kd_hnap_get_if_statistics(const char* ifname, bool is_wireless, IfStatistics& record) {
  const char* command = command_for(view_of(ifname));
  if (!command) return -1;
  const os::Pipe pipe{os::popen(command)};
  if (!pipe) {
    KD_LOG_MODULE("ERROR:%s\n", std::strerror(errno));
    return -1;
  }
  char line[512];
  if (!read_piece(pipe.get(), line).empty()) {
    KD_LOG_MODULE("%s", line);
    scan_if_line(line, record);
  }
  name_port(is_wireless, record);
  KD_LOG_MODULE("%s %u %u %u %u", record.port_name, record.received_bytes, record.received_packets,
                record.sent_bytes, record.sent_packets);
  return 0;
}

void scan_if_line(const char* line, IfStatistics& record) {
  // The kernel's counters may be wider than the record's.
  unsigned long long received_bytes = 0, received_packets = 0, sent_bytes = 0, sent_packets = 0;
  std::sscanf(line, "%*[^:]:%llu%llu%*s%*s%*s%*s%*s%*s%llu%llu", &received_bytes, &received_packets,
              &sent_bytes, &sent_packets);
  record.received_bytes = static_cast<std::uint32_t>(received_bytes);
  record.received_packets = static_cast<std::uint32_t>(received_packets);
  record.sent_bytes = static_cast<std::uint32_t>(sent_bytes);
  record.sent_packets = static_cast<std::uint32_t>(sent_packets);
}

const char* wireless_port_name(int mode) {
  if (mode >= 6 && mode <= 11) return "WLAN 802.11n";
  if (mode == 0 || mode == 4) return "WLAN 802.11g";
  if (mode == 1) return "WLAN 802.11b";
  return mode == 2 ? "WLAN 802.11a" : nullptr;
}

}  // namespace kd
