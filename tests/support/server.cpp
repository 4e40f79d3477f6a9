#include "support/server.hpp"

#include <strings.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <deque>

struct array {
  std::deque<std::pair<std::string, data_string>> headers;
};

// What a connection holds is forgotten when it is reset.
struct server {
  kd::test::Effects log;
  std::string reply_headers;
  std::deque<buffer> buffers;
  std::deque<chunk> chunks;
  array request_headers;
};

namespace {

server the_server;

// The server ends itself when memory is short, so its own allocations stay outside the watched heap. The
// bytes of a buffer are free()'d.
buffer& assign(buffer& target, std::string_view text) {
  std::free(target.ptr);
  target.used = text.size() + 1;
  target.size = (target.used + 15) & ~std::size_t{15};
  target.ptr = static_cast<char*>(std::aligned_alloc(16, target.size));
  std::memcpy(target.ptr, text.data(), text.size());
  target.ptr[text.size()] = '\0';
  return target;
}

buffer* new_buffer(std::string_view text) {
  return &assign(the_server.buffers.emplace_back(), text);
}

chunk& append(chunkqueue& queue) {
  chunk& added = the_server.chunks.emplace_back();
  added.file.fd = -1;
  added.file.mmap.start = static_cast<char*>(MAP_FAILED);
  (queue.last ? queue.last->next : queue.first) = &added;
  queue.last = &added;
  return added;
}

// Returns the length that the piece adds to the body.
off_t append(chunkqueue& queue, const kd::test::Piece& piece) {
  chunk& added = append(queue);
  added.offset = piece.consumed;
  off_t length = static_cast<off_t>(piece.bytes.size());
  if (piece.kind == piece.memory) {
    added.type = chunk::MEM_CHUNK;
    if (length) added.mem = new_buffer(piece.bytes);
  } else if (piece.kind != piece.none) {
    added.type = chunk::FILE_CHUNK;
    added.file.name = new_buffer(piece.name);
    added.file.start = piece.start;
    if (!piece.name.empty()) kd::test::device().files[piece.name] = piece.bytes;
    if (piece.open) added.file.fd = kd::test::device().open_number(piece.name);
    if (piece.kind == piece.mapped) added.file.mmap.start = added.file.name->ptr;
    length = added.file.length = piece.claimed < 0 ? length - piece.start : piece.claimed;
  }
  return std::max<off_t>(0, length - piece.consumed);
}

}  // namespace

extern "C" {

buffer* buffer_init() {
  return new buffer{};
}
buffer* buffer_init_string(const char* text) {
  return &assign(*new buffer{}, text);
}
void buffer_free(buffer* b) {
  std::free(b->ptr);
  delete b;
}
int buffer_copy_string_len(buffer* b, const char* text, size_t length) {
  assign(*b, {text, length});
  return 0;
}
data_unset* array_get_element(array* a, const char* key) {
  for (auto& [name, value] : a->headers) {
    if (strcasecmp(name.c_str(), key) == 0) return &value;
  }
  return nullptr;
}
buffer* chunkqueue_get_append_buffer(chunkqueue* queue) {
  chunk& added = append(*queue);
  added.type = chunk::MEM_CHUNK;
  added.mem = new_buffer("of a reply before");
  added.mem->used = 0;
  return added.mem;
}
int response_header_insert(server* srv, connection*, const char* key, size_t key_length, const char* value,
                           size_t value_length) {
  srv->reply_headers += std::string(key, key_length) + ": " + std::string(value, value_length) + "\n";
  return 0;
}
int log_error_write(server* srv, const char* file, unsigned int, const char* format, ...) {
  std::string line = std::string{file} + ": ";
  va_list values;
  va_start(values, format);
  for (; *format; ++format) line += *format == 's' ? va_arg(values, const char*) : "?";
  va_end(values);
  srv->log.push_back(line);
  return 0;
}
}

