#include "module/dispatch.hpp"

#include <csignal>
#include <initializer_list>

#include "base/debug_log.hpp"
#include "base/flags.hpp"
#include "module/intake.hpp"
#include "platform/lines.hpp"
#include "platform/os.hpp"
#include "xml/namespaces.hpp"
#include "xml/soap_parser.hpp"

namespace kd {
namespace {

// Whatever way a request ends, its error must not silence the next one.
class ErrorFlagScope {
 public:
  ErrorFlagScope() = default;
  ~ErrorFlagScope() { flags.hnap_error_flag = false; }
  ErrorFlagScope(const ErrorFlagScope&) = delete;
  ErrorFlagScope& operator=(const ErrorFlagScope&) = delete;
};

bool names(std::string_view soap_action, std::string_view action_namespace, std::string_view action) {
  return starts_with_ignoring_case(soap_action, action_namespace) &&
         starts_with_ignoring_case(tail(soap_action, action_namespace.size()), action);
}

// What the server left when it refused an upload as too large.
int read_too_large_mark() {
  char line[10];
  return read_first_line("/tmp/request_size_too_long", line) ? text_to_int(line) : 0;
}

// Selects the row by the body's action element, whatever the SOAPAction named.
const action_hndl_pair* match_element(const xml_element& action) {
  for (const action_hndl_pair& row : action_hndl_pairs()) {
    if (contains(action.name, row.name)) return &row;
  }
  return nullptr;
}

// Queues a handler's reply; without one the server is left to answer.
void send_reply(hnap_request& request, reply_text reply) {
  if (!reply) {
    kd_hnap_printf(&request, kModuleSource, __LINE__, "reply messages is NULL !!!");
    return;
  }
  kd_hnap_printf(&request, kModuleSource, __LINE__, "Fill in response");
  kd_hnap_fill_response_message(request, std::move(reply));
}

void kd_hnap_handle_request(hnap_request& request, const xml_tree& tree) {
  const xml_element* action = find_action_element(tree);
  const action_hndl_pair* row = action ? match_element(*action) : nullptr;
  if (!row) {
    kd_hnap_error_xml_parser(request, "HANDLE REQUEST INITIAL ERROR");
    return;
  }
  kd_hnap_printf(&request, kModuleSource, __LINE__, "request action from hnap client:%s", action->name);
  send_reply(request, row->handler(request, action));
}

// Everything of a POST up to its queued reply; what it allocated is freed on every way out. False when the
// body could not be read as XML.
bool answer_post(hnap_request& request) {
  soap_document document;
  if (const char* error = open_document(document, request)) {
    kd_hnap_error_xml_parser(request, error);
    return false;
  }
  const action_hndl_pair* named = match_soap_action(view_of(request.soap_action.get()));
  const bool is_upload = named && equal_ignoring_case(named->name, "FirmwareUpload");
  if (is_upload) flags.isFirmwareSizeTooLarge = read_too_large_mark();

  const std::int32_t content_length = kd_hnap_get_http_content_length(request);
  kd_hnap_printf(&request, kModuleSource, __LINE__, "Content Length in header: %d", content_length);
  if (!flags.isFirmwareSizeTooLarge) {
    kd_hnap_get_http_content(request);
    kd_hnap_printf(&request, kModuleSource, __LINE__, "Length of content read from data payload: %d",
                   static_cast<int>(request.content_len));
  }
  if (!is_upload) {
    // An unknown action is parsed too: a malformed body counts for more than an unknown name.
    if (const char* error = parse_document(document, request, content_length)) {
      kd_hnap_error_xml_parser(request, error);
      return false;
    }
  }
  if (!named) {
    kd_hnap_error_unknow_method(request);
  } else if (is_upload) {
    send_reply(request, named->handler(request, nullptr));
  } else {
    kd_hnap_handle_request(request, *document.tree);
  }
  kd_hnap_printf(&request, kModuleSource, __LINE__, "Free XML request and parser");
  return true;
}

void restart_device(const hnap_request& request) {
  kd_hnap_printf(&request, kModuleSource, __LINE__, "Reboot by HNAP !!!");
  os::system("killall -9 kd_vb_upnpd");
  os::system("kd_vb_upnpd&");
  os::sleep(1);
  os::system("killall -9 kd_vb_upnpd");
  os::kill(1, SIGTERM);
}

}  // namespace

const action_hndl_pair* match_soap_action(std::string_view soap_action) {
  if (!soap_action.empty() && soap_action.front() == '"') soap_action.remove_prefix(1);
  for (const action_hndl_pair& row : action_hndl_pairs()) {
    flags.alternate_namespace = names(soap_action, EXTENDER_NAMESPACE_B, row.name);
    // The last name is no row's: it passes here and finds no row by its element.
    if (flags.alternate_namespace || names(soap_action, HNAP1_NAMESPACE, row.name) ||
        names(soap_action, EXTENDER_NAMESPACE_A, row.name) ||
        names(soap_action, ACCESSPOINT_NAMESPACE, "GetAccessPointMode")) {
      return &row;
    }
  }
  return nullptr;
}

void kd_hnap_POST_handler(hnap_request& request) {
  const ErrorFlagScope scope;
  flags.alternate_namespace = false;
  flags.isFirmwareSizeTooLarge = 0;
  const bool readable = answer_post(request);
  kd_hnap_printf(&request, kModuleSource, __LINE__, "Free HTML content from client request");
  request.content.reset();
  request.content_len = 0;
  if (!flags.hnap_error_flag) kd_hnap_printf(&request, kModuleSource, __LINE__, "Free response message");
  if (readable && flags.hnap_reboot_flag) restart_device(request);
}

void kd_hnap_GET_handler(hnap_request& request) {
  const ErrorFlagScope scope;
  send_reply(request, get_device_settings(request, nullptr));
}

}  // namespace kd
