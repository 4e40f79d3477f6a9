// The envelope that every reply shares, the error replies and the fixed texts.
#pragma once

#include <string_view>

#include "base/hnap_request.hpp"
#include "base/text.hpp"
#include "xml/xml_tree.hpp"

namespace kd {

// Starts a reply in an empty tree: envelope, body and the response element, which stays open and carries
// HNAP1_NAMESPACE, or with `is_extender` the extender namespace that the request used. Sets hnap_error_flag
// when memory is short.
void kd_hnap_generate_common_header(xml_tree* tree, const char* response_name, int is_extender);

// Appends the XML declaration and its line end.
void kd_hnap_generate_return_msg_header(Text& reply);

// Bytes that the finished reply takes, terminator included.
std::size_t reply_size(const xml_tree& tree);

// Closes every open element and writes the reply into `room`, which is empty but may have its memory already.
// Takes the tree in any case; when memory is short it sets hnap_error_flag and gives the out-of-memory reply.
reply_text write_reply(tree_ptr tree, Text& room);
reply_text write_reply(tree_ptr tree);

// Finishes a reply whose only result is `text`, and sets hnap_error_flag. Takes the tree, which the element
// belongs to.
reply_text kd_hnap_report_HNAP_error_owntext(tree_ptr tree, xml_element* result_element, const char* text);
// The generic error: the same with "ERROR".
inline constexpr const char* kGenericError = "ERROR";
reply_text kd_hnap_report_HNAP_error(tree_ptr tree, xml_element* result_element);

// The constant out-of-memory reply; allocates nothing.
reply_text report_memory_error();

// The SOAP fault for an action that nobody knows.
//   soap_action  null counts as empty
reply_text soap_fault(const char* soap_action);

// The page for a request that could not be read as a SOAP message. Its length never varies: the page is
// followed by NUL bytes.
struct error_page {
  static constexpr std::size_t kSize = 511;
  char text[kSize + 1];
  std::string_view view() const { return {text, kSize}; }
};
error_page make_error_page(const char* message);

}  // namespace kd
