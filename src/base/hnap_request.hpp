// One HNAP request on its way through the module, and what a handler gives back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "base/memory.hpp"
#include "base/text.hpp"

namespace kd {

namespace host {
struct Request;
}

// What the server does when the connection closes.
enum deferred_action : int {
  kNoDeferredAction = 0,
  kRebootAtClose = 1,
  kReloadNetworkAtClose = 2,
  kReloadWirelessAtClose = 3,
};

// Lives on the intake's stack for one request and owns its texts.
struct hnap_request {
  heap_text soap_action;  // SOAPAction without its quotes
  heap_text auth_user;    // from the Basic credentials; null until they were read
  heap_text auth_password;
  heap_bytes content;  // body as received: not terminated, `content_len` bytes
  std::uint32_t content_len = 0;
  int hnap_action = kNoDeferredAction;  // a handler sets it; the intake hands it to the connection
  host::Request* host = nullptr;        // the server's side, for the module's front end only
};

// A complete reply text: one heap block, or the constant out-of-memory reply, which nobody frees. Empty when
// a handler gives no reply at all.
class reply_text {
 public:
  reply_text() = default;
  explicit reply_text(Text&& text) {
    size_ = text.size();
    heap_ = text.release();
    text_ = heap_.get();
  }
  static reply_text constant(std::string_view text) {
    reply_text reply;
    reply.text_ = text.data();
    reply.size_ = text.size();
    return reply;
  }

  explicit operator bool() const { return text_ != nullptr; }
  std::string_view view() const { return {text_, size_}; }
  // The heap block with its terminator, for a server that can take it over; null for a constant.
  heap_text release() { return std::move(heap_); }

 private:
  heap_text heap_;
  const char* text_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace kd
