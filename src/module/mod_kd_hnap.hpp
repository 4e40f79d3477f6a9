// What a binding to the web server calls.
#pragma once

#include "module/port.hpp"
#include "xml/hnap_request.hpp"

namespace kd {

// Once when the server starts to serve: opens the store and resets the result of the last upstream choice.
ModuleState start();

// Whether the request is the module's: it has a SOAPAction header, or is a GET whose URI contains "HNAP". No
// side effects.
bool wants(const port::Request& request);

// Whether a request of the module's is to be handled when its body is complete: a POST with the stored
// credentials. Every other one is handled at once and without its body, so that nobody else can make the
// device keep one. No side effects.
bool needs_body(const port::Request& request);

// Answers a request of the module's, once. May block for seconds.
//   has_body  the whole body is there
//   returns   what waits for the connection's end
DeferredAction handle(port::Request& request, ModuleState& state, bool has_body);

// Which requests a connection carried, as far as its end is concerned.
enum class ConnectionUri : unsigned char {
  none,   // no request was seen
  other,  // a URI without "HNAP"
  hnap,
};
ConnectionUri classify_uri(std::optional<std::string_view> uri);

// Once when a connection has ended: runs its deferred action and lets the site survey go on.
void hnap_connection_close_callback(DeferredAction hnap_action, ConnectionUri uri);

}  // namespace kd
