#pragma once

namespace kd {

// Makes a chosen upstream network take effect: finds it, commits the store and starts the radio anew. Takes 2
// seconds and the commands' own time.
//   caller  is named on the console
void reload_wireless(const char* caller);

}  // namespace kd
