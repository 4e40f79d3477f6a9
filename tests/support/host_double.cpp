#include "support/host_double.hpp"

#include <cstdlib>
#include <cstring>

#include "base/text.hpp"
#include "module/mod_kd_hnap.hpp"

namespace kd::host {

Method method(const Request& request) {
  return request.method;
}

std::optional<std::string_view> uri(const Request& request) {
  if (!request.uri) return std::nullopt;
  return std::string_view{*request.uri};
}

std::optional<std::string_view> header(const Request& request, std::string_view name) {
  for (const auto& [key, value] : request.headers) {
    if (equal_ignoring_case(key, name)) return std::string_view{value};
  }
  return std::nullopt;
}

std::uint64_t content_length(const Request& request) {
  return request.content_length.value_or(request.body.size());
}

void read_body(Request& request, heap_bytes& content, std::uint32_t& length) {
  content.reset();
  length = 0;
  if (request.body.empty()) return;
  content.reset(static_cast<unsigned char*>(std::malloc(request.body.size())));
  if (!content) return;
  std::memcpy(content.get(), request.body.data(), request.body.size());
  length = static_cast<std::uint32_t>(request.body.size());
}

void add_header(Request& request, std::string_view name, std::string_view value) {
  request.reply_headers.emplace_back(name, value);
}

void append_body(Request& request, std::string_view bytes) {
  request.reply += bytes;
}

void give_body(Request& request, heap_text text, std::size_t length) {
  append_body(request, {text.get(), length});
}

void finish(Request& request, int status) {
  request.status = status;
  request.finished = true;
}

void refuse(Request& request, int status) {
  request.status = status;
  request.refused = true;
}

int action(const Request& request) {
  return request.action;
}

void set_action(Request& request, int action) {
  request.action = action;
}

void log_error(Request& request, unsigned, const char* text, const char* detail) {
  request.log.push_back(std::string{text} + detail);
}

}  // namespace kd::host

namespace kd::test {

host::Request soap_request(std::string_view action, const Arguments& arguments,
                           std::string_view action_namespace) {
  host::Request request;
  request.headers = soap_headers(action, action_namespace);
  request.body = envelope(action, elements(arguments), action_namespace);
  return request;
}

void set_header(host::Request& request, std::string_view name, std::string_view value) {
  std::erase_if(request.headers, [&](const auto& header) { return header.first == name; });
  request.headers.emplace_back(name, value);
}

bool send(host::Request& request) {
  if (!wants(request)) return false;
  handle(request);
  return true;
}

}  // namespace kd::test
