#include "xml/reply.hpp"

#include <cstdio>

#include "base/debug_log.hpp"
#include "xml/xml_encode.hpp"

namespace kd {

Namespace namespace_of(const hnap_request& request) {
  return contains_ignoring_case(view_of(request.soap_action.get()), "purenetworks.com") ? Namespace::core
                                                                                        : Namespace::extender;
}

Reply::Reply(hnap_request& request, const char* action, Namespace response_namespace)
    : request_{request}, tree_{new_xml_tree()} {
  char response_name[64];
  copy_text(response_name, action);
  append_text(response_name, "Response");
  copy_text(result_name_, action);
  append_text(result_name_, "Result");
  if (tree_) {
    kd_hnap_generate_common_header(request_, tree_.get(), response_name,
                                   response_namespace == Namespace::extender);
  }
  // The flag is also set when the request's own tree is incomplete for lack of memory.
  if (!tree_ || request_.hnap_error_flag) fail();
}

void Reply::result(const char* text) {
  leaf(result_name_, text);
}

void Reply::leaf(const char* name, const char* text) {
  if (failed_) return;
  KD_LOG_HANDLER("%s = %s", name, text);
  if (!push_pop_xml_tree(tree_.get(), new_xml_leaf(tree_.get(), name, view_of(text)))) fail();
}

void Reply::encoded_leaf(const char* name, const char* text) {
  leaf(name, EncodedText{text}.get());
}

void Reply::number_leaf(const char* name, long long value) {
  char text[24];
  std::snprintf(text, sizeof text, "%lld", value);
  leaf(name, text);
}

void Reply::open(const char* name) {
  if (failed_) return;
  if (!push_xml_tree(tree_.get(), new_xml_element(tree_.get(), name))) fail();
}

void Reply::close() {
  if (!failed_) pop_xml_tree(tree_.get());
}

bool Reply::fits(std::size_t limit, std::size_t filler) {
  if (failed_) return false;
  const std::size_t size = reply_size(*tree_) + filler;
  return size <= limit && room_.reserve(size - 1);
}

ReplyText Reply::finish(std::size_t filler) {
  if (failed_) return report_memory_error(request_);
  write_reply(*tree_, room_);
  if (filler) room_.insert(room_.view().rfind("></") + 1, 'y', filler);
  return finished(request_, room_);
}

ReplyText Reply::error(const char* text) {
  if (failed_) return report_memory_error(request_);
  xml_element* result = new_xml_element(tree_.get(), result_name_);
  return kd_hnap_report_HNAP_error_owntext(request_, tree_.get(), result, text);
}

ReplyText Reply::only(const char* text) {
  result(text);
  return finish();
}

void Reply::fail() {
  failed_ = true;
  request_.hnap_error_flag = true;
  tree_.reset();
}

}  // namespace kd
