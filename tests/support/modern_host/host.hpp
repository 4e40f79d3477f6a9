// A server of the modern interface with the module loaded, and one connection to it. It calls the hooks in
// the order of 1.4.69, and sends what that would send.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/modern_headers.hpp"
#include "support/requests.hpp"

extern "C" int mod_kd_hnap_plugin_init(plugin* p);

namespace kd::test {

// What arrives of a request's body at once, and where the server keeps it.
struct Piece {
  enum Kind { memory, spooled } kind = memory;
  std::string bytes = {};
  std::string name = {};  // of the file
};

struct ModernRequest {
  http_method_t method = HTTP_METHOD_POST;
  const char* uri = "/HNAP1/";
  Headers headers;
  std::vector<Piece> body;
  off_t missing = 0;  // bytes that the server counts but does not hold
  off_t unsent = 0;   // bytes that the client announces but does not send
  // When the module may go on: with the whole body, with the whole of unknown length, with what is there,
  // never.
  enum Mode { known, chunked, streamed, refused } mode = known;
};

struct ModernHost {
  explicit ModernHost(bool serves = true);  // loads the module; a configuration test does not serve
  ~ModernHost();                            // cleans up as the server does at its end

  void accept();
  // Reads the request and calls the module, for an error page too. Then the connection holds what the module
  // made of it.
  handler_t receive(const ModernRequest& request);
  // After the reply: the next request, or the end.
  void finish();
  void shut_wr() { module.handle_connection_shut_wr(&con, data); }
  void abort() { module.handle_connection_close(&con, data); }

  std::string sent() const { return reply; }  // the queue, or the server's own page
  bool hangs() const { return hung; }
  int status() const { return con.request.http_status; }
  bool keeps_alive() const { return con.request.keep_alive != 0; }
  std::string reply_header(const std::string& name) { return reply_headers[name]; }
  bool module_answers() const { return con.request.handler_module != nullptr; }
  std::vector<std::string> log() { return std::exchange(logged, {}); }  // since the last call
  bool dirty_slot() const { return slots[1] != nullptr; }  // the record's next connection finds it

  plugin module{};
  void* data = nullptr;
  void* slots[2] = {};
  connection con{};
  ModernRequest request;    // its body: what is still to come
  std::vector<Piece> body;  // what has come
  std::string reply;
  std::map<std::string, std::string> reply_headers;
  char* block = nullptr;  // of the reply's chunk: from the pool, or the module's
  std::vector<std::string> logged;
  unsigned pool_clearings = 0;
  bool hung = false;
};

using TestedHost = ModernHost;
using TestedRequest = ModernRequest;

}  // namespace kd::test
