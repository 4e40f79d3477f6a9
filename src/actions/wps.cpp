// StartWPS, StopWPS, GetWPSStatus.
#include <cstring>

#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/wps.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

const char* accept_method(const xml_element& element, void* target) {
  if (!element.text) return kGenericError;
  *static_cast<const char**>(target) = element.text;
  return nullptr;
}

bool is_valid_pin(const char* pin) {
  constexpr std::size_t kDigits = 8;
  if (std::strlen(pin) < kDigits) {
    KD_LOG_HANDLER("ERROR: WPS PIN length %d is incorrect!!\n", static_cast<int>(std::strlen(pin)));
    return false;
  }
  for (const char c : head(pin, kDigits)) {
    if (c >= '0' && c <= '9') continue;
    KD_LOG_HANDLER("ERROR: WPS PIN fomat is incorrect!!\n");
    return false;
  }
  if (kd_validate_pin_checksum(pin)) return true;
  KD_LOG_HANDLER("ERROR: The checksum of WPS PIN is incorrect!!\n");
  return false;
}

bool is_valid_session(const char* method, const char* pin, const char* bssid) {
  const bool by_pin = view_of(method) == "PIN";
  if (!by_pin && view_of(method) != "PBC") {
    KD_LOG_HANDLER("ERROR: Unknow WPS method!!\n");
    return false;
  }
  if (by_pin && !is_valid_pin(pin)) return false;
  if (!*bssid) return true;
  KD_LOG_HANDLER("BSSID=\"%s\" is not blank, device provided HNAP doesn't support to it", bssid);
  return false;
}

}  // namespace

ReplyText start_wps(hnap_request& request, const xml_element* action) {
  Reply reply{request, "StartWPS", Namespace::extender};
  const char* method = "";
  const char* pin = "";
  const char* bssid = "";
  Argument arguments[] = {
      {"Method", accept_method, &method}, {"PIN", accept_text, &pin}, {"BSSID", accept_text, &bssid}};
  if (const ArgumentFault fault = read_arguments(action, arguments)) return reply.error(fault.text);
  if (!is_valid_session(method, pin, bssid)) return reply.error();
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  kd_hnap_start_wps(method, pin);
  return reply.finish();
}

ReplyText stop_wps(hnap_request& request, const xml_element*) {
  Reply reply{request, "StopWPS", Namespace::extender};
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  kd_hnap_stop_wps();
  return reply.finish();
}

ReplyText get_wps_status(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetWPSStatus", Namespace::extender};
  WpsStatus status{};
  kd_hnap_get_wps_status(status);
  reply.result("OK");
  reply.leaf("Status", status);
  return reply.finish();
}

}  // namespace kd
