#include "platform/repeater_settings.hpp"

#include <algorithm>
#include <cstdio>

#include "base/text.hpp"
#include "platform/console.hpp"
#include "platform/lines.hpp"
#include "platform/nvram_config.hpp"
#include "platform/radio.hpp"
#include "platform/site_survey.hpp"

namespace kd {
namespace {

// Where the previous values are saved; each value's own key stands behind the prefix.
constexpr std::string_view kSavedPrefix = "Last";
constexpr char kSavedKeys[][18] = {
    "LastSSID1",    "LastChannel", "LastAuthMode",    "LastEncrypType",    "LastDefaultKeyID", "LastKey1Type",
    "LastKey1Str1", "LastWPAPSK1", "LastApCliEnable", "LastWscConfigured", "LastApCliBssid",   "LastHT_BW",
};

// How a security type is stored.
struct security_row {
  char type[13];
  char auth_mode[14];
  char client_auth_mode[8];
  char cipher[8];
  char client_cipher[5];
  char ht_bw[2];
};

constexpr security_row kOpenSecurity = {"", "OPEN", "OPEN", "NONE", "NONE", "1"};
constexpr security_row kWepSecurity[] = {
    {"WEP-AUTO", "WEPAUTO", "WEPAUTO", "WEP", "WEP", "0"},
    {"WEP", "WEPAUTO", "WEPAUTO", "WEP", "WEP", "0"},
    {"WEP-OPEN", "OPEN", "OPEN", "WEP", "WEP", "0"},
    {"WEP-SHARED", "SHARED", "SHARED", "WEP", "WEP", "0"},
};
// In mixed mode the access point offers both versions and ciphers, and the repeater joins with WPA2 and AES.
constexpr security_row kWpaSecurity[] = {
    {"WPA-PSK", "WPAPSK", "WPAPSK", "TKIP", "TKIP", "0"},
    {"WPA2-PSK", "WPA2PSK", "WPA2PSK", "AES", "AES", "1"},
    {"WPA-AUTO-PSK", "WPAPSKWPA2PSK", "WPA2PSK", "TKIPAES", "AES", "1"},
};

template <std::size_t N>
const security_row* find_security(const security_row (&rows)[N], std::string_view type) {
  for (const security_row& row : rows) {
    if (type == row.type) return &row;
  }
  return nullptr;
}

struct Store {
  const hnap_request* request;

