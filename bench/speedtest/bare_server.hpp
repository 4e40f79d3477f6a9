#pragma once

#include <cstdint>
#include <string>

// Serves `response` from memory to every request, one connection after another, in a process of its own that
// ends with this one.
//   returns  its port on 127.0.0.1
std::uint16_t start_bare_server(const std::string& response);
