#include "platform/site_survey.hpp"

#include <cstdlib>
#include <new>
#include <utility>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"

namespace kd {
namespace {

constexpr off_t kLeastScanListSize = 150;
constexpr int kMostRetries = 5;
constexpr const char* kScanListFile = "/tmp/scanList.txt";

struct SecurityRow {
  char prefix[23];
  bool enabled;
  char type[9];
  char encryption[10];
};

// The first matching prefix wins, so the fourth row never does: a WPA network with both ciphers is listed
// with TKIP. Mixed mode with AES alone is listed with both on purpose. What is not here cannot be joined.
constexpr SecurityRow kSecurity[] = {
    {"NONE", false, "", ""},
    {"WEP", true, "WEP-AUTO", "WEP-64"},
    {"WPAPSK/TKIP", true, "WPA-PSK", "TKIP"},
    {"WPAPSK/TKIPAES", true, "WPA-PSK", "TKIPORAES"},
    {"WPA2PSK/AES", true, "WPA2-PSK", "AES"},
    {"WPA2PSK/TKIPAES", true, "WPA2-PSK", "TKIPORAES"},
    {"WPA1PSKWPA2PSK/TKIPAES", true, "WPA2-PSK", "TKIPORAES"},
    {"WPA1PSKWPA2PSK/AES", true, "WPA2-PSK", "TKIPORAES"},
    {"WPA1PSKWPA2PSK/TKIP", true, "WPA-PSK", "TKIP"},
};

// In this order, because the longer names begin with the shorter ones.
constexpr struct {
  char prefix[8];
  char mode[10];
} kModes[] = {
    {"11b/g/n", "802.11bgn"}, {"11b/g", "802.11bg"}, {"11b", "802.11b"},
    {"11a/n", "802.11an"},    {"11a", "802.11a"},
};
constexpr const char* kOtherMode = "802.11bgn";

// The walk that frees a list ends before its last entry. It serves the next list, so that none adds up.
site_survey_entry* kept_entry = nullptr;

const char* mode_of(std::string_view column) {
  for (const auto& row : kModes) {
    if (column.starts_with(row.prefix)) return row.mode;
  }
  return kOtherMode;
}

const SecurityRow* security_of(std::string_view column) {
  for (const SecurityRow& row : kSecurity) {
    if (column.starts_with(row.prefix)) return &row;
  }
  return nullptr;
}

const char* band_of(int channel) {
  return channel < kFirst5GhzChannel ? "2.4GHz" : "5GHz";
}

void log_retry(int retry) {
  KD_LOG_MODULE("get scan result failed, retry %d", retry);
}

}  // namespace

std::string_view ScanColumn::of(std::string_view line) const {
  return head(tail(line, start), length);
}

os::File open_fresh_scan_list(void (*report_retry)(int retry)) {
  for (int retry = 1;; ++retry) {
    os::system("iwpriv ra0 get_site_survey > /tmp/scanList.txt");
    os::File list{os::fopen(kScanListFile, "r")};
    if (list && os::size(list.get()) >= kLeastScanListSize) {
      skip_line(list.get());
      skip_line(list.get());
      return list;
    }
    if (retry > kMostRetries) return nullptr;
    report_retry(retry);
  }
}

bool parse_scan_line(std::string_view line, site_survey_entry& entry) {
  copy_text(entry.band, band_of(text_to_int(kChannelColumn.of(line))));
  const int length = text_to_int(kSsidLengthColumn.of(line));
  if (length < 1) return false;  // 0 is a hidden network
  const std::string_view ssid = head(kSsidColumn.of(line), static_cast<std::size_t>(length));
  if (ssid.size() != static_cast<std::size_t>(length)) return false;
  copy_text(entry.ssid, ssid);

  const SecurityRow* security = security_of(kSecurityColumn.of(line));
  if (!security) return false;
  entry.security_enabled = security->enabled;
  copy_text(entry.security_type, security->type);
  copy_text(entry.encryption, security->encryption);
  entry.signal = text_to_int(kSignalColumn.of(line));
  copy_text(entry.mode, mode_of(kModeColumn.of(line)));
  if (kNetworkTypeColumn.of(line) == "Ad") return false;
  copy_text(entry.network_type, "INFRASTRUCTURE");
  return true;
}

std::int32_t kd_hnap_repeater_get_networks(site_survey_list& list) {
  const os::File file = open_fresh_scan_list(log_retry);
  if (!file) {
    KD_LOG_MODULE("Fail to get site survey list !!!");
    return -1;
  }
  site_survey_entry** end = &list.head;
  while (*end) end = &(*end)->next;
  char line[8000];
  for (std::string_view read; !(read = read_line(file.get(), line)).empty();) {
    site_survey_entry entry{};
    if (read.size() < 2 || !parse_scan_line(without_line_end(read), entry)) continue;
    void* memory = kept_entry ? std::exchange(kept_entry, nullptr) : std::malloc(sizeof entry);
    if (!memory) continue;
    *end = new (memory) site_survey_entry{entry};
    end = &(*end)->next;
    ++list.count;
  }
  return list.count;
}

void kd_hnap_repeater_free_networks(site_survey_list& list) {
  site_survey_entry* entry = list.head;
  for (std::int32_t left = list.count; left > 0 && entry && entry->next; --left) {
    site_survey_entry* next = entry->next;
    std::free(entry);
    entry = next;
  }
  if (entry) {
    std::free(std::exchange(kept_entry, entry));
    outlives_request(entry);
  }
  list = {};
}

int kd_hnap_get_repeater_wifi_band(char (&band)[7]) {
  char channel[8];
  if (!read_first_line_of_command("iwconfig apcli0 | grep Channel | awk '{ print $2 }' | sed 's/Channel=//g'",
                                  channel)) {
    return -1;
  }
  copy_text(band, band_of(text_to_int(channel)));
  return 0;
}

}  // namespace kd
