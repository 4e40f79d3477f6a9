// The texts of requests and replies.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kd::test {

inline constexpr const char* kCore = "http://purenetworks.com/HNAP1/";
inline constexpr const char* kExtenderA = "http://kelda.example/HNAPExt/Extender/";
inline constexpr const char* kExtenderB = "http://corvane.example/HNAPExt/Extender/";

// Elements in short: "Name=text|Group{Name=text|...}", each on a line of its own. XML itself stays as it is.
std::string xml(std::string_view brief);
// A whole envelope around one action element, with its namespace.
std::string envelope(std::string_view action, std::string_view arguments, std::string_view action_namespace);

using Headers = std::vector<std::pair<std::string, std::string>>;
// SOAPAction, and the credentials of `prepare_extender`.
Headers soap_headers(std::string_view action, std::string_view action_namespace);

// The whole reply, in short: the result, then the elements behind it ("OK|Status=IDLE").
std::string reply_of(std::string_view action, std::string_view brief,
                     std::string_view reply_namespace = kCore);
bool is_whole_reply(std::string_view reply);
extern const char* const kOutOfMemory;
// The fault that shows so much of the action.
std::string fault_of(std::string_view shown);
// The page of 511 bytes, NUL bytes at its end.
std::string error_page_of(std::string_view message);

// The text behind `start`, up to `end`; nothing when it is not there.
std::optional<std::string> between(std::string_view text, std::string_view start, std::string_view end);
// The text of the first such element.
std::string value_in(std::string_view reply, std::string_view element);

}  // namespace kd::test
