// Binding to lighttpd 1.4.61 and later.
#include "host/modern_headers.hpp"

#include "host/host.hpp"
#include "module/mod_kd_hnap.hpp"

// The server's headers and this build must agree on these records; the version number guards the rest.
static_assert(offsetof(connection, request) == 0);
static_assert(sizeof(off_t) == 8);
static_assert(sizeof(buffer) == 16 || sizeof(void*) == 4);

namespace kd::host {

struct plugin_data {
  PLUGIN_DATA;
};

namespace {

std::string_view view_of_buffer(const buffer& text) {
  return {text.ptr, text.used ? text.used - std::size_t{1} : 0};
}

enum http_header_e header_id(std::string_view name) {
  return http_header_hkey_get(name.data(), static_cast<uint32_t>(name.size()));
}

// What a connection's end needs to know. It fits the connection's own slot, so that nothing is allocated and
// nothing can leak: the server neither clears nor frees the slot.
struct connection_note {
  int action = kNoDeferredAction;
  connection_uri uri = connection_uri::none;
  bool taken = false;  // a request of the module's was among them: its URI stays
  bool large = false;  // so was a large reply
  bool ended = false;  // what waited for the end has been done
};

// The server keeps up to 64 used blocks for a minute, however large they are.
constexpr std::size_t kLargeReply = std::size_t{16} * 1024;

void*& slot_of(connection* con, const plugin_data& plugin) {
  return con->plugin_ctx[plugin.id];
}

connection_note read_note(void* slot) {
  const auto bits = reinterpret_cast<std::uintptr_t>(slot);
  const auto flag = [bits](unsigned place) { return (bits >> place & 1) != 0; };
  return {static_cast<int>(bits & 0xFF), static_cast<connection_uri>(bits >> 8 & 0xFF), flag(16), flag(17),
          flag(18)};
}

void* packed(const connection_note& note) {
  return reinterpret_cast<void*>(  // NOLINT(performance-no-int-to-ptr): it is no pointer to begin with
      static_cast<std::uintptr_t>(note.action & 0xFF) | static_cast<std::uintptr_t>(note.uri) << 8 |
      std::uintptr_t{note.taken} << 16 | std::uintptr_t{note.large} << 17 | std::uintptr_t{note.ended} << 18);
}

}  // namespace

struct Request {
  request_st* r;
  plugin_data* plugin;
  bool refused = false;
};

Method method(const Request& request) {
  switch (request.r->http_method) {
    case HTTP_METHOD_GET:
      return Method::get;
    case HTTP_METHOD_POST:
      return Method::post;
    default:
      return Method::other;
  }
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

void read_body(Request& request, heap_bytes& content, std::uint32_t& length) {
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

void give_body(Request& request, heap_text text, std::size_t length) {
  buffer whole{};
  whole.ptr = text.release();
  whole.used = whole.size = static_cast<uint32_t>(length + 1);
  chunkqueue_append_buffer(&request.r->write_queue, &whole);
  // A short text was copied, else the chunk gave its own empty block in return.
  std::free(whole.ptr);
  void*& slot = slot_of(request.r->con, *request.plugin);
  connection_note note = read_note(slot);
  note.large |= length > kLargeReply;
  slot = packed(note);
}

void finish(Request& request, int status) {
  request.r->http_status = status;
}

void refuse(Request& request, int status) {
  request.r->http_status = status;
  request.refused = true;
}

int action(const Request& request) {
  return read_note(slot_of(request.r->con, *request.plugin)).action;
}

void set_action(Request& request, int action) {
  void*& slot = slot_of(request.r->con, *request.plugin);
  connection_note note = read_note(slot);
  note.action = action;
  slot = packed(note);
}

void log_error(Request& request, unsigned line, const char* text, const char* detail) {
  ::log_error(request.r->conf.errh, "mod_kd_hnap.c", line, "%s%s", text, detail);
}

namespace {

void set_handler(request_st* r, plugin_data& self) {
#if LIGHTTPD_VERSION_ID >= 0x10453
  r->handler_module = reinterpret_cast<plugin_data_base*>(&self);
#else
  r->handler_module = self.self;
#endif
}

void note_uri(request_st* r, const plugin_data& plugin, const Request& request, bool taken) {
  void*& slot = slot_of(r->con, plugin);
  connection_note note = read_note(slot);
  if (taken || !note.taken) note.uri = classify_uri(uri(request));
  note.taken |= taken;
  slot = packed(note);
}

extern "C" {

// Only allocates: the server runs it for a mere configuration test too. The server frees the record.
static void* mod_kd_hnap_init() {
  return std::calloc(1, sizeof(plugin_data));
}

static handler_t mod_kd_hnap_set_defaults(server*, void*) {
  return HANDLER_GO_ON;
}

static handler_t mod_kd_hnap_worker_init(server*, void*) {
  kd::start();
  return HANDLER_GO_ON;
}

static void mod_kd_hnap_cleanup(void*) {}

static handler_t mod_kd_hnap_subrequest(request_st* r, void* data) {
  if (r->resp_body_finished) return HANDLER_FINISHED;
  if (r->reqbody_length != r->reqbody_queue.bytes_in) {
    const handler_t status = r->con->reqbody_read(r);
    if (status != HANDLER_GO_ON) return status;
    if (r->reqbody_length != r->reqbody_queue.bytes_in) return HANDLER_WAIT_FOR_EVENT;
  }
  Request request{r, static_cast<plugin_data*>(data)};
  handle(request);
  // The deferred action waits for the connection's end, so the connection must end.
  r->keep_alive = 0;
  if (request.refused) {
    r->handler_module = nullptr;  // the server adds its page only to a request that nobody handles
  } else {
    r->resp_body_finished = 1;
  }
  return HANDLER_FINISHED;
}

static handler_t mod_kd_hnap_uri_raw(request_st* r, void* data) {
  // An error page being fetched for a request that was answered already.
  if (r->error_handler_saved_status != 0) return HANDLER_GO_ON;
  auto& plugin = *static_cast<plugin_data*>(data);
  const Request request{r, &plugin};
  const bool ours = wants(request);
  note_uri(r, plugin, request, ours);
  if (!ours) return HANDLER_GO_ON;
  set_handler(r, plugin);
  // Else the server would run the module again, as a GET, to decorate a status of 400 and above.
  r->conf.error_intercept = 0;
  return mod_kd_hnap_subrequest(r, data);
}

// The reply has left, the connection is about to end. Acting here and not when the socket is closed leaves no
// gap in which another request could see the device before the reload that its predecessor asked for.
static handler_t mod_kd_hnap_connection_shut_wr(connection* con, void* data) {
  void*& slot = slot_of(con, *static_cast<plugin_data*>(data));
  connection_note note = read_note(slot);
  if (note.ended) return HANDLER_GO_ON;
  note.ended = true;
  slot = packed(note);
  hnap_connection_close_callback(note.action, note.uri);
  return HANDLER_GO_ON;
}

static handler_t mod_kd_hnap_connection_close(connection* con, void* data) {
  mod_kd_hnap_connection_shut_wr(con, data);  // a connection that ended without it loses nothing
  void*& slot = slot_of(con, *static_cast<plugin_data*>(data));
  if (read_note(slot).large) chunkqueue_chunk_pool_clear();
  slot = nullptr;  // the record is used again for another connection
  return HANDLER_GO_ON;
}

}  // extern "C"
}  // namespace

extern "C" __attribute__((visibility("default"))) int mod_kd_hnap_plugin_init(plugin* p) {
  p->version = LIGHTTPD_VERSION_ID;
  p->name = "kd_hnap";
  p->init = mod_kd_hnap_init;
  p->set_defaults = mod_kd_hnap_set_defaults;
  p->worker_init = mod_kd_hnap_worker_init;
  p->cleanup = mod_kd_hnap_cleanup;
  p->handle_uri_raw = mod_kd_hnap_uri_raw;
  p->handle_subrequest = mod_kd_hnap_subrequest;
  p->handle_connection_shut_wr = mod_kd_hnap_connection_shut_wr;
  p->handle_connection_close = mod_kd_hnap_connection_close;
  return 0;
}

}  // namespace kd::host
