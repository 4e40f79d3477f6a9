// A web server of the classic interface with the module loaded, and one connection to it. It calls the hooks
// in the order and with the states of 1.4.29, and sends what that would send.
#pragma once

#include <optional>

extern "C" {
#include "classic_host/base.h"
}

#include "support/device.hpp"
#include "support/requests.hpp"

extern "C" int mod_kd_hnap_plugin_init(plugin* p);

namespace kd::test {

// A part of a request's body as the server keeps it.
struct Piece {
  std::string bytes = {};  // in memory, or the file's
  enum Kind { memory, spooled, mapped, none } kind = memory;
  std::string name = {};  // of the file, which exists unless its name is empty
  off_t consumed = 0;     // bytes at its start that are not the body's
  off_t start = 0;        // of the body's part in the file
  off_t claimed = -1;     // length that the chunk names, when it is not what follows `start`
  bool open = false;      // the server has the file open
};

struct Request {
  http_method_t method = HTTP_METHOD_POST;
  const char* uri = "/HNAP1/";
  Headers headers = {};
  std::vector<Piece> body = {};
  std::optional<std::uint64_t> length = {};  // Content-Length: what the server holds unless given
  off_t missing = 0;                         // bytes that the server counted but does not hold
};

// A POST of the administrator's. The arguments are XML in short.
Request soap(const std::string& action, std::string_view arguments = "",
             const std::string& action_namespace = kCore);
Request with_header(Request request, std::string_view name, std::string_view value);

class Server {
 public:
  Server();   // loads the module, as plug-in number `kId`
  ~Server();  // cleans up as the server does at its end
  static constexpr unsigned kId = 3;

  // Starts the connection anew and calls the module. What the client gets is then in `status` and `sent()`:
  // the whole queue, and in DIRECT mode the server's own page behind an error.
  handler_t receive(const Request& request);
  std::string sent() const;
  int status() const { return con.http_status; }
  std::string reply_headers() const;
  bool module_answers() const;  // not the server itself (DIRECT)
  // The reply is out: the connection's end, or its next request. Or: the client vanishes.
  void finish();
  void abort();
  void reset(int state);
  // All of it: the reply to a request whose connection ends.
  std::string answer(const Request& request);

  Effects log() const;  // since the last call
  // A connection that hangs, a slot that is not given back. Empty when all is well.
  std::string complaints;

  plugin module{};
  void* data = nullptr;
  connection con{};
  chunkqueue in{}, out{};
};

}  // namespace kd::test
