// Reading what the server holds of a request, and putting replies back.
#pragma once

#include <string_view>

#include "module/port.hpp"
#include "xml/hnap_request.hpp"

namespace kd {

inline constexpr std::string_view kSoapActionHeader = "SOAPAction";

// Fills `soap_action` from the SOAPAction header; false, and null, when there is none.
bool kd_hnap_get_soap_method(const port::Request& server_request, hnap_request& request);

// The action inside a SOAPAction value: what lies between the first double quote (or the start) and the last
// one behind it (or the end), from at most 1023 bytes.
std::string_view soap_action_of(std::string_view header_value);

// The Content-Length as a signed 32-bit number: lengths of 2 GB and more turn negative.
std::int32_t kd_hnap_get_http_content_length(const port::Request& server_request);

// Fills `content` and `content_len`; null and 0 for an empty body.
void kd_hnap_get_http_content(port::Request& server_request, hnap_request& request);

// Marks the reply complete.
void kd_hnap_html_status(port::Request& server_request, int status);

// Queues a handler's reply, status 200. The server takes the reply's memory over.
void kd_hnap_fill_response_message(port::Request& server_request, ReplyText reply);

// Answers with the SOAP fault, status 500.
//   soap_action  null counts as empty
void kd_hnap_error_unknow_method(port::Request& server_request, const char* soap_action);

// Answers with the error page, status 500.
void kd_hnap_error_xml_parser(port::Request& server_request, const char* message);

}  // namespace kd
