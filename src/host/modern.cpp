// Binding to lighttpd 1.4.61 and later, whose headers are C.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/debug_log.hpp"
#include "module/mod_kd_hnap.hpp"

extern "C" {
#define restrict __restrict__
#include "first.h"

#include "array.h"
#include "base.h"
#include "buffer.h"
#include "chunk.h"
#include "http_header.h"
#include "log.h"
#include "plugin.h"
#undef restrict
#undef static_assert
}

// The server's headers and this build must agree on these records; the version number guards the rest.
static_assert(offsetof(connection, request) == 0);
static_assert(sizeof(off_t) == 8);
static_assert(sizeof(buffer) == 16 || sizeof(void*) == 4);

namespace kd::port {

struct plugin_data {
  PLUGIN_DATA;
  ModuleState state;
};

namespace {

std::string_view view_of_buffer(const buffer& text) {
  return {text.ptr, text.used ? text.used - std::size_t{1} : 0};
}

enum http_header_e header_id(std::string_view name) {
  return http_header_hkey_get(name.data(), static_cast<uint32_t>(name.size()));
}

// What a connection's end needs to know. It lives in the connection's own slot, so that nothing is allocated
// and nothing can leak: the server makes the slot zero and never reads it.
struct ConnectionNote {
  DeferredAction action;
  ConnectionUri uri;
  bool taken : 1;  // a request of the module's was among them: its URI stays
  bool large : 1;  // so was a large reply
  bool ended : 1;  // what waited for the end has been done
};
static_assert(sizeof(ConnectionNote) <= sizeof(void*));

ConnectionNote& note_of(const connection* con, const plugin_data& plugin) {
  return *reinterpret_cast<ConnectionNote*>(&con->plugin_ctx[plugin.id]);
}

constexpr const char* kSource = "mod_kd_hnap.c";

// The server keeps up to 64 used blocks for a minute, however large they are.
constexpr std::size_t kLargeReply = std::size_t{16} * 1024;

}  // namespace

struct Request {
  request_st* r;
  plugin_data* plugin;
  bool refused = false;
};

Method method(const Request& request) {
  if (request.r->http_method == HTTP_METHOD_GET) return Method::get;
  return request.r->http_method == HTTP_METHOD_POST ? Method::post : Method::other;
}

// As sent: `target` is normalised and may have been rewritten.
std::optional<std::string_view> uri(const Request& request) {
  const buffer& target = request.r->target_orig;
  if (target.used == 0) return std::nullopt;
  return view_of_buffer(target);
}

std::optional<std::string_view> header(const Request& request, std::string_view name) {
  const buffer* value =
      http_header_request_get(request.r, header_id(name), name.data(), static_cast<uint32_t>(name.size()));
  if (!value) return std::nullopt;
  return view_of_buffer(*value);
}

std::uint64_t content_length(const Request& request) {
  return static_cast<std::uint64_t>(request.r->reqbody_length);
}

void read_body(Request& request, HeapBytes& content, std::uint32_t& length) {
  content.reset();
  length = 0;
  chunkqueue* queue = &request.r->reqbody_queue;
  const off_t size = chunkqueue_length(queue);
  if (size <= 0 || size > INT32_MAX) return;
  content.reset(static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(size))));
  if (!content) return;
  const auto wanted = static_cast<uint32_t>(size);
  if (chunkqueue_read_data(queue, reinterpret_cast<char*>(content.get()), wanted, request.r->conf.errh) ==
      0) {
    length = wanted;
  } else {
    content.reset();
  }
}

void add_header(Request& request, std::string_view name, std::string_view value) {
  http_header_response_set(request.r, header_id(name), name.data(), static_cast<uint32_t>(name.size()),
                           value.data(), static_cast<uint32_t>(value.size()));
}

void append_body(Request& request, std::string_view bytes) {
  chunkqueue_append_mem(&request.r->write_queue, bytes.data(), bytes.size());
}

void give_body(Request& request, HeapText text, std::size_t length) {
  buffer whole{};
  whole.ptr = text.release();
  whole.used = whole.size = static_cast<uint32_t>(length + 1);
  chunkqueue_append_buffer(&request.r->write_queue, &whole);
  // A short text was copied, else the chunk gave its own empty block in return.
  std::free(whole.ptr);
  if (length > kLargeReply) note_of(request.r->con, *request.plugin).large = true;
}

void finish(Request& request, int status) {
  request.r->http_status = status;
}

void refuse(Request& request, int status) {
  request.r->http_status = status;
  request.refused = true;
}

void log_error(Request& request, unsigned line, const char* text) {
  ::log_error(request.r->conf.errh, kSource, line, "%s", text);
}

