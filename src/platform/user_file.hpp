#pragma once

namespace kd {

// Writes the file with which a web server in front of this one asks for the password.
//   returns  false when it could not be written to its end
bool write_user_file(const char* password);

}  // namespace kd
