// What the module asks of a web server. A binding in host/, chosen by the version of the server's headers,
// defines `Request` and these operations, and calls the entry points of mod_kd_hnap.hpp.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/memory.hpp"

namespace kd::port {

// One request of the server; defined by the binding.
struct Request;

enum class Method { other, get, post };

Method method(const Request& request);

// The URI as the client sent it.
std::optional<std::string_view> uri(const Request& request);

// The value of a request header, its name in any letter case; the first one when there are several.
std::optional<std::string_view> header(const Request& request, std::string_view name);

std::uint64_t content_length(const Request& request);

// Reads the whole body into a new block and lets the server forget it; `length` gets what was read, also when
// memory or the total of 2^31 - 1 bytes ends the reading early. An empty body leaves null and 0.
void read_body(Request& request, HeapBytes& content, std::uint32_t& length);

void add_header(Request& request, std::string_view name, std::string_view value);

// Queues bytes of the reply's body, at least one.
void append_body(Request& request, std::string_view bytes);

// Queues a heap text of `length` bytes and a terminator: the server takes the block over, nothing is copied.
void give_body(Request& request, HeapText text, std::size_t length);

// The reply is complete as queued; the server adds nothing to its body.
void finish(Request& request, int status);

// Answers with the server's own page for that status.
void refuse(Request& request, int status);

// One line in the server's error log, under the module's source name.
void log_error(Request& request, unsigned line, const char* text);

}  // namespace kd::port
