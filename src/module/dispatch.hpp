#pragma once

#include <string_view>

#include "actions/kd_hnap_handler.hpp"
#include "base/hnap_request.hpp"

namespace kd {

// The row that a SOAPAction names; null for an unknown action. Leaves in flags.alternate_namespace whether it
// was named in EXTENDER_NAMESPACE_B.
const action_hndl_pair* match_soap_action(std::string_view soap_action);

// Answers an authorized POST, and restarts the device when its action asked for that.
void kd_hnap_POST_handler(hnap_request& request);

// Answers any GET with the device settings.
void kd_hnap_GET_handler(hnap_request& request);

}  // namespace kd
