#include "module/mod_kd_hnap.hpp"

#include "base/debug_log.hpp"
#include "module/authentication.hpp"
#include "module/dispatch.hpp"
#include "module/intake.hpp"
#include "platform/markers.hpp"
#include "platform/nvram_config.hpp"
#include "platform/restart.hpp"

namespace kd {
namespace {

// What `strings` finds in the file; the linker would drop what nothing refers to.
#if __has_attribute(retain)
[[gnu::retain]]
#endif
[[gnu::used]] const char kVersion[] = "mod_kd_hnap " KD_HNAP_VERSION;

bool names_hnap(std::optional<std::string_view> uri) {
  return uri && contains(*uri, "HNAP");
}

void kd_hnap_handler(port::Request& server_request, hnap_request& request, bool has_body) {
  const port::Method method = port::method(server_request);
  KD_LOG_MODULE("Got a HNAP base on %s", method == port::Method::get ? "GET" : "POST");
  if (method == port::Method::get) kd_hnap_GET_handler(server_request, request);
  if (method != port::Method::post) return;
  // Credentials that were refused before the body came stay refused.
  if (kd_hnap_is_authorized(server_request, request) && has_body) {
    kd_hnap_POST_handler(server_request, request);
  } else {
    kd_hnap_fail_authorized(server_request);
  }
}

}  // namespace

ModuleState start() {
  open_config();
  forget_last_choice();
  return {};
}

bool wants(const port::Request& request) {
  if (port::header(request, kSoapActionHeader)) return true;
  return port::method(request) == port::Method::get && names_hnap(port::uri(request));
}

bool needs_body(const port::Request& request) {
  return port::method(request) == port::Method::post && has_stored_credentials(request);
}

DeferredAction handle(port::Request& server_request, ModuleState& state, bool has_body) {
  hnap_request request{state};
  kd_hnap_get_soap_method(server_request, request);
  wait_for_site_survey();
  postpone_site_survey();
  kd_hnap_handler(server_request, request, has_body);
  return request.hnap_action;
}

ConnectionUri classify_uri(std::optional<std::string_view> uri) {
  if (!uri) return ConnectionUri::none;
  return names_hnap(uri) ? ConnectionUri::hnap : ConnectionUri::other;
}

void hnap_connection_close_callback(DeferredAction hnap_action, ConnectionUri uri) {
  // A connection that never named a URI goes on: the marker may be its own.
  if (uri == ConnectionUri::other) return;
  if (hnap_action == DeferredAction::reboot) reboot_device();
  if (hnap_action == DeferredAction::reload_network) reload_network();
  if (hnap_action == DeferredAction::reload_wireless) reload_wireless(__func__);
  release_site_survey();
}

}  // namespace kd
