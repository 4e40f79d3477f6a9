// SetWirelessClientSettings, SetWirelessClientSettings2 for one of the two bands, GetWirelessClientSettings,
// GetLastSetWirelessClientSettingsResult.
#include "actions/arguments.hpp"
#include "actions/client_security.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "nvram.h"
#include "platform/nvram_config.hpp"
#include "platform/repeater_settings.hpp"
#include "xml/reply.hpp"
#include "xml/xml_encode.hpp"

namespace kd {
namespace {

constexpr std::size_t kMostSsid = 32;
constexpr const char* kOnlyNetworkType = "INFRASTRUCTURE";

// The network that a client chose.
struct network_choice {
  const char* ssid = "";
  int security_enabled = 0;
  const char* security_type = nullptr;
  const char* encryption = nullptr;
  const char* key = nullptr;
  const char* band = nullptr;  // "2.4GHz" or "5GHz"; null for either
};

const char* accept_network_type(const xml_element& element, void*) {
  if (view_of(element.text) == kOnlyNetworkType) return nullptr;
  if (element.text) {
    kd_hnap_printf(nullptr, kHandlerSource, __LINE__, "ERROR:Unknow setting %s for NetworkType",
                   element.text);
  } else {
    kd_hnap_printf(nullptr, kHandlerSource, __LINE__, "ERROR:Unknow setting %s for NetworkType\n", "");
  }
  return "ERROR_NETWORK_TYPE_NOT_SUPPORTED";
}

const char* accept_security_enabled(const xml_element& element, void* target) {
  const std::string_view text = view_of(element.text);
  if (element.text && text != "true" && text != "false") {
    kd_hnap_printf(nullptr, kHandlerSource, __LINE__, "ERROR:Unknow setting %s for SecurityEnabled\n",
                   element.text);
    return kGenericError;
  }
  *static_cast<int*>(target) = text == "true";
  return nullptr;
}

// Returns null, or the text of the error reply.
const char* read_choice(const hnap_request& request, const xml_element* action, bool with_band,
                        network_choice& choice) {
  if (with_band) choice.band = "";
  Argument arguments[] = {
      text_argument("SSID", &choice.ssid),
      {"NetworkType", accept_network_type, nullptr},
      {"SecurityEnabled", accept_security_enabled, &choice.security_enabled},
      text_argument("SecurityType", &choice.security_type),
      text_argument("Encryption", &choice.encryption),
      text_argument("Key", &choice.key),
      text_argument("Band", &choice.band),
  };
  const std::size_t count = std::size(arguments) - (with_band ? 0 : 1);
  const argument_fault fault = read_arguments(action, {arguments, count});
  if (!with_band) kd_hnap_printf(&request, kHandlerSource, __LINE__, "SSID = %s", choice.ssid);
  if (fault.unknown_name) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "ERROR:Unknow setting %s", fault.unknown_name);
  } else if (fault.missing) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "ERROR: Got a NULL request");
  }
  return fault.text;
}

// Returns null, or the text of the error reply.
const char* check_choice(const hnap_request& request, const network_choice& choice) {
  const std::size_t length = view_of(choice.ssid).size();
  if (length > kMostSsid) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "Invalid SSID length: %d\n", static_cast<int>(length));
    return kGenericError;
  }
  const std::string_view band = view_of(choice.band);
  if (choice.band && band != "2.4GHz" && band != "5GHz") {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "Invalid band setting: %d\n",
                   static_cast<int>(band.size()));
    return kGenericError;
  }
  if (!choice.security_enabled) return nullptr;
  return check_client_security(choice.security_type, choice.encryption, choice.key, choice.band != nullptr);
}

repeater_settings settings_of(const network_choice& choice) {
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

const char* yes_or_no(bool value) {
  return value ? "true" : "false";
}

const char* outcome_name(int outcome) {
  switch (outcome) {
    case 0:
      return "UNKNOWN";
    case 1:
      return "SUCCESS";
    case 2:
      return "AUTHENTICATION_FAILURE";
    default:
      return "CONNECTION_FAILURE";
  }
}

// How the last choice ended, as another program noted it.
int kd_hnap_get_last_set_wireless_client_settings_result(const hnap_request& request) {
  // Opening the store anew shows what other programs wrote.
  nvram_close(0);
  nvram_init(0);
  return nvram_number(&request, "LastSetWirelessClientResult");
}

reply_text answer_choice(hnap_request& request, const xml_element* element, const char* action,
                         bool with_band) {
  Reply reply{action, namespace_of(request)};
  network_choice choice;
  if (const char* error = read_choice(request, element, with_band, choice)) return reply.error(error);
  if (const char* error = check_choice(request, choice)) return reply.error(error);
  reply.result("REBOOT");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  kd_hnap_set_repeater_settings(request, settings_of(choice));
  return reply.finish();
}

}  // namespace

reply_text set_wireless_client_settings(hnap_request& request, const xml_element* action) {
  return answer_choice(request, action, "SetWirelessClientSettings", false);
}

reply_text set_wireless_client_settings2(hnap_request& request, const xml_element* action) {
  return answer_choice(request, action, "SetWirelessClientSettings2", true);
}

reply_text get_wireless_client_settings(hnap_request& request, const xml_element*) {
  Reply reply{"GetWirelessClientSettings", namespace_of(request)};
  repeater_settings settings{};
  kd_hnap_get_repeater_settings(&request, settings);
  reply.result("OK");
  const char* enabled = yes_or_no(settings.security_enabled != 0);
  const char* connected = yes_or_no(settings.connected != 0);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "SSID = %s", settings.ssid);
  reply.encoded_leaf("SSID", settings.ssid);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "NetworkType = %s", settings.network_type);
  reply.leaf("NetworkType", settings.network_type);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "SecurityEnabled = %s", enabled);
  reply.leaf("SecurityEnabled", enabled);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "SecurityType = %s\n", settings.security_type);
  reply.leaf("SecurityType", settings.security_type);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Encryption = %s\n", settings.encryption);
  reply.leaf("Encryption", settings.encryption);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Key = %s", settings.key);
  reply.encoded_leaf("Key", settings.key);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Connected = %s", connected);
  reply.leaf("Connected", connected);
  return reply.finish();
}

reply_text get_last_set_wireless_client_settings_result(hnap_request& request, const xml_element*) {
  Reply reply{"GetLastSetWirelessClientSettingsResult", Namespace::extender};
  if (!reply) return reply.finish();  // out of memory: leave the store alone
  const int outcome = kd_hnap_get_last_set_wireless_client_settings_result(request);
  reply.result("OK");
  reply.leaf("Result", outcome_name(outcome));
  return reply.finish();
}

}  // namespace kd
