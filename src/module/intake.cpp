#include "module/intake.hpp"

#include "xml/envelope.hpp"

namespace kd {

bool kd_hnap_get_soap_method(const port::Request& server_request, hnap_request& request) {
  request.soap_action.reset();
  const auto value = port::header(server_request, kSoapActionHeader);
  if (!value) return false;
  request.soap_action = copy_of(soap_action_of(*value));
  return true;
}

std::string_view soap_action_of(std::string_view header_value) {
  constexpr std::size_t kMost = 1023;
  const std::size_t first = header_value.find('"');
  std::string_view action =
      head(first == std::string_view::npos ? header_value : tail(header_value, first + 1), kMost);
  return head(action, action.rfind('"'));
}

std::int32_t kd_hnap_get_http_content_length(const port::Request& server_request) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(port::content_length(server_request)));
}

void kd_hnap_get_http_content(port::Request& server_request, hnap_request& request) {
  port::read_body(server_request, request.content, request.content_len);
}

void kd_hnap_html_status(port::Request& server_request, int status) {
  port::finish(server_request, status);
}

void kd_hnap_fill_response_message(port::Request& server_request, ReplyText reply) {
  if (HeapText block = reply.release()) {
    port::give_body(server_request, std::move(block), reply.view().size());
  } else {
    port::append_body(server_request, reply.view());
  }
  kd_hnap_html_status(server_request, 200);
}

void kd_hnap_error_unknow_method(port::Request& server_request, const char* soap_action) {
  for (const std::string_view part : soap_fault(soap_action)) {
    if (!part.empty()) port::append_body(server_request, part);
  }
  kd_hnap_html_status(server_request, 500);
}

void kd_hnap_error_xml_parser(port::Request& server_request, const char* message) {
  port::append_body(server_request, make_error_page(message).view());
  kd_hnap_html_status(server_request, 500);
}

}  // namespace kd
