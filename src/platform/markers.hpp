// The small files by which the programs of the device tell each other what goes on.
#pragma once

namespace kd {

// Waits, without an end on purpose, while the radio scans and answers nobody. Says so once a second.
void wait_for_site_survey();

// Holds further site surveys off, or lets them go on.
void postpone_site_survey();
void release_site_survey();

// What the server left when it refused an upload as too large: not 0.
int read_too_large_mark();

// Whether the device has finished starting.
bool is_device_started();

// Tells the rest of the system whether this is the first choice of a network since the device started.
void mark_wireless_reload();

// Writes the file with which a web server in front of this one asks for the password.
//   returns  false when it could not be written to its end
bool write_user_file(const char* password);

}  // namespace kd
