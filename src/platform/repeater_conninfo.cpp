#include "platform/repeater_conninfo.hpp"

#include <cstdlib>

#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/nvram_config.hpp"
#include "platform/radio.hpp"
#include "platform/shell.hpp"
#include "platform/site_survey.hpp"
#include "platform/station_table.hpp"

namespace kd {
namespace {

constexpr const char* kScratchFile = "/tmp/repeater_conninfo";

// Moves `text` behind the next `marker`; false, with `text` as it was, when there is none.
bool skip_past(std::string_view& text, std::string_view marker) {
  const std::size_t at = text.find(marker);
  if (at == std::string_view::npos) return false;
  text = tail(text, at + marker.size());
  return true;
}

void read_iwconfig(const char* ifname, Text& text) {
  doSystem("iwconfig %s > %s", ifname, kScratchFile);
  read_file(kScratchFile, text);
  doSystem("rm -f %s", kScratchFile);
}

struct Station {
  std::int32_t rate = 0;  // Mbps
  std::int32_t width = 40;
};

// Looks the access point up in the station table and names the link's mode. A station that is not found
// leaves the mode empty and reads as 0 Mbps at 40 MHz.
Station find_access_point(const IwconfigLink& link, repeater_conninfo& out) {
  doSystem("iwpriv apcli0 show stainfo");
  const os::Pipe table{os::popen(kTakeStationTable)};
  char line[256];
  while (table && !read_line(table.get(), line).empty()) {
    const StationLine found = split_station_line(line);
    const auto length = [](std::string_view word) { return static_cast<int>(word.size()); };
    console_printf("MAC: %.*s, PHY Mode: %.*s, Bandwidth: %.*s, Data Rate: %.*s\n", length(found.mac),
                   found.mac.data(), length(found.phy_mode), found.phy_mode.data(), length(found.bandwidth),
                   found.bandwidth.data(), length(found.data_rate), found.data_rate.data());
    if (link.access_point.empty() || !contains(found.mac, link.access_point)) continue;
    const std::int32_t rate = text_to_int(found.data_rate);
    copy_text(out.mode, station_mode(link.channel, found.phy_mode, rate));
    return {rate, found.bandwidth.starts_with("20M") ? 20 : 40};
  }
  return {};
}

std::int32_t read_signal() {
  // Three characters: "-100" counts as -10.
  char rssi[4];
  if (!read_first_line_of_command("iwpriv apcli0 stat|grep RSSI-A|sed -n 's/^.*= //p'", rssi)) return 0;
  return signal_percent(text_to_int(rssi));
}

}  // namespace

IwconfigLink parse_iwconfig(std::string_view text) {
  IwconfigLink link;
  if (const std::size_t at = text.find("ESSID:"); at != std::string_view::npos) {
    text = tail(text, at);
    const std::string_view quoted = tail(text, 7);  // the marker and the quote
    const std::size_t end = quoted.find("\"  ");
    if (end != std::string_view::npos) {
      link.ssid = head(quoted, end);
      text = tail(quoted, end + 1);
    }
  }
  if (skip_past(text, "Channel=")) link.channel = text_to_int(head(text, 3));
  if (skip_past(text, "Access Point: ") && text.size() >= 17) link.access_point = head(text, 17);
  return link;
}

std::int32_t signal_percent(std::int32_t rssi) {
  if (rssi >= -50) return 100;
  if (rssi >= -80) return (26 * rssi + 2080) / 10 + 24;
  if (rssi >= -90) return (26 * rssi + 2340) / 10;
  return 0;
}

void kd_hnap_get_repeater_conninfo(repeater_conninfo& out) {
  out.link_state = getAPClientStatus();
  out.wmm_enabled = nvram_number("WmmCapable") != 0;
  if (out.link_state == 0) return;
  Text text;
  read_iwconfig(out.link_state == 1 ? "apcli0" : "ra0", text);
  const IwconfigLink link = parse_iwconfig(text.view());
  copy_text(out.ssid, link.ssid);
  out.channel = link.channel;
  out.band = link.channel < kFirst5GhzChannel ? 2 : 5;

  const Station access_point = find_access_point(link, out);
  out.link_speed_in = out.link_speed_out = static_cast<std::uint32_t>(std::int64_t{access_point.rate} * 1000);
  out.channel_width = access_point.width;
  out.signal = read_signal();
  out.noise = std::rand() % 9 + 8;
}

}  // namespace kd
