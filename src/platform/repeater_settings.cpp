#include "platform/repeater_settings.hpp"

#include <cstdio>

#include "base/text.hpp"
#include "platform/nvram_config.hpp"
#include "platform/radio.hpp"
#include "platform/shell.hpp"

namespace kd {
namespace {

// Where the previous values are saved; each value's own key stands behind the prefix.
constexpr std::string_view kSavedPrefix = "Last";
constexpr char kSavedKeys[][18] = {
    "LastSSID1",    "LastChannel", "LastAuthMode",    "LastEncrypType",    "LastDefaultKeyID", "LastKey1Type",
    "LastKey1Str1", "LastWPAPSK1", "LastApCliEnable", "LastWscConfigured", "LastApCliBssid",   "LastHT_BW",
};

// How a security type is stored.
struct SecurityRow {
  char type[13];
  char auth_mode[14];
  char client_auth_mode[8];
  char cipher[8];
  char client_cipher[5];
  char ht_bw[2];
};

constexpr SecurityRow kOpenSecurity = {"", "OPEN", "OPEN", "NONE", "NONE", "1"};
constexpr SecurityRow kWepSecurity[] = {
    {"WEP-AUTO", "WEPAUTO", "WEPAUTO", "WEP", "WEP", "0"},
    {"WEP", "WEPAUTO", "WEPAUTO", "WEP", "WEP", "0"},
    {"WEP-OPEN", "OPEN", "OPEN", "WEP", "WEP", "0"},
    {"WEP-SHARED", "SHARED", "SHARED", "WEP", "WEP", "0"},
};
// In mixed mode the access point offers both versions and ciphers, and the repeater joins with WPA2 and AES.
constexpr SecurityRow kWpaSecurity[] = {
    {"WPA-PSK", "WPAPSK", "WPAPSK", "TKIP", "TKIP", "0"},
    {"WPA2-PSK", "WPA2PSK", "WPA2PSK", "AES", "AES", "1"},
    {"WPA-AUTO-PSK", "WPAPSKWPA2PSK", "WPA2PSK", "TKIPAES", "AES", "1"},
};

template <std::size_t N>
const SecurityRow* find_security(const SecurityRow (&rows)[N], std::string_view type) {
  for (const SecurityRow& row : rows) {
    if (type == row.type) return &row;
  }
  return nullptr;
}

// The same value for the access point and for the repeater client.
void set_both(const char* key, const char* client_key, const char* value) {
  kd_set_nvram_config(key, value);
  kd_set_nvram_config(client_key, value);
}

void set_auth(const SecurityRow& row) {
  kd_set_nvram_config("AuthMode", row.auth_mode);
  kd_set_nvram_config("ApCliAuthMode", row.client_auth_mode);
}

void set_cipher(const SecurityRow& row) {
  kd_set_nvram_config("EncrypType", row.cipher);
  kd_set_nvram_config("ApCliEncrypType", row.client_cipher);
}

void store_security(const repeater_settings& settings) {
  if (settings.security_enabled != 1) {
    set_auth(kOpenSecurity);
    set_cipher(kOpenSecurity);
    kd_set_nvram_config("HT_BW", kOpenSecurity.ht_bw);
  } else if (const SecurityRow* wep = find_security(kWepSecurity, settings.security_type)) {
    set_auth(*wep);
    kd_set_nvram_config("HT_BW", wep->ht_bw);
    set_cipher(*wep);
    set_both("DefaultKeyID", "ApCliDefaultKeyID", "1");
    set_both("Key1Type", "ApCliKey1Type", "0");
    set_both("Key1Str1", "ApCliKey1Str", settings.key);
  } else if (const SecurityRow* wpa = find_security(kWpaSecurity, settings.security_type)) {
    kd_set_nvram_config("HT_BW", wpa->ht_bw);
    set_auth(*wpa);
    set_cipher(*wpa);
    set_both("WPAPSK1", "ApCliWPAPSK", settings.key);
  }
}

const char* configured_band(std::string_view band) {
  if (band == "2.4GHz") return "2.4";
  return band == "5GHz" ? "5" : "";
}

template <std::size_t N>
void read_field(const char* key, char (&field)[N]) {
  ConfigValue value{};
  kd_get_nvram_config(key, value);
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

void read_wep_key(repeater_settings& settings) {
  constexpr const char* kKeys[] = {"Key1Str1", "Key2Str1", "Key3Str1", "Key4Str1"};
  const int index = nvram_number("DefaultKeyID");
  ConfigValue key{};
  if (index >= 1 && index <= 4) kd_get_nvram_config(kKeys[index - 1], key);
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

void read_security(repeater_settings& settings) {
  ConfigValue auth_mode{}, cipher{};
  kd_get_nvram_config("AuthMode", auth_mode);
  kd_get_nvram_config("EncrypType", cipher);
  if (view_of(auth_mode) == "OPEN" && view_of(cipher) == "NONE") return;
  settings.security_enabled = 1;
  copy_text(settings.security_type, security_type_of(auth_mode, cipher));
  if (view_of(cipher) == "WEP") {
    read_wep_key(settings);
  } else if (const char* encryption = wpa_encryption_of(cipher)) {
    copy_text(settings.encryption, encryption);
    read_field("WPAPSK1", settings.key);
  }
}

}  // namespace

void kd_save_last_rp_settings() {
  console_printf("Save last repeater settings\n");
  for (const char* saved : kSavedKeys) {
    ConfigValue value{};
    kd_get_nvram_config(saved + kSavedPrefix.size(), value);
    kd_set_nvram_config(saved, value);
  }
}

void kd_hnap_set_repeater_settings(const repeater_settings& settings) {
  kd_save_last_rp_settings();
  set_both("SSID1", "ApCliSsid", settings.ssid);
  store_security(settings);
  kd_set_nvram_config("HNAPConfiguredBand", configured_band(settings.band));
  kd_set_nvram_config("ApCliEnable", "1");
  kd_set_nvram_config("WscConfigured", "1");
}

std::int32_t kd_hnap_get_repeater_settings(repeater_settings& settings) {
  read_field("SSID1", settings.ssid);
  copy_text(settings.network_type, "INFRASTRUCTURE");
  read_security(settings);
  settings.connected = getAPClientStatus();
  return settings.connected;
}

}  // namespace kd
