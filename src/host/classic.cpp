// Binding to lighttpd 1.4.29 (plug-in interface 0x1041D), compiled against the configured tree of the server
// that loads the module.
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/debug_log.hpp"
#include "module/mod_kd_hnap.hpp"
#include "platform/os.hpp"
#include "platform/shell.hpp"

extern "C" {
#include "base.h"
#include "buffer.h"
#include "chunk.h"
#include "log.h"
#include "plugin.h"
#include "response.h"
}

// Else the server's records have another layout than this build takes them for.
static_assert(
    sizeof(off_t) == SIZEOF_OFF_T && sizeof(long) == SIZEOF_LONG,
    "the server's config.h was made for another processor or by another compiler: configure the tree "
    "with the compiler and the options that the server was built with");

namespace kd::port {

struct plugin_data {
  PLUGIN_DATA;
  buffer* first;  // the record's customary buffers; nothing uses them
  buffer* second;
  ModuleState state;
};

namespace {

constexpr const char* kSource = "mod_kd_hnap.c";
constexpr std::size_t kMostContent = INT32_MAX;

// The length counts the terminator; 0 is an unset buffer.
std::string_view view_of_buffer(const buffer* text) {
  if (!text || !text->ptr || text->used == 0) return {};
  return {text->ptr, text->used - 1};
}

}  // namespace

struct Request {
  server* srv;
  connection* con;
};

Method method(const Request& request) {
  if (request.con->request.http_method == HTTP_METHOD_GET) return Method::get;
  return request.con->request.http_method == HTTP_METHOD_POST ? Method::post : Method::other;
}

std::optional<std::string_view> uri(const Request& request) {
  const buffer* text = request.con->request.uri;
  if (!text || text->used == 0) return std::nullopt;
  return view_of_buffer(text);
}

std::optional<std::string_view> header(const Request& request, std::string_view name) {
  data_unset* found = array_get_element(request.con->request.headers, name.data());
  if (!found) return std::nullopt;
  return view_of_buffer(reinterpret_cast<data_string*>(found)->value);
}

std::uint64_t content_length(const Request& request) {
  return request.con->request.content_length;
}

namespace {

// The body as far as it was read.
struct Body {
  HeapBytes bytes;
  std::size_t length = 0;

