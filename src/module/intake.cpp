#include "module/intake.hpp"

#include "host/host.hpp"
#include "xml/envelope.hpp"

namespace kd {

http_type kd_hnap_get_http_type(const hnap_request& request) {
  switch (host::method(*request.host)) {
    case host::Method::get:
      return http_type::get;
    case host::Method::post:
      return http_type::post;
    case host::Method::other:
      break;
  }
  return http_type::other;
}

bool kd_hnap_get_soap_method(hnap_request& request) {
  request.soap_action.reset();
  const auto value = host::header(*request.host, kSoapActionHeader);
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

std::int32_t kd_hnap_get_http_content_length(const hnap_request& request) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(host::content_length(*request.host)));
}

void kd_hnap_get_http_content(hnap_request& request) {
  request.content.reset();
  request.content_len = 0;
  host::read_body(*request.host, request.content, request.content_len);
}

void kd_hnap_html_status(hnap_request& request, int status) {
  host::finish(*request.host, status);
}

void kd_hnap_fill_response_message(hnap_request& request, reply_text reply) {
  if (heap_text block = reply.release()) {
    host::give_body(*request.host, std::move(block), reply.view().size());
  } else {
    host::append_body(*request.host, reply.view());
  }
  kd_hnap_html_status(request, 200);
}

void kd_hnap_error_unknow_method(hnap_request& request) {
  host::append_body(*request.host, soap_fault(request.soap_action.get()).view());
  kd_hnap_html_status(request, 500);
}

void kd_hnap_error_xml_parser(hnap_request& request, const char* message) {
  const error_page page = make_error_page(message);
  host::append_body(*request.host, page.view());
  kd_hnap_html_status(request, 500);
}

}  // namespace kd
