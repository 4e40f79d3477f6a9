// The envelope that every reply shares, the error replies and the fixed texts.
#pragma once

#include <array>
#include <string_view>

#include "base/text.hpp"
#include "xml/hnap_request.hpp"
#include "xml/xml_tree.hpp"

namespace kd {

// Starts a reply in an empty tree: envelope, body and the response element, which stays open and carries
// HNAP1_NAMESPACE, or with `is_extender` the extender namespace that the request used. Sets hnap_error_flag
// when memory is short.
void kd_hnap_generate_common_header(hnap_request& request, xml_tree* tree, const char* response_name,
                                    int is_extender);

// Appends the XML declaration and its line end.
void kd_hnap_generate_return_msg_header(Text& reply);

// Bytes that the finished reply takes, terminator included.
std::size_t reply_size(const xml_tree& tree);

// Closes every open element and writes the reply into `room`, which is empty but may have its memory already.
void write_reply(xml_tree& tree, Text& room);

// The text of a written reply; when memory was short it sets hnap_error_flag and gives the out-of-memory
// reply.
ReplyText finished(hnap_request& request, Text& room);

// Finishes a reply whose only result is `text`, and sets hnap_error_flag.
//   result_element  of the same tree, or null when memory was short
ReplyText kd_hnap_report_HNAP_error_owntext(hnap_request& request, xml_tree* tree,
                                            xml_element* result_element, const char* text);
// The generic error: the same with "ERROR".
inline constexpr const char* kGenericError = "ERROR";
ReplyText kd_hnap_report_HNAP_error(hnap_request& request, xml_tree* tree, xml_element* result_element);

// The constant out-of-memory reply; allocates nothing. Sets hnap_error_flag.
ReplyText report_memory_error(hnap_request& request);

// The SOAP fault for an action that nobody knows, in pieces that follow each other. Allocates nothing.
//   soap_action  null counts as empty
std::array<std::string_view, 3> soap_fault(const char* soap_action);

// The page for a request that could not be read as a SOAP message. Its length never varies: the page is
// followed by NUL bytes.
struct ErrorPage {
  static constexpr std::size_t kSize = 511;
  char text[kSize + 1];
  std::string_view view() const { return {text, kSize}; }
};
ErrorPage make_error_page(const char* message);

}  // namespace kd
