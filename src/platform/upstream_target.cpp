#include "platform/upstream_target.hpp"

#include <algorithm>
#include <cstdio>

#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/nvram_config.hpp"
#include "platform/shell.hpp"
#include "platform/site_survey.hpp"

namespace kd {
namespace {

// The upper channels of the 40 MHz pairs: the second half of such a pair lies below.
constexpr int kUpperChannels[] = {40, 48, 56, 64, 104, 112, 120, 128, 136, 140, 153, 161};

UpstreamTarget::ExtensionChannel extension_of(std::string_view column, int channel) {
  if (column == "ABOVE") return UpstreamTarget::above;
  if (column == "BELOW") return UpstreamTarget::below;
  if (!column.starts_with("NONE")) return UpstreamTarget::unchanged;
  const bool upper =
      std::find(std::begin(kUpperChannels), std::end(kUpperChannels), channel) != std::end(kUpperChannels);
  return upper ? UpstreamTarget::below : UpstreamTarget::above;
}

bool find_target(std::FILE* list, std::string_view ssid, std::string_view band, UpstreamTarget& target) {
  char line[4096];
  for (std::string_view read; !(read = read_line(list, line)).empty();) {
    if (match_target_line(without_line_end(read), ssid, band, target)) return true;
  }
  return false;
}

void pin_target(const UpstreamTarget& target) {
  if (target.extension == UpstreamTarget::above) {
    os::system("iwpriv ra0 set HtExtcha=1");
    kd_set_nvram_config("HT_EXTCHA", "1");
  } else if (target.extension == UpstreamTarget::below) {
    os::system("iwpriv ra0 set HtExtcha=0");
    kd_set_nvram_config("HT_EXTCHA", "0");
  }
  char channel[12];
  std::snprintf(channel, sizeof channel, "%d", target.channel);
  os::system("echo 1 > /tmp/targetApFound");
  kd_set_nvram_config("Channel", channel);
  kd_set_nvram_config("ApCliBssid", target.bssid);
  console_printf("Configure Channel to %s and ApCliBssid to %s\n", channel, target.bssid);
}

void report_retry(int retry) {
  console_printf("get scan result failed, retry %d", retry);
}

}  // namespace

bool match_target_line(std::string_view line, std::string_view ssid, std::string_view band,
                       UpstreamTarget& target) {
  if (!contains(line, ssid)) return false;
  const int channel = text_to_int(kChannelColumn.of(line));
  if (band == "2.4" && channel >= kFirst5GhzChannel) return false;
  if (band == "5" && channel < kFirst5GhzChannel) return false;
  if (text_to_int(kSsidLengthColumn.of(line)) == 0) return false;
  const std::string_view bssid = kBssidColumn.of(line);
  if (bssid.size() < kBssidColumn.length) return false;
  const std::string_view extension = kExtensionColumn.of(line);
  target.channel = channel;
  copy_text(target.bssid, bssid);
  target.extension = extension.size() < kExtensionColumn.length ? UpstreamTarget::unchanged
                                                                : extension_of(extension, channel);
  return true;
}

int kd_update_settings_by_site_survey() {
  const HeapText ssid = nvram_text("ApCliSsid");
  const HeapText band = nvram_text("HNAPConfiguredBand");
  os::File list = open_fresh_scan_list(report_retry);
  UpstreamTarget target;
  // Without a stored name nothing is pinned; an empty one means any network.
  if (list && ssid && find_target(list.get(), ssid.get(), view_of(band.get()), target)) pin_target(target);
  list.reset();
  return os::system("rm -rf /tmp/scanList.txt");
}

}  // namespace kd
