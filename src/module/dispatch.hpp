// From an authorized request to its reply.
#pragma once

#include <string_view>

#include "actions/kd_hnap_handler.hpp"
#include "module/port.hpp"
#include "xml/hnap_request.hpp"

namespace kd {

// What a SOAPAction names.
struct NamedAction {
  const action_hndl_pair* row = nullptr;  // null for an unknown action
  bool alternate_namespace = false;       // in EXTENDER_NAMESPACE_B
};
NamedAction match_soap_action(std::string_view soap_action);

// Answers an authorized POST, and restarts the device when its action asked for that.
void kd_hnap_POST_handler(port::Request& server_request, hnap_request& request);

// Answers any GET with the device settings.
void kd_hnap_GET_handler(port::Request& server_request, hnap_request& request);

}  // namespace kd