namespace {

// The field that names a request's handler holds the plug-in until 1.4.82, its data from 1.4.83 on.
void set_handler(request_st* r, plugin_data& self) {
#if KD_LIGHTTPD_PATCH < 83
  r->handler_module = self.self;
#else
  r->handler_module = reinterpret_cast<plugin_data_base*>(&self);
#endif
}

decltype(server::errh) debug_log;

void write_debug_log(const char* source, int line, const char* text) {
  ::log_error(debug_log, source, static_cast<unsigned>(line), "%s", text);
}

handler_t answer(request_st* r, plugin_data& plugin, bool has_body) {
  Request request{r, &plugin};
  const DeferredAction deferred = handle(request, plugin.state, has_body);
  if (deferred != DeferredAction::none) note_of(r->con, plugin).action = deferred;
  // The deferred action waits for the connection's end, so the connection must end.
  r->keep_alive = 0;
  if (request.refused) {
    r->handler_module = nullptr;  // the server adds its page only to a request that nobody handles
  } else {
    r->resp_body_finished = 1;
  }
  return HANDLER_FINISHED;
}

extern "C" {

// Only allocates: the server runs it for a mere configuration test too. The server frees the record.
static void* mod_kd_hnap_init() {
  return std::calloc(1, sizeof(plugin_data));
}

static handler_t mod_kd_hnap_worker_init(server* srv, void* data) {
  if (kDebugLog) {
    debug_log = srv->errh;
    set_debug_log_sink(write_debug_log);
  }
  static_cast<plugin_data*>(data)->state = kd::start();
  return HANDLER_GO_ON;
}

static handler_t mod_kd_hnap_subrequest(request_st* r, void* data) {
  if (r->resp_body_finished) return HANDLER_FINISHED;
  if (r->reqbody_length != r->reqbody_queue.bytes_in) {
    const handler_t status = r->con->reqbody_read(r);
    if (status != HANDLER_GO_ON) return status;
    if (r->reqbody_length != r->reqbody_queue.bytes_in) return HANDLER_WAIT_FOR_EVENT;
  }
  return answer(r, *static_cast<plugin_data*>(data), true);
}

static handler_t mod_kd_hnap_uri_raw(request_st* r, void* data) {
  // An error page being fetched for a request that was answered already.
  if (r->error_handler_saved_status != 0) return HANDLER_GO_ON;
  auto& plugin = *static_cast<plugin_data*>(data);
  const Request request{r, &plugin};
  const bool ours = wants(request);
  ConnectionNote& note = note_of(r->con, plugin);
  if (ours || !note.taken) note.uri = classify_uri(uri(request));
  if (!ours) return HANDLER_GO_ON;
  note.taken = true;
  set_handler(r, plugin);
  // Else the server would run the module again, as a GET, to decorate a status of 400 and above.
  r->conf.error_intercept = 0;
  return needs_body(request) ? mod_kd_hnap_subrequest(r, data) : answer(r, plugin, false);
}

// The reply has left, the connection is about to end. Acting here and not when the socket is closed leaves no
// gap in which another request could see the device before the reload that its predecessor asked for.
static handler_t mod_kd_hnap_connection_shut_wr(connection* con, void* data) {
  ConnectionNote& note = note_of(con, *static_cast<plugin_data*>(data));
  if (!note.ended) {
    note.ended = true;
    hnap_connection_close_callback(note.action, note.uri);
  }
  return HANDLER_GO_ON;
}

static handler_t mod_kd_hnap_connection_close(connection* con, void* data) {
  mod_kd_hnap_connection_shut_wr(con, data);  // a connection that ended without it loses nothing
  ConnectionNote& note = note_of(con, *static_cast<plugin_data*>(data));
  if (note.large) chunkqueue_chunk_pool_clear();
  note = {};  // the record is used again for another connection
  return HANDLER_GO_ON;
}

}  // extern "C"
}  // namespace

extern "C" __attribute__((visibility("default"))) int mod_kd_hnap_plugin_init(plugin* p) {
  p->version = LIGHTTPD_VERSION_ID;
  p->name = "kd_hnap";
  p->init = mod_kd_hnap_init;
  p->worker_init = mod_kd_hnap_worker_init;
  p->handle_uri_raw = mod_kd_hnap_uri_raw;
  p->handle_subrequest = mod_kd_hnap_subrequest;
  p->handle_connection_shut_wr = mod_kd_hnap_connection_shut_wr;
  p->handle_connection_close = mod_kd_hnap_connection_close;
  return 0;
}

}  // namespace kd::port
