// One HTTP exchange with a device, bounded in time and size. No redirects, no proxies, no cookies.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace hnap {

/// Called while bytes travel: bytes sent of how many, bytes received.
using OnProgress = std::function<void(double sent, double to_send, double received)>;

struct HttpRequest {
  std::string url;
  std::string soap_action;                   // empty: a GET
  std::string_view body;                     // of a POST; whoever asks keeps it
  std::string user, password;                // sent unless both are empty
  std::chrono::milliseconds timeout{30000};  // for the whole exchange
  std::size_t longest_reply = 4U << 20;      // bytes
  bool verbose = false;                      // shows the exchange on standard error, secrets masked
  OnProgress on_progress;
};

struct HttpReply {
  long status = 0;
  std::string body;
  double seconds = 0;          // from the start to the last byte
  double seconds_of_body = 0;  // from the first byte to the last
};

/// Sends a request and gives back the reply, whatever its status. Throws Failure (unreachable) when there is
/// none, or none within the bounds; `label` names the device in its line.
HttpReply exchange(const HttpRequest& request, const std::string& label);

/// The version of the user agent, "0.1.0".
const char* version();

}  // namespace hnap
