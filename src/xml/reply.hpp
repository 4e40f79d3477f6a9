#pragma once

#include <cstdint>

#include "xml/envelope.hpp"
#include "xml/hnap_request.hpp"
#include "xml/xml_tree.hpp"

namespace kd {

// Which namespace the response element carries.
enum class Namespace {
  core,      // HNAP1_NAMESPACE
  extender,  // the extender namespace that the request used
};

// The namespace in which the request asked for its action.
Namespace namespace_of(const hnap_request& request);

// A reply under construction. The first failed allocation is remembered and turns the reply into the
// out-of-memory reply, so a handler that only reads need not ask; one that changes the device makes its reply
// ready() before it acts. Texts go out as given: untrusted ones go through encoded_leaf.
class Reply {
 public:
  // `action` is at most 50 characters; the reply's elements are named after it.
  Reply(hnap_request& request, const char* action, Namespace response_namespace);

  // False when memory ran out, while parsing the request or since.
  explicit operator bool() const { return !failed_; }

  // The result element, named after the action.
  void result(const char* text);
  void leaf(const char* name, const char* text);
  void encoded_leaf(const char* name, const char* text);
  void number_leaf(const char* name, long long value);
  void open(const char* name);
  void close();

  // Whether the reply as it stands, with `filler` further bytes, takes at most `limit` bytes, terminator
  // included, and its memory could be had. A reply that does not fit is to be dropped.
  bool fits(std::size_t limit, std::size_t filler = 0);

  // Whether nothing can lose the reply as it stands: its memory has been had. Asked before the device is
  // changed.
  bool ready() { return fits(SIZE_MAX); }

  // Ends the reply. `filler` copies of 'y' become the text of its last leaf, which is empty until then: they
  // exist in the finished text only. `error` makes `text` the result of a reply that holds nothing else.
  ReplyText finish(std::size_t filler = 0);
  ReplyText error(const char* text = kGenericError);
  // Ends a reply that holds nothing but its result, which is no error of the protocol.
  ReplyText only(const char* text);

 private:
  void fail();

  hnap_request& request_;
  TreePtr tree_;
  Text room_;
  bool failed_ = false;
  char result_name_[64];
};

}  // namespace kd
