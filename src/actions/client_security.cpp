#include "actions/client_security.hpp"

#include <algorithm>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "xml/envelope.hpp"

namespace kd {
namespace {

constexpr const char* kIllegalKey = "ERROR_ILLEGAL_KEY_VALUE";

constexpr ClientSecurity kSecurity[] = {
    {"WEP-OPEN", {"WEP-64", "WEP-128"}}, {"WEP-SHARED", {"WEP-64", "WEP-128"}},
    {"WEP-AUTO", {"WEP-64", "WEP-128"}}, {"WPA-PSK", {"TKIP", nullptr}},
    {"WPA2-PSK", {"AES", nullptr}},      {"WPA-AUTO-PSK", {"TKIPORAES", nullptr}},
};

const ClientSecurity* find_security(std::string_view type) {
  if (type == "WEP") type = "WEP-AUTO";
  for (const ClientSecurity& row : kSecurity) {
    if (type == row.type) return &row;
  }
  return nullptr;
}

bool allows(const ClientSecurity& security, std::string_view encryption) {
  for (const char* allowed : security.encryptions) {
    if (allowed && encryption == allowed) return true;
  }
  return false;
}

const char* check_wep_key(std::string_view encryption, const char* key) {
  if (!key) {
    KD_LOG_HANDLER("ERROR: The wep key is NULL");
    return kIllegalKey;
  }
  const int bits = encryption == "WEP-64" ? 64 : 128;
  if (kd_hnap_verify_wep_key(key, bits)) return nullptr;
  KD_LOG_HANDLER("ERROR: Got a illegal wep-%d key %s", bits, key);
  return kIllegalKey;
}

bool all_hex(std::string_view text) {
  return std::all_of(text.begin(), text.end(), is_hex_digit);
}

}  // namespace

std::span<const ClientSecurity> offered_client_security() {
  return kSecurity;
}

const char* check_client_security(const char* type, const char* encryption, const char* key, bool with_band) {
  if (!type || !encryption) return kGenericError;
  const ClientSecurity* security = find_security(type);
  if (!security) return "ERROR_TYPE_NOT_SUPPORTED";
  const bool is_wep = std::string_view{type}.starts_with("WEP");
  if (!allows(*security, encryption)) {
    if (!is_wep && !with_band) {
      KD_LOG_HANDLER("ERROR: the encryption value %s requested is not supported by this security %s",
                     encryption, type);
    }
    return "ERROR_ENCRYPTION_NOT_SUPPORTED";
  }
  if (is_wep) return check_wep_key(encryption, key);
  return key && kd_hnap_verify_wpa_key(key) ? nullptr : kIllegalKey;
}

int kd_hnap_verify_wep_key(const char* key, int bits) {
  const std::string_view digits = view_of(key);
  return digits.size() == (bits == 64 ? 10 : 26) && all_hex(digits);
}

int kd_hnap_verify_wpa_key(const char* key) {
  const std::string_view text = view_of(key);
  if (text.empty()) return 1;
  if (text.size() == 64) return all_hex(text);
  return text.size() >= 8 && text.size() <= 63 &&
         std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
}

}  // namespace kd
