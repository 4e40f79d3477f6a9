#include "module/mod_kd_hnap.hpp"

#include "base/debug_log.hpp"
#include "module/authentication.hpp"
#include "module/dispatch.hpp"
#include "module/intake.hpp"
#include "nvram.h"
#include "platform/console.hpp"
#include "platform/os.hpp"

namespace kd {
namespace {

constexpr std::string_view kHnap = "HNAP";

bool names_hnap(std::optional<std::string_view> uri) {
  return uri && contains(*uri, kHnap);
}

void wait_for_site_survey() {
  // Without an end on purpose: the radio answers nobody while it scans.
  while (os::exists("/tmp/scanning")) {
    os::sleep(1);
    console_printf("Postpone HNAP request since device under scanning\n");
  }
}

void kd_hnap_handler(hnap_request& request) {
  switch (kd_hnap_get_http_type(request)) {
    case http_type::get:
      kd_hnap_printf(&request, kModuleSource, __LINE__, "Got a HNAP base on GET");
      kd_hnap_GET_handler(request);
      break;
    case http_type::post:
      kd_hnap_printf(&request, kModuleSource, __LINE__, "Got a HNAP base on POST");
      if (kd_hnap_is_authorized(request)) {
        kd_hnap_POST_handler(request);
      } else {
        kd_hnap_fail_authorized(request);
      }
      break;
    case http_type::other:
      break;
  }
}

}  // namespace

void start() {
  nvram_init(0);
  nvram_init(1);
  os::system("nvram_set 2860 LastSetWirelessClientResult 0");
}

bool wants(const host::Request& request) {
  if (host::header(request, kSoapActionHeader)) return true;
  return host::method(request) == host::Method::get && names_hnap(host::uri(request));
}

void handle(host::Request& host_request) {
  hnap_request request;
  request.host = &host_request;
  request.hnap_action = host::action(host_request);
  kd_hnap_get_soap_method(request);
  wait_for_site_survey();
  os::system("echo 1 > /tmp/postponeSiteSurvey");
  kd_hnap_handler(request);
  host::set_action(host_request, request.hnap_action);
}

connection_uri classify_uri(std::optional<std::string_view> uri) {
  if (!uri) return connection_uri::none;
  return names_hnap(uri) ? connection_uri::hnap : connection_uri::other;
}

}  // namespace kd
