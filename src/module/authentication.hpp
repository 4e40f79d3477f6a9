// HTTP Basic credentials against the stored "Login" and "Password".
#pragma once

#include "base/hnap_request.hpp"

namespace kd {

// Whether the request's credentials are the stored ones. Fills `auth_user` and `auth_password` as soon as
// they can be read, also when they are wrong.
bool kd_hnap_is_authorized(hnap_request& request);

// Answers 401 with a Basic challenge; the page is the server's own.
void kd_hnap_fail_authorized(hnap_request& request);

}  // namespace kd
