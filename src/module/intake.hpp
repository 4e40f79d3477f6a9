// Reading what the server holds of a request, and putting replies back.
#pragma once

#include <string_view>

#include "base/hnap_request.hpp"

namespace kd {

inline constexpr std::string_view kSoapActionHeader = "SOAPAction";

enum class http_type { other = 0, get = 1, post = 2 };
http_type kd_hnap_get_http_type(const hnap_request& request);

// Fills `soap_action` from the SOAPAction header; false, and null, when there is none.
bool kd_hnap_get_soap_method(hnap_request& request);

// The action inside a SOAPAction value: what lies between the first double quote (or the start) and the last
// one behind it (or the end), from at most 1023 bytes.
std::string_view soap_action_of(std::string_view header_value);

// The Content-Length as a signed 32-bit number: lengths of 2 GB and more turn negative.
std::int32_t kd_hnap_get_http_content_length(const hnap_request& request);

// Fills `content` and `content_len`; null and 0 for an empty body.
void kd_hnap_get_http_content(hnap_request& request);

// Marks the reply complete.
void kd_hnap_html_status(hnap_request& request, int status);

// Queues a handler's reply, status 200. The server takes the reply's memory over.
void kd_hnap_fill_response_message(hnap_request& request, reply_text reply);

// Answers with the SOAP fault, status 500.
void kd_hnap_error_unknow_method(hnap_request& request);

// Answers with the error page, status 500.
void kd_hnap_error_xml_parser(hnap_request& request, const char* message);

}  // namespace kd
