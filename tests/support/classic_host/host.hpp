// A server of the classic interface with the module loaded, and one connection to it. It calls the hooks in
// the order and with the states of 1.4.29, and sends what that would send.
#pragma once

#include <optional>
#include <string>
#include <vector>

extern "C" {
#include "base.h"
}

#include "support/requests.hpp"

extern "C" int mod_kd_hnap_plugin_init(plugin* p);

namespace kd::test {

// A part of a request's body as the server keeps it.
struct Piece {
  enum Kind { none, memory, spooled, mapped } kind = memory;
  std::string bytes = {};  // in memory, or the file's
  std::string name = {};   // of the file, which exists unless its name is empty
  off_t consumed = 0;      // bytes at its start that are not the body's
  off_t start = 0;         // of the body's part in the file
  off_t claimed = -1;      // length that the chunk names, when it is not what follows `start`
  bool open = false;       // the server has the file open
};

struct ClassicRequest {
  http_method_t method = HTTP_METHOD_POST;
  const char* uri = "/HNAP1/";
  Headers headers;
  std::vector<Piece> body;
  off_t missing = 0;                     // bytes that the server counted but does not hold
  std::optional<size_t> content_length;  // what the server holds unless given
  bool keep_alive = true;                // what the client asks for
};

class ClassicHost {
 public:
  ClassicHost();   // loads the module, as plug-in number `kId`
  ~ClassicHost();  // cleans up as the server does at its end
  static constexpr size_t kId = 3;

  void accept();
  // Reads the request and calls the module. Then the connection holds what the module made of it.
  handler_t receive(const ClassicRequest& request);
  // What the client gets: the queue, and in DIRECT mode the server's own page behind an error.
  std::string sent();
  bool hangs() const { return hangs_; }
  // After the reply: the next request, or the end.
  void finish();
  // The client vanishes, or the connection times out.
  void abort();
  // The server ends while the connection lives.
  void exit() { reset(con.state); }

  int status() const { return con.http_status; }
  bool keeps_alive() const { return con.keep_alive != 0; }
  std::string reply_header(const char* name);
  bool module_answers() const;                     // not the server itself (DIRECT)
  std::vector<std::string> log();                  // since the last call
  bool dirty_slot() const { return dirty_slot_; }  // a reset left the module's slot set

  plugin module{};
  void* data = nullptr;
  connection con{};

 private:
  void reset(connection_state_t state);

  bool hangs_ = false, dirty_slot_ = false;
};

using TestedHost = ClassicHost;
using TestedRequest = ClassicRequest;

}  // namespace kd::test
