// `extender status` and `extender log`.
#pragma once

#include <string>

namespace kd {

// Prints the URLs of the running device, or as JSON all that is known of it. Exit status 1 when none runs.
int print_status(const std::string& state, bool as_json);

// Prints the journal, in words or as it is; with `follow` also what comes, until a signal. Throws Failure
// when there is none.
int print_log(const std::string& state, bool as_json, bool follow);

}  // namespace kd