  void set(const char* key, const char* value) const { kd_set_nvram_config(request, key, value); }
  // The same value for the access point and for the repeater client.
  void set_both(const char* key, const char* client_key, const char* value) const {
    set(key, value);
    set(client_key, value);
  }
  void set_auth(const security_row& row) const {
    set("AuthMode", row.auth_mode);
    set("ApCliAuthMode", row.client_auth_mode);
  }
  void set_cipher(const security_row& row) const {
    set("EncrypType", row.cipher);
    set("ApCliEncrypType", row.client_cipher);
  }
};

void store_security(const Store& store, const repeater_settings& settings) {
  if (settings.security_enabled != 1) {
    store.set_auth(kOpenSecurity);
    store.set_cipher(kOpenSecurity);
    store.set("HT_BW", kOpenSecurity.ht_bw);
  } else if (const security_row* wep = find_security(kWepSecurity, settings.security_type)) {
    store.set_auth(*wep);
    store.set("HT_BW", wep->ht_bw);
    store.set_cipher(*wep);
    store.set_both("DefaultKeyID", "ApCliDefaultKeyID", "1");
    store.set_both("Key1Type", "ApCliKey1Type", "0");
    store.set_both("Key1Str1", "ApCliKey1Str", settings.key);
  } else if (const security_row* wpa = find_security(kWpaSecurity, settings.security_type)) {
    store.set("HT_BW", wpa->ht_bw);
    store.set_auth(*wpa);
    store.set_cipher(*wpa);
    store.set_both("WPAPSK1", "ApCliWPAPSK", settings.key);
  }
}

const char* configured_band(std::string_view band) {
  if (band == "2.4GHz") return "2.4";
  return band == "5GHz" ? "5" : "";
}

template <std::size_t N>
void read_field(const hnap_request* request, const char* key, char (&field)[N]) {
  config_value value{};
  kd_get_nvram_config(request, key, value);
  copy_text(field, value);
}

const char* security_type_of(std::string_view auth_mode, std::string_view cipher) {
  if (auth_mode == "WPAPSK") return "WPA-PSK";
  if (auth_mode == "WPA2PSK") return "WPA2-PSK";
  if (auth_mode == "WPAPSKWPA2PSK") return "WPA-AUTO-PSK";
  if (auth_mode == "WEPAUTO") return "WEP-AUTO";
  if (cipher != "WEP") return "";
  if (auth_mode == "OPEN") return "WEP-OPEN";
  return auth_mode == "SHARED" ? "WEP-SHARED" : "";
}

const char* wpa_encryption_of(std::string_view cipher) {
  if (cipher == "TKIP") return "TKIP";
  if (cipher == "AES") return "AES";
  return cipher == "TKIPAES" ? "TKIPORAES" : nullptr;
}

void read_wep_key(const hnap_request* request, repeater_settings& settings) {
  constexpr const char* kKeys[] = {"Key1Str1", "Key2Str1", "Key3Str1", "Key4Str1"};
  const int index = nvram_number(request, "DefaultKeyID");
  config_value key{};
  if (index >= 1 && index <= 4) kd_get_nvram_config(request, kKeys[index - 1], key);
  const std::size_t length = std::string_view{key}.size();
  copy_text(settings.encryption, length == 5 || length == 10 ? "WEP-64" : "WEP-128");
  if (length != 5 && length != 13) {
    copy_text(settings.key, key);
    return;
  }
  // A key in ASCII: two characters each, a blank before a single digit.
  for (std::size_t i = 0; i < length; ++i) {
    std::snprintf(settings.key + 2 * i, 3, "%2x", static_cast<unsigned char>(key[i]));
  }
}

void read_security(const hnap_request* request, repeater_settings& settings) {
  config_value auth_mode{}, cipher{};
  kd_get_nvram_config(request, "AuthMode", auth_mode);
  kd_get_nvram_config(request, "EncrypType", cipher);
  if (view_of(auth_mode) == "OPEN" && view_of(cipher) == "NONE") return;
  settings.security_enabled = 1;
  copy_text(settings.security_type, security_type_of(auth_mode, cipher));
  if (view_of(cipher) == "WEP") {
    read_wep_key(request, settings);
  } else if (const char* encryption = wpa_encryption_of(cipher)) {
    copy_text(settings.encryption, encryption);
    read_field(request, "WPAPSK1", settings.key);
  }
}

// The upper channels of the 40 MHz pairs: the second half of such a pair lies below.
constexpr int kUpperChannels[] = {40, 48, 56, 64, 104, 112, 120, 128, 136, 140, 153, 161};

upstream_target::extension_channel extension_of(std::string_view column, int channel) {
  if (column == "ABOVE") return upstream_target::kAbove;
  if (column == "BELOW") return upstream_target::kBelow;
  if (!column.starts_with("NONE")) return upstream_target::kUnchanged;
  const bool upper =
      std::find(std::begin(kUpperChannels), std::end(kUpperChannels), channel) != std::end(kUpperChannels);
  return upper ? upstream_target::kBelow : upstream_target::kAbove;
}

bool find_target(std::FILE* list, std::string_view ssid, std::string_view band, upstream_target& target) {
  char line[4096];
  for (std::string_view read; !(read = read_line(list, line)).empty();) {
    if (match_target_line(without_line_end(read), ssid, band, target)) return true;
  }
  return false;
}

void pin_target(const upstream_target& target) {
  if (target.extension == upstream_target::kAbove) {
    os::system("iwpriv ra0 set HtExtcha=1");
    kd_set_nvram_config(nullptr, "HT_EXTCHA", "1");
  } else if (target.extension == upstream_target::kBelow) {
    os::system("iwpriv ra0 set HtExtcha=0");
    kd_set_nvram_config(nullptr, "HT_EXTCHA", "0");
  }
  char channel[12];
  std::snprintf(channel, sizeof channel, "%d", target.channel);
  os::system("echo 1 > /tmp/targetApFound");
  kd_set_nvram_config(nullptr, "Channel", channel);
  kd_set_nvram_config(nullptr, "ApCliBssid", target.bssid);
  console_printf("Configure Channel to %s and ApCliBssid to %s\n", channel, target.bssid);
}

void report_retry(const hnap_request*, int retry, scan_fault) {
  console_printf("get scan result failed, retry %d", retry);
}

}  // namespace

void kd_save_last_rp_settings(const hnap_request* request) {
  console_printf("Save last repeater settings\n");
  for (const char* saved : kSavedKeys) {
    config_value value{};
    kd_get_nvram_config(request, saved + kSavedPrefix.size(), value);
    kd_set_nvram_config(request, saved, value);
  }
}

void kd_hnap_set_repeater_settings(hnap_request& request, const repeater_settings& settings) {
  kd_save_last_rp_settings(&request);
  const Store store{&request};
  store.set_both("SSID1", "ApCliSsid", settings.ssid);
  store_security(store, settings);
  store.set("HNAPConfiguredBand", configured_band(settings.band));
  store.set("ApCliEnable", "1");
  store.set("WscConfigured", "1");
  request.hnap_action = kReloadWirelessAtClose;
}

std::int32_t kd_hnap_get_repeater_settings(const hnap_request* request, repeater_settings& settings) {
  read_field(request, "SSID1", settings.ssid);
  copy_text(settings.network_type, "INFRASTRUCTURE");
  read_security(request, settings);
  settings.connected = getAPClientStatus();
  return settings.connected;
}

bool match_target_line(std::string_view line, std::string_view ssid, std::string_view band,
                       upstream_target& target) {
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
  target.extension = extension.size() < kExtensionColumn.length ? upstream_target::kUnchanged
                                                                : extension_of(extension, channel);
  return true;
}

int kd_update_settings_by_site_survey() {
  const heap_text ssid = nvram_text("ApCliSsid");
  const heap_text band = nvram_text("HNAPConfiguredBand");
  os::File list = open_fresh_scan_list(nullptr, report_retry);
  upstream_target target;
  // Without a stored name nothing is pinned; an empty one means any network.
  if (list && ssid && find_target(list.get(), ssid.get(), view_of(band.get()), target)) pin_target(target);
  list.reset();
  return os::system("rm -rf /tmp/scanList.txt");
}

}  // namespace kd
