// What one request asked for and how it was answered, read from the bytes of both.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kd {

struct SeenRequest {
  std::string method;
  std::string path;
  std::string action;  // the last part of its SOAPAction, else the body's element; empty: none
  std::vector<std::pair<std::string, std::string>> arguments;  // in order; secrets are "***"
};

// `bytes` may end early: then the last argument ends in "...".
SeenRequest read_request(std::string_view bytes);

struct SeenReply {
  int status = 0;
  std::string result;  // of the first element whose name ends with "Result"; empty: none
};
SeenReply read_reply(std::string_view bytes);

// The value of a header; empty when it is not there.
std::string_view header_value(std::string_view head, std::string_view name);

// The end of the head, behind its empty line; npos while that is not there.
std::size_t end_of_head(std::string_view bytes);

// Whether a value of this name (of an argument or of the store) is nobody's business.
bool is_secret(std::string_view name);

}  // namespace kd
