#include "xml/reply.hpp"

#include <cstdio>

#include "base/flags.hpp"
#include "xml/xml_encode.hpp"

namespace kd {

Namespace namespace_of(const hnap_request& request) {
  return contains_ignoring_case(view_of(request.soap_action.get()), "purenetworks.com") ? Namespace::core
                                                                                        : Namespace::extender;
}

Reply::Reply(const char* action, Namespace response_namespace) : tree_{new_xml_tree()} {
  char response_name[64];
  std::snprintf(response_name, sizeof response_name, "%sResponse", action);
  std::snprintf(result_name_, sizeof result_name_, "%sResult", action);
  if (tree_) {
    kd_hnap_generate_common_header(tree_.get(), response_name, response_namespace == Namespace::extender);
  }
  // The flag is also set when the request's own tree is incomplete for lack of memory.
  if (!tree_ || flags.hnap_error_flag) fail();
}

void Reply::result(const char* text) {
  leaf(result_name_, text);
}

void Reply::leaf(const char* name, const char* text) {
  if (!failed_) attach_leaf(new_xml_leaf(name, view_of(text)));
}

void Reply::filled_leaf(const char* name, char byte, std::size_t count) {
  if (failed_) return;
  xml_element* element = new_xml_element(name);
  fill_xml_element(element, byte, count);
  attach_leaf(element);
}

void Reply::attach_leaf(xml_element* element) {
  if (push_pop_xml_tree(tree_.get(), element)) return;
  free_xml_element(element);
  fail();
}

void Reply::encoded_leaf(const char* name, const char* text) {
  const EncodedText encoded{text};
  leaf(name, encoded.get());
}

void Reply::number_leaf(const char* name, long long value) {
  char text[24];
  std::snprintf(text, sizeof text, "%lld", value);
  leaf(name, text);
}

void Reply::open(const char* name) {
  if (failed_) return;
  xml_element* element = new_xml_element(name);
  if (push_xml_tree(tree_.get(), element)) return;
  free_xml_element(element);
  fail();
}

void Reply::close() {
  if (!failed_) pop_xml_tree(tree_.get());
}

bool Reply::fits(std::size_t limit) {
  if (failed_) return false;
  const std::size_t size = reply_size(tree_.get());
  return size <= limit && room_.reserve(size - 1);
}

reply_text Reply::finish() {
  if (failed_) return report_memory_error();
  return write_reply(std::move(tree_), room_);
}

reply_text Reply::error(const char* text) {
  if (failed_) return report_memory_error();
  element_ptr result{new_xml_element(result_name_)};
  return kd_hnap_report_HNAP_error_owntext(std::move(tree_), std::move(result), text);
}

void Reply::fail() {
  failed_ = true;
  flags.hnap_error_flag = true;
  tree_.reset();
}

}  // namespace kd
