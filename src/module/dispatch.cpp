#include "module/dispatch.hpp"

#include "base/debug_log.hpp"
#include "module/intake.hpp"
#include "platform/markers.hpp"
#include "platform/restart.hpp"
#include "xml/namespaces.hpp"
#include "xml/soap_parser.hpp"

namespace kd {
namespace {

// What a request is answered with: exactly one of these.
struct Outcome {
  enum Kind { reply, fault, page } kind;
  ReplyText text = {};            // of a reply; empty leaves the answer to the server
  const char* message = nullptr;  // on the page
  bool readable = true;           // the request was XML, or an upload
};

Outcome page_of(const char* message, bool readable) {
  return {Outcome::page, {}, message, readable};
}

bool names(std::string_view soap_action, std::string_view action_namespace, std::string_view action) {
  return starts_with_ignoring_case(soap_action, action_namespace) &&
         starts_with_ignoring_case(tail(soap_action, action_namespace.size()), action);
}

// Selects the row by the body's action element, whatever the SOAPAction named.
const action_hndl_pair* match_element(const xml_element& action) {
  for (const action_hndl_pair& row : action_hndl_pairs()) {
    if (contains(action.name, row.name)) return &row;
  }
  return nullptr;
}

Outcome kd_hnap_handle_request(hnap_request& request, const xml_tree& tree) {
  const xml_element* action = find_action_element(tree);
  const action_hndl_pair* row = action ? match_element(*action) : nullptr;
  if (!row) return page_of("HANDLE REQUEST INITIAL ERROR", true);
  KD_LOG_MODULE("request action from hnap client:%s", action->name);
  return {Outcome::reply, row->handler(request, action)};
}

Outcome answer_post(port::Request& server_request, hnap_request& request) {
  SoapDocument document{request};
  if (const char* error = open_document(document)) return page_of(error, false);

  const NamedAction named = match_soap_action(view_of(request.soap_action.get()));
  request.alternate_namespace = named.alternate_namespace;
  const bool is_upload = named.row && equal_ignoring_case(named.row->name, "FirmwareUpload");
  if (is_upload) request.isFirmwareSizeTooLarge = read_too_large_mark();

  const std::int32_t content_length = kd_hnap_get_http_content_length(server_request);
  KD_LOG_MODULE("Content Length in header: %d", content_length);
  if (!request.isFirmwareSizeTooLarge) {
    kd_hnap_get_http_content(server_request, request);
    KD_LOG_MODULE("Length of content read from data payload: %d", static_cast<int>(request.content_len));
  }
  if (!is_upload) {
    // An unknown action is parsed too: a malformed body counts for more than an unknown name.
    if (const char* error = parse_document(document, content_length)) return page_of(error, false);
  }
  if (!named.row) return {Outcome::fault};
  if (is_upload) return {Outcome::reply, named.row->handler(request, nullptr)};
  return kd_hnap_handle_request(request, *document.tree);
}

// The one place from which an answer goes out.
void send(port::Request& server_request, const hnap_request& request, Outcome outcome) {
  switch (outcome.kind) {
    case Outcome::reply:
      KD_LOG_MODULE("%s", outcome.text ? "Fill in response" : "reply messages is NULL !!!");
      if (outcome.text) kd_hnap_fill_response_message(server_request, std::move(outcome.text));
      break;
    case Outcome::fault:
      kd_hnap_error_unknow_method(server_request, request.soap_action.get());
      break;
    case Outcome::page:
      kd_hnap_error_xml_parser(server_request, outcome.message);
      break;
  }
}

}  // namespace

NamedAction match_soap_action(std::string_view soap_action) {
  if (!soap_action.empty() && soap_action.front() == '"') soap_action.remove_prefix(1);
  for (const action_hndl_pair& row : action_hndl_pairs()) {
    if (names(soap_action, EXTENDER_NAMESPACE_B, row.name)) return {&row, true};
    // The last name is no row's: it passes here and finds no row by its element.
    if (names(soap_action, HNAP1_NAMESPACE, row.name) || names(soap_action, EXTENDER_NAMESPACE_A, row.name) ||
        names(soap_action, ACCESSPOINT_NAMESPACE, "GetAccessPointMode")) {
      return {&row, false};
    }
  }
  return {};
}

void kd_hnap_POST_handler(port::Request& server_request, hnap_request& request) {
  Outcome outcome = answer_post(server_request, request);
  const bool readable = outcome.readable;
  send(server_request, request, std::move(outcome));
  // An unreadable request does not repeat a restart that is on its way.
  if (readable && request.module.hnap_reboot_flag) restart_device();
}

void kd_hnap_GET_handler(port::Request& server_request, hnap_request& request) {
  send(server_request, request, {Outcome::reply, get_device_settings(request, nullptr)});
}

}  // namespace kd
