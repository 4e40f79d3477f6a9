// Wi-Fi Protected Setup on the access point. The work is done by the programs `wpsctl` and `wscd`; they are
// told by signals and files, and report through files.
#pragma once

namespace kd {

using WpsStatus = char[64];

// Starts a session by `method` ("PBC", or "PIN" with its PIN), and gives it up to 4 seconds to leave "IDLE".
// Nothing starts unless the device is an access point. Always 0.
int kd_hnap_start_wps(const char* method, const char* pin);

// Ends the session and starts a fresh `wpsctl`. Always 0.
int kd_hnap_stop_wps();

// State of the session; `status` stays as it was when there is none to tell. Always 0.
int kd_hnap_get_wps_status(WpsStatus& status);

// The text for the programs' numbers; null when they mean nothing to tell.
//   status, last_status  codes of the current and the previous session step
//   progress             of the session, in percent
const char* wps_status_text(int status, int last_status, int progress, bool is_pin_session);

// Starts `wscd` anew as the stored settings say; used after changes of the wireless settings.
void kd_restart_wps();

// Whether the checksum digit of a PIN is right: over the lowest eight decimal digits of its value.
int kd_validate_pin_checksum(const char* pin);

}  // namespace kd
