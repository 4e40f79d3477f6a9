#pragma once

namespace kd {

// Process id of the first running process whose command (its first word) contains `name`.
//   returns  the id; 0 when there is none or the name is null or empty; -1 when the list cannot be read
//   source   "ps", through the scratch file "/var/psInfo", which is gone afterwards
int kd_get_process_pid(const char* name);

}  // namespace kd
