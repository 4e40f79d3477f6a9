// One HNAP request on its way through the module, and what a handler gives back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "base/memory.hpp"
#include "base/text.hpp"

namespace kd {

// What the server does when the connection closes.
enum class DeferredAction : unsigned char { none, reboot, reload_network, reload_wireless };

// What outlives a request; made when the server starts.
struct ModuleState {
  // Restart the device when the reply has been queued. Never cleared: the process ends with the restart.
  bool hnap_reboot_flag = false;
};

// Lives on the intake's stack for one request and owns its texts.
struct hnap_request {
  ModuleState& module;
  DeferredAction hnap_action =
      DeferredAction::none;  // a handler sets it; the intake hands it to the connection

  HeapText soap_action = {};  // SOAPAction without its quotes
  HeapText auth_user = {};    // from the Basic credentials; null until they were read
  HeapText auth_password = {};
  HeapBytes content = {};  // body as received: not terminated, `content_len` bytes
  std::uint32_t content_len = 0;

  // Set by every error reply and every failed allocation while parsing or answering; makes the parser's
  // callbacks idle.
  bool hnap_error_flag = false;
  // The SOAPAction named EXTENDER_NAMESPACE_B.
  bool alternate_namespace = false;
  // The server refused the upload as too large: its body is not read.
  int isFirmwareSizeTooLarge = 0;

  std::string_view body() const { return {reinterpret_cast<const char*>(content.get()), content_len}; }
};

// A complete reply text: one heap block, or the constant out-of-memory reply, which nobody frees. Empty when
// a handler gives no reply at all.
class ReplyText {
 public:
  ReplyText() = default;
  explicit ReplyText(Text&& text) : size_{text.size()}, heap_{text.release()}, text_{heap_.get()} {}
  static ReplyText constant(std::string_view text) {
    ReplyText reply;
    reply.text_ = text.data();
    reply.size_ = text.size();
    return reply;
  }

  explicit operator bool() const { return text_ != nullptr; }
  std::string_view view() const { return {text_, size_}; }
  // The heap block with its terminator, for a server that can take it over; null for a constant.
  HeapText release() { return std::move(heap_); }

 private:
  std::size_t size_ = 0;
  HeapText heap_;
  const char* text_ = nullptr;
};

}  // namespace kd
