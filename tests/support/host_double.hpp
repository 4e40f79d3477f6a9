// A web server's request in memory: what a client sent, and what the module made of it. Needs no test
// framework.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.hpp"
#include "support/requests.hpp"

namespace kd::host {

struct Request {
  Method method = Method::post;
  std::optional<std::string> uri = "/HNAP1/";
  test::Headers headers;
  std::string body;
  std::optional<std::uint64_t> content_length;  // the body's length unless given

  int status = 0;         // 0: left to the server
  bool finished = false;  // the reply is complete as queued
  bool refused = false;   // the server's own page follows
  std::string reply;
  test::Headers reply_headers;
  std::vector<std::string> log;
  int action = 0;
};

}  // namespace kd::host

namespace kd::test {

// A POST with the credentials of `prepare_extender`.
host::Request soap_request(std::string_view action, const Arguments& arguments = {},
                           std::string_view action_namespace = "http://purenetworks.com/HNAP1/");
void set_header(host::Request& request, std::string_view name, std::string_view value);

// Hands the request to the module if that wants it; false when it does not.
bool send(host::Request& request);

}  // namespace kd::test
