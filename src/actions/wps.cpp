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

void log_fault(const hnap_request& request, const xml_element* action, const argument_fault& fault) {
  if (!action) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "curr_rqst is NULL -3 !!!");
  } else if (fault.missing) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "curr_rqst is NULL -4 !!!");
  } else if (fault.unknown_name) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "Unknow tag name %s !!!", fault.unknown_name);
  } else {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "Method is NULL !!!");
  }
}

bool is_valid_pin(const hnap_request& request, const char* pin) {
  constexpr std::size_t kDigits = 8;
  if (std::strlen(pin) < kDigits) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "ERROR: WPS PIN length %d is incorrect!!\n",
                   static_cast<int>(std::strlen(pin)));
    return false;
  }
  for (const char c : head(pin, kDigits)) {
    if (c >= '0' && c <= '9') continue;
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "ERROR: WPS PIN fomat is incorrect!!\n");
    return false;
  }
  if (kd_validate_pin_checksum(pin)) return true;
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "ERROR: The checksum of WPS PIN is incorrect!!\n");
  return false;
}

bool is_valid_session(const hnap_request& request, const char* method, const char* pin, const char* bssid) {
  const bool by_pin = view_of(method) == "PIN";
  if (!by_pin && view_of(method) != "PBC") {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "ERROR: Unknow WPS method!!\n");
    return false;
  }
  if (by_pin && !is_valid_pin(request, pin)) return false;
  if (!*bssid) return true;
  kd_hnap_printf(&request, kHandlerSource, __LINE__,
                 "BSSID=\"%s\" is not blank, device provided HNAP doesn't support to it", bssid);
  return false;
}

}  // namespace

reply_text start_wps(hnap_request& request, const xml_element* action) {
  Reply reply{"StartWPS", Namespace::extender};
  const char* method = "";
  const char* pin = "";
  const char* bssid = "";
  Argument arguments[] = {
      {"Method", accept_method, &method}, text_argument("PIN", &pin), text_argument("BSSID", &bssid)};
  if (const argument_fault fault = read_arguments(action, arguments)) {
    log_fault(request, action, fault);
    return reply.error(fault.text);
  }
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "HNAP client request to use WPS %s", method);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "PIN Code = %s", pin);
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "BSSID = %s", bssid);
  if (!is_valid_session(request, method, pin, bssid)) return reply.error();
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  kd_hnap_start_wps(&request, method, pin);
  return reply.finish();
}

reply_text stop_wps(hnap_request& request, const xml_element*) {
  Reply reply{"StopWPS", Namespace::extender};
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  kd_hnap_stop_wps(&request);
  return reply.finish();
}

reply_text get_wps_status(hnap_request& request, const xml_element*) {
  Reply reply{"GetWPSStatus", Namespace::extender};
  wps_status status{};
  kd_hnap_get_wps_status(&request, status);
  reply.result("OK");
  reply.leaf("Status", status);
  return reply.finish();
}

}  // namespace kd
