// HTTP Basic credentials against the stored "Login" and "Password".
#pragma once

#include "module/port.hpp"
#include "xml/hnap_request.hpp"

namespace kd {

// Whether the request's credentials are the stored ones. Fills `auth_user` and `auth_password` as soon as
// they can be read, also when they are wrong.
bool kd_hnap_is_authorized(port::Request& server_request, hnap_request& request);

// The same without an effect, a log line included.
bool has_stored_credentials(const port::Request& server_request);

// Answers 401 with a Basic challenge; the page is the server's own.
void kd_hnap_fail_authorized(port::Request& server_request);

}  // namespace kd