  // Adds `more` zeroed bytes; null when memory is short or the total would pass 2^31 - 1.
  unsigned char* extend(std::size_t more) {
    if (more > kMostContent - length) return nullptr;
    void* grown = std::realloc(bytes.get(), length + more + 1);
    if (!grown) return nullptr;
    (void)bytes.release();
    bytes.reset(static_cast<unsigned char*>(grown));
    unsigned char* room = bytes.get() + length;
    std::memset(room, 0, more + 1);
    length += more;
    return room;
  }
};

// 0 when negative; what is beyond every body becomes one byte too much, which 32 bits hold too.
std::size_t size_of(off_t count) {
  constexpr std::uint64_t kMost = std::uint64_t{kMostContent} + 1;
  return count > 0 ? static_cast<std::size_t>(std::min(static_cast<std::uint64_t>(count), kMost)) : 0;
}

bool take_memory(const chunk& piece, std::size_t missing, Body& body, std::size_t& taken) {
  const std::string_view held = view_of_buffer(piece.mem);
  const std::size_t offset = std::min(size_of(piece.offset), held.size());
  taken = std::min(held.size() - offset, missing);
  if (taken == 0) return true;
  unsigned char* room = body.extend(taken);
  if (!room) return false;
  std::memcpy(room, held.data() + offset, taken);
  return true;
}

// Reads the spooled piece and deletes its file. What cannot be read stays zero and counts all the same: the
// request then fails in the parser.
bool take_file(Request& request, chunk& piece, Body& body, std::size_t& taken) {
  const char* name = view_of_buffer(piece.file.name).data();
  KD_LOG_MODULE("processing %s ...", name ? name : "");
  if (piece.file.fd < 0) {
    piece.file.fd = os::open(name ? name : "");
    if (piece.file.fd < 0) {
      log_error_write(request.srv, kSource, __LINE__, "ss", "open failed: ", std::strerror(errno));
    }
  }
  taken = size_of(piece.file.length - piece.offset);
  unsigned char* room = body.extend(taken);
  if (room && piece.file.fd >= 0) {
    const off_t start = piece.file.start + piece.offset;
    for (std::size_t read = 0; read < taken;) {
      const ssize_t count =
          os::pread(piece.file.fd, room + read, taken - read, start + static_cast<off_t>(read));
      if (count <= 0) break;
      read += static_cast<std::size_t>(count);
    }
  }
  if (piece.file.fd >= 0) {
    os::close(piece.file.fd);
    piece.file.fd = -1;
  }
  doSystem("rm %s", name ? name : "");
  return room != nullptr;
}

}  // namespace

void read_body(Request& request, HeapBytes& content, std::uint32_t& length) {
  content.reset();
  length = 0;
  chunkqueue* queue = request.con->request_content_queue;
  if (request.con->request.content_length == 0 || !queue || queue->bytes_in == 0) return;
  Body body;
  off_t count = 0;
  for (chunk* piece = queue->first; piece && count < queue->bytes_in; piece = piece->next) {
    std::size_t taken = 0;
    bool kept = true;
    if (piece->type == chunk::MEM_CHUNK) {
      kept = take_memory(*piece, size_of(queue->bytes_in - count), body, taken);
    } else if (piece->type == chunk::FILE_CHUNK && piece->file.mmap.start == static_cast<char*>(MAP_FAILED)) {
      kept = take_file(request, *piece, body, taken);
    }
    if (!kept) break;
    piece->offset += static_cast<off_t>(taken);
    queue->bytes_out += static_cast<off_t>(taken);
    count += static_cast<off_t>(taken);
  }
  content = std::move(body.bytes);
  length = static_cast<std::uint32_t>(body.length);
}

void add_header(Request& request, std::string_view name, std::string_view value) {
  response_header_insert(request.srv, request.con, name.data(), name.size(), value.data(), value.size());
}

void append_body(Request& request, std::string_view bytes) {
  buffer* target = chunkqueue_get_append_buffer(request.con->write_queue);
  if (target) buffer_copy_string_len(target, bytes.data(), bytes.size());
}

void give_body(Request& request, HeapText text, std::size_t length) {
  buffer* target = chunkqueue_get_append_buffer(request.con->write_queue);
  if (!target) return;
  std::free(target->ptr);
  target->ptr = text.release();
  target->used = target->size = length + 1;
}

void finish(Request& request, int status) {
  request.con->file_finished = 1;
  request.con->http_status = status;
  request.con->mode = DIRECT;
}

void refuse(Request& request, int status) {
  request.con->http_status = status;
}

void log_error(Request& request, unsigned line, const char* text) {
  log_error_write(request.srv, kSource, line, "s", text);
}

namespace {

// What a connection's end needs to know. It lives in the connection's own slot, so that nothing is allocated;
// a slot that is not zero is a request of the module's that awaits its end. Such a request is its
// connection's last.
struct ConnectionNote {
  DeferredAction action;
  bool open;
};
static_assert(sizeof(ConnectionNote) <= sizeof(void*));

ConnectionNote& note_of(const connection* con, void* data) {
  return *reinterpret_cast<ConnectionNote*>(&con->plugin_ctx[static_cast<plugin_data*>(data)->id]);
}

server* log_server;  // of the debug log

void write_debug_log(const char* source, int line, const char* text) {
  log_error_write(log_server, source, static_cast<unsigned>(line), "s", text);
}

extern "C" {

static void* mod_kd_hnap_init() {
  auto* data = static_cast<plugin_data*>(std::calloc(1, sizeof(plugin_data)));
  if (!data) return nullptr;
  data->first = buffer_init();
  data->second = buffer_init();
  data->state = kd::start();
  return data;
}

static handler_t mod_kd_hnap_set_defaults(server* srv, void*) {
  if (kDebugLog) {
    log_server = srv;
    set_debug_log_sink(write_debug_log);
  }
  return HANDLER_GO_ON;
}

static handler_t mod_kd_hnap_cleanup(server*, void* data) {
  auto* record = static_cast<plugin_data*>(data);
  if (!record) return HANDLER_GO_ON;
  buffer_free(record->first);
  buffer_free(record->second);
  std::free(record);
  return HANDLER_GO_ON;
}

static handler_t mod_kd_hnap_uri_raw(server* srv, connection* con, void* data) {
  auto& plugin = *static_cast<plugin_data*>(data);
  Request request{srv, con};
  if (!wants(request)) return HANDLER_GO_ON;
  const DeferredAction deferred = handle(request, plugin.state, true);
  note_of(con, data) = {deferred, true};
  // The server runs the close hook only for a connection that does not wait for another request, or that has
  // left DIRECT mode when the client vanishes.
  con->keep_alive = 0;
  const bool unanswered = con->http_status == 0;
  if (unanswered) con->file_finished = 1;
  // Out of DIRECT mode the server adds no page of its own to the queued body. A refusal wants that page.
  if (unanswered || con->file_finished) con->mode = static_cast<connection_type>(plugin.id);
  return HANDLER_FINISHED;
}

static handler_t mod_kd_hnap_connection_close(server* srv, connection* con, void* data) {
  const DeferredAction deferred = note_of(con, data).action;
  note_of(con, data) = {};
  hnap_connection_close_callback(deferred, classify_uri(uri({srv, con})));
  return HANDLER_GO_ON;
}

// The server demands an empty slot between requests. It skips the close hook when a client vanishes during a
// reply in DIRECT mode: that end is caught here.
static handler_t mod_kd_hnap_connection_reset(server* srv, connection* con, void* data) {
  ConnectionNote& note = note_of(con, data);
  if (note.open && con->state == CON_STATE_ERROR) return mod_kd_hnap_connection_close(srv, con, data);
  note = {};
  return HANDLER_GO_ON;
}

}  // extern "C"
}  // namespace

extern "C" __attribute__((visibility("default"))) int mod_kd_hnap_plugin_init(plugin* p) {
  p->version = LIGHTTPD_VERSION_ID;
  p->name = buffer_init_string("kd_hnap");
  p->init = mod_kd_hnap_init;
  p->set_defaults = mod_kd_hnap_set_defaults;
  p->cleanup = mod_kd_hnap_cleanup;
  p->handle_uri_raw = mod_kd_hnap_uri_raw;
  p->handle_connection_close = mod_kd_hnap_connection_close;
  p->connection_reset = mod_kd_hnap_connection_reset;
  p->data = nullptr;
  return 0;
}

}  // namespace kd::port
