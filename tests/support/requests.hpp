// The texts of requests and replies.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kd::test {

using Arguments = std::vector<std::pair<std::string, std::string>>;

// The arguments as elements; a value is XML, so that one can hold elements of its own.
std::string elements(const Arguments& arguments);
// A whole envelope around one action element, with its namespace.
std::string envelope(std::string_view action, std::string_view arguments, std::string_view action_namespace);

using Headers = std::vector<std::pair<std::string, std::string>>;
// SOAPAction, and the credentials of `prepare_extender`.
Headers soap_headers(std::string_view action, std::string_view action_namespace);
std::string base64(std::string_view text);

// The text of the first such element in a reply; nothing when there is none.
std::optional<std::string> reply_value(std::string_view reply, std::string_view element);

// The whole reply around what lies inside the response element.
std::string whole_reply(std::string_view action, std::string_view inside, std::string_view reply_namespace);
bool is_whole_reply(std::string_view reply);
extern const char* const kOutOfMemory;
// The fault that shows so much of the action.
std::string fault_of(std::string_view shown);
// The page of 511 bytes, NUL bytes at its end.
std::string error_page_of(std::string_view message);

}  // namespace kd::test
