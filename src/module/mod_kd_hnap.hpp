// What a binding to the web server calls.
#pragma once

#include "base/hnap_request.hpp"
#include "host/host.hpp"

namespace kd {

// Once when the server starts to serve: opens the store and resets the result of the last upstream choice.
void start();

// Whether the request is the module's: it has a SOAPAction header, or is a GET whose URI contains "HNAP". No
// side effects.
bool wants(const host::Request& request);

// Answers a request of the module's, once, when its body is complete. May block for seconds.
void handle(host::Request& request);

// Which requests a connection carried, as far as its end is concerned.
enum class connection_uri {
  none,   // no request was seen
  other,  // a URI without "HNAP"
  hnap,
};
connection_uri classify_uri(std::optional<std::string_view> uri);

// Once when a connection has ended: runs its deferred action and lets the site survey go on.
void hnap_connection_close_callback(int hnap_action, connection_uri uri);

}  // namespace kd