namespace kd::test {

Request soap(const std::string& action, std::string_view arguments, const std::string& action_namespace) {
  Request request;
  request.headers = soap_headers(action, action_namespace);
  request.body = {{envelope(action, arguments, action_namespace)}};
  return request;
}

Request with_header(Request request, std::string_view name, std::string_view value) {
  std::erase_if(request.headers, [&](const auto& header) { return header.first == name; });
  request.headers.emplace_back(name, value);
  return request;
}

Server::Server() {
  the_server.log.clear();
  con.plugin_ctx = new void* [kId + 2] {};
  mod_kd_hnap_plugin_init(&module);
  data = module.init();
  if (data) *static_cast<size_t*>(data) = kId;
  if (data) module.set_defaults(&the_server, data);
}

Server::~Server() {
  if (data) {
    reset(CON_STATE_CONNECT);
    module.cleanup(&the_server, data);
  }
  delete[] con.plugin_ctx;
  buffer_free(module.name);
}

void Server::reset(int state) {
  con.state = state;
  module.connection_reset(&the_server, &con, data);
  if (con.plugin_ctx[kId]) complaints += "missing cleanup in kd_hnap\n";
  for (const buffer& held : the_server.buffers) std::free(held.ptr);
  Effects log = std::move(the_server.log);
  the_server = {};
  the_server.log = std::move(log);
  void** const slots = con.plugin_ctx;
  con = {};
  con.state = state;
  con.keep_alive = 1;
  con.request_content_queue = &in;
  con.write_queue = &out;
  con.plugin_ctx = slots;
  con.plugin_ctx[kId] = nullptr;
  con.request.headers = &the_server.request_headers;
  in = out = {};
}

handler_t Server::receive(const Request& request) {
  reset(CON_STATE_CONNECT);
  con.request.http_method = request.method;
  if (request.uri) con.request.uri = new_buffer(request.uri);
  for (const auto& [name, value] : request.headers) {
    con.request.headers->headers.push_back({name, {new_buffer(value)}});
  }
  for (const Piece& piece : request.body) in.bytes_in += append(in, piece);
  in.bytes_in += request.missing;
  con.request.content_length =
      static_cast<size_t>(request.length.value_or(static_cast<std::uint64_t>(in.bytes_in)));
  const handler_t handled = module.handle_uri_raw(&the_server, &con, data);
  if (handled != HANDLER_FINISHED) return handled;
  const bool own_page = !module_answers() && con.http_status >= 400;
  if (!con.file_finished && !own_page) complaints += "the connection hangs\n";
  if (con.http_status == 0) con.http_status = 200;
  return handled;
}

std::string Server::sent() const {
  std::string all;
  for (const chunk* piece = out.first; piece; piece = piece->next) {
    if (piece->mem->used) all.append(piece->mem->ptr, piece->mem->used - 1);
  }
  if (!module_answers() && con.http_status >= 400) all += "<page of the server>";
  return all;
}

void Server::finish() {
  if (con.keep_alive) return reset(CON_STATE_REQUEST_START);
  con.state = CON_STATE_RESPONSE_END;
  module.handle_connection_close(&the_server, &con, data);
  reset(CON_STATE_CLOSE);
}

void Server::abort() {
  con.state = CON_STATE_ERROR;
  if (module_answers()) module.handle_connection_close(&the_server, &con, data);
  reset(CON_STATE_ERROR);
}

std::string Server::answer(const Request& request) {
  receive(request);
  std::string reply = sent();
  finish();
  return reply;
}

std::string Server::reply_headers() const {
  return the_server.reply_headers;
}

// A plug-in's number is none of the enumeration's values.
bool Server::module_answers() const {
  unsigned number;
  std::memcpy(&number, &con.mode, sizeof number);
  return number == kId;
}

Effects Server::log() const {
  return std::exchange(the_server.log, {});
}

}  // namespace kd::test
