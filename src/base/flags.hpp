// The process-wide flags of a request in progress. The server runs its hooks on one thread.
#pragma once

namespace kd {

struct hnap_flags {
  // Set by every error reply and every failed allocation while parsing or answering; makes the parser's
  // callbacks idle. Cleared on every way out of the GET and POST handlers.
  bool hnap_error_flag = false;
  // The SOAPAction named EXTENDER_NAMESPACE_B; reset at the start of each POST.
  bool alternate_namespace = false;
  // The server refused the upload as too large; reset at the start of each POST.
  int isFirmwareSizeTooLarge = 0;
  // Restart the device when the reply has been queued. Never cleared: the process ends with the restart.
  bool hnap_reboot_flag = false;
};

extern hnap_flags flags;

}  // namespace kd
