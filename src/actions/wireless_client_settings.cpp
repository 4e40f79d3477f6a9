// SetWirelessClientSettings, SetWirelessClientSettings2 for one of the two bands, GetWirelessClientSettings,
// GetLastSetWirelessClientSettingsResult.
#include "actions/arguments.hpp"
#include "actions/client_security.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "platform/nvram_config.hpp"
#include "platform/repeater_settings.hpp"
#include "xml/reply.hpp"
#include "xml/xml_encode.hpp"

namespace kd {
namespace {

constexpr std::size_t kMostSsid = 32;
constexpr const char* kOnlyNetworkType = "INFRASTRUCTURE";

// The network that a client chose.
struct NetworkChoice {
  const char* ssid = "";
  int security_enabled = 0;
  const char* security_type = nullptr;
  const char* encryption = nullptr;
  const char* key = nullptr;
  const char* band = nullptr;  // "2.4GHz" or "5GHz"; null for either
};

const char* accept_network_type(const xml_element& element, void*) {
  if (view_of(element.text) == kOnlyNetworkType) return nullptr;
  return "ERROR_NETWORK_TYPE_NOT_SUPPORTED";
}

const char* accept_security_enabled(const xml_element& element, void* target) {
  const std::string_view text = view_of(element.text);
  if (element.text && text != "true" && text != "false") {
    return kGenericError;
  }
  *static_cast<int*>(target) = text == "true";
  return nullptr;
}

// Returns null, or the text of the error reply.
const char* read_choice(const xml_element* action, bool with_band, NetworkChoice& choice) {
  if (with_band) choice.band = "";
  Argument arguments[] = {
      {"SSID", accept_text, &choice.ssid},
      {"NetworkType", accept_network_type, nullptr},
      {"SecurityEnabled", accept_security_enabled, &choice.security_enabled},
      {"SecurityType", accept_text, &choice.security_type},
      {"Encryption", accept_text, &choice.encryption},
      {"Key", accept_text, &choice.key},
      {"Band", accept_text, &choice.band},
  };
  const std::size_t count = std::size(arguments) - (with_band ? 0 : 1);
  return read_arguments(action, {arguments, count}).text;
}

// Returns null, or the text of the error reply.
const char* check_choice(const NetworkChoice& choice) {
  const std::size_t length = view_of(choice.ssid).size();
  if (length > kMostSsid) {
    KD_LOG_HANDLER("Invalid SSID length: %d\n", static_cast<int>(length));
    return kGenericError;
  }
  const std::string_view band = view_of(choice.band);
  if (choice.band && band != "2.4GHz" && band != "5GHz") {
    KD_LOG_HANDLER("Invalid band setting: %d\n", static_cast<int>(band.size()));
    return kGenericError;
  }
  if (!choice.security_enabled) return nullptr;
  return check_client_security(choice.security_type, choice.encryption, choice.key, choice.band != nullptr);
}

repeater_settings settings_of(const NetworkChoice& choice) {
  repeater_settings settings{};
  copy_text(settings.ssid, choice.ssid);
  copy_text(settings.network_type, kOnlyNetworkType);
  copy_text(settings.band, view_of(choice.band));
  settings.security_enabled = choice.security_enabled;
  if (choice.security_enabled) {
    copy_text(settings.security_type, view_of(choice.security_type));
    copy_text(settings.encryption, view_of(choice.encryption));
    copy_text(settings.key, view_of(choice.key));
  }
  return settings;
}

const char* outcome_name(int outcome) {
  constexpr const char* kNames[] = {"UNKNOWN", "SUCCESS", "AUTHENTICATION_FAILURE"};
  return outcome >= 0 && outcome < 3 ? kNames[outcome] : "CONNECTION_FAILURE";
}

// How the last choice ended, as another program noted it.
int kd_hnap_get_last_set_wireless_client_settings_result() {
  reopen_config();
  return nvram_number("LastSetWirelessClientResult");
}

ReplyText answer_choice(hnap_request& request, const xml_element* element, const char* action,
                        bool with_band) {
  Reply reply{request, action, namespace_of(request)};
  NetworkChoice choice;
  if (const char* error = read_choice(element, with_band, choice)) return reply.error(error);
  if (const char* error = check_choice(choice)) return reply.error(error);
  reply.result("REBOOT");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  kd_hnap_set_repeater_settings(settings_of(choice));
  request.hnap_action = DeferredAction::reload_wireless;
  return reply.finish();
}

}  // namespace

ReplyText set_wireless_client_settings(hnap_request& request, const xml_element* action) {
  return answer_choice(request, action, "SetWirelessClientSettings", false);
}

ReplyText set_wireless_client_settings2(hnap_request& request, const xml_element* action) {
  return answer_choice(request, action, "SetWirelessClientSettings2", true);
}

ReplyText get_wireless_client_settings(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetWirelessClientSettings", namespace_of(request)};
  repeater_settings settings{};
  kd_hnap_get_repeater_settings(settings);
  reply.result("OK");
  reply.encoded_leaf("SSID", settings.ssid);
  reply.leaf("NetworkType", settings.network_type);
  reply.leaf("SecurityEnabled", settings.security_enabled ? "true" : "false");
  reply.leaf("SecurityType", settings.security_type);
  reply.leaf("Encryption", settings.encryption);
  reply.encoded_leaf("Key", settings.key);
  reply.leaf("Connected", settings.connected ? "true" : "false");
  return reply.finish();
}

ReplyText get_last_set_wireless_client_settings_result(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetLastSetWirelessClientSettingsResult", Namespace::extender};
  if (!reply) return reply.finish();  // out of memory: leave the store alone
  const int outcome = kd_hnap_get_last_set_wireless_client_settings_result();
  reply.result("OK");
  reply.leaf("Result", outcome_name(outcome));
  return reply.finish();
}

}  // namespace kd
