#include "platform/mac_filter.hpp"

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "platform/wps.hpp"

namespace kd {
namespace {

constexpr const char* kPolicyKey = "AccessPolicy0";
constexpr const char* kListKey = "AccessControlList0";
constexpr int kAllow = 1, kDeny = 2;  // the policies; any other is none

bool has_mac_form(std::string_view text) {
  if (text.size() != kMacLength) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != ':' : !is_hex_digit(text[i])) return false;
  }
  return true;
}

}  // namespace

void kd_hnap_get_mac_filter_settings(MacFilterSettings& settings) {
  settings = {};
  const int policy = nvram_number(kPolicyKey);
  settings.enabled = policy == kAllow || policy == kDeny;
  settings.is_allow_list = policy == kAllow;

  ConfigValue list{};
  kd_get_nvram_config(kListKey, list);
  std::string_view rest = list;
  while (!rest.empty() && settings.count < kMostMacFilters) {
    const std::string_view mac = head(rest, rest.find(';'));
    rest = tail(rest, mac.size() + 1);
    if (!kd_hnap_valid_mac(mac)) continue;
    char(&entry)[kMacLength + 1] = settings.addresses[settings.count++];
    copy_text(entry, mac);
    KD_LOG_MODULE("MAC Address: %s", entry);
  }
}

void kd_hnap_set_mac_filter_settings(bool enabled, bool is_allow_list, const char* list) {
  kd_set_nvram_config(kPolicyKey, !enabled ? "0" : is_allow_list ? "1" : "2");
  if (enabled) kd_set_nvram_config(kListKey, list);
}

bool kd_hnap_valid_mac(std::string_view text) {
  if (!has_mac_form(text)) {
    KD_LOG_MODULE("Invalid MAC address");
    return false;
  }
  if (kd_hnap_is_multicast_mac(text)) {
    KD_LOG_MODULE("Multicast MAC address");
    return false;
  }
  return true;
}

bool kd_hnap_is_multicast_mac(std::string_view text) {
  return hex_to_uint(head(text, 2)) & 1;
}

bool kd_hnap_is_duplicate_entry(std::string_view list, std::string_view mac) {
  char upper[kMacLength + 1];
  copy_text(upper, mac);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  if (!contains(list, upper)) return false;
  KD_LOG_MODULE("Duplicate MAC address");
  return true;
}

void kd_hnap_reactive_wifi() {
  os::run_all({"ifconfig ra0 down", "ralink_init make_wireless_config rt2860", "ifconfig ra0 up"});
  kd_restart_wps();
}

}  // namespace kd
