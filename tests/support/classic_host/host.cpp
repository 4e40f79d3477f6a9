#include "host.hpp"

#include <strings.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "support/device.hpp"

struct server {
  std::vector<std::string> log;
};

namespace {

server the_server;

// The server ends itself when memory is short, so its own allocations stay outside the watched heap. The
// bytes of a buffer are free()'d.
void assign(buffer& target, std::string_view text) {
  std::free(target.ptr);
  target.used = text.size() + 1;
  target.size = (target.used + 15) & ~std::size_t{15};
  target.ptr = static_cast<char*>(std::aligned_alloc(16, target.size));
  std::memcpy(target.ptr, text.data(), text.size());
  target.ptr[text.size()] = '\0';
}

buffer* new_buffer(std::string_view text) {
  buffer* made = buffer_init();
  assign(*made, text);
  return made;
}

std::string text_of(const buffer& text) {
  return text.used ? std::string(text.ptr, text.used - 1) : std::string{};
}

void append(array*& target, std::string_view key, std::string_view value) {
  if (!target) target = new array{new data_string*[32], 0};
  target->data[target->used++] = new data_string{new_buffer(key), new_buffer(value)};
}

void release(array*& target) {
  if (!target) return;
  for (size_t i = 0; i < target->used; ++i) {
    buffer_free(target->data[i]->key);
    buffer_free(target->data[i]->value);
    delete target->data[i];
  }
  delete[] target->data;
  delete target;
  target = nullptr;
}

chunk& append(chunkqueue& queue) {
  auto* added = new chunk{};
  added->file.fd = -1;
  added->file.mmap.start = static_cast<char*>(MAP_FAILED);
  (queue.last ? queue.last->next : queue.first) = added;
  queue.last = added;
  return *added;
}

void release(chunkqueue*& queue) {
  if (!queue) return;
  while (chunk* first = queue->first) {
    queue->first = first->next;
    if (first->mem) buffer_free(first->mem);
    if (first->file.name) buffer_free(first->file.name);
    delete first;
  }
  delete queue;
  queue = nullptr;
}

}  // namespace

extern "C" {

buffer* buffer_init() {
  return new buffer{};
}

buffer* buffer_init_string(const char* text) {
  return new_buffer(text);
}

void buffer_free(buffer* b) {
  std::free(b->ptr);
  delete b;
}

int buffer_copy_string_len(buffer* b, const char* text, size_t length) {
  if (!text || !b) return -1;
  assign(*b, {text, length});
  return 0;
}

data_unset* array_get_element(array* a, const char* key) {
  for (size_t i = 0; a && i < a->used; ++i) {
    if (strcasecmp(a->data[i]->key->ptr, key) == 0) return reinterpret_cast<data_unset*>(a->data[i]);
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

int response_header_insert(server*, connection* con, const char* key, size_t key_length, const char* value,
                           size_t value_length) {
  append(con->response.headers, {key, key_length}, {value, value_length});
  return 0;
}

int log_error_write(server* srv, const char* file, unsigned int, const char* format, ...) {
  std::string line = std::string{file} + ": ";
  va_list values;
  va_start(values, format);
  for (; *format; ++format) {
    if (*format == 's') line += va_arg(values, const char*);
    if (*format == 'd') line += std::to_string(va_arg(values, int));
    if (*format == 'b') line += text_of(*va_arg(values, buffer*));
  }
  va_end(values);
  srv->log.push_back(line);
  return 0;
}
}

namespace kd::test {

ClassicHost::ClassicHost() {
  the_server.log.clear();
  con.plugin_ctx = new void* [kId + 2] {};
  mod_kd_hnap_plugin_init(&module);
  data = module.init();
  if (data) *static_cast<size_t*>(data) = kId;
  module.data = data;
  if (data) module.set_defaults(&the_server, data);
}

ClassicHost::~ClassicHost() {
  if (data) {
    reset(CON_STATE_CONNECT);
    module.cleanup(&the_server, data);
  }
  delete[] con.plugin_ctx;
  buffer_free(module.name);
}

void ClassicHost::reset(connection_state_t state) {
  con.state = state;
  module.connection_reset(&the_server, &con, data);
  // "missing cleanup in kd_hnap"
  dirty_slot_ |= con.plugin_ctx[kId] != nullptr;
  con.plugin_ctx[kId] = nullptr;
  if (con.request.uri) buffer_free(con.request.uri);
  release(con.request.headers);
  release(con.response.headers);
  release(con.request_content_queue);
  release(con.write_queue);
  con.request = {};
  con.mode = DIRECT;
  con.http_status = con.file_finished = 0;
  hangs_ = false;
}

void ClassicHost::accept() {
  reset(CON_STATE_CONNECT);
}

handler_t ClassicHost::receive(const ClassicRequest& request) {
  con.request.http_method = request.method;
  if (request.uri) con.request.uri = new_buffer(request.uri);
  for (const auto& [name, value] : request.headers) append(con.request.headers, name, value);
  con.keep_alive = request.keep_alive;
  con.write_queue = new chunkqueue{};
  con.request_content_queue = new chunkqueue{};
  for (const Piece& piece : request.body) {
    chunk& added = append(*con.request_content_queue);
    added.offset = piece.consumed;
    off_t length = static_cast<off_t>(piece.bytes.size());
    if (piece.kind == Piece::memory) {
      added.type = chunk::MEM_CHUNK;
      if (length) added.mem = new_buffer(piece.bytes);
    } else if (piece.kind != Piece::none) {
      added.type = chunk::FILE_CHUNK;
      added.file.name = new_buffer(piece.name);
      added.file.start = piece.start;
      added.file.is_temp = 1;
      if (!piece.name.empty()) device().files[piece.name] = piece.bytes;
      if (piece.open) added.file.fd = device().open_number(piece.name);
      if (piece.kind == Piece::mapped) added.file.mmap.start = added.file.name->ptr;
      length = added.file.length = piece.claimed < 0 ? length - piece.start : piece.claimed;
    }
    con.request_content_queue->bytes_in += std::max<off_t>(0, length - piece.consumed);
  }
  con.request_content_queue->bytes_in += request.missing;
  con.request.content_length =
      request.content_length.value_or(static_cast<size_t>(con.request_content_queue->bytes_in));
  con.state = CON_STATE_HANDLE_REQUEST;
  const handler_t handled = module.handle_uri_raw(&the_server, &con, data);
  if (handled != HANDLER_FINISHED) return handled;
  const bool own_page = !module_answers() && con.http_status >= 400;
  hangs_ = !con.file_finished && !own_page;
  if (con.http_status == 0) con.http_status = 200;
  return handled;
}

std::string ClassicHost::sent() {
  std::string all;
  for (const chunk* piece = con.write_queue->first; piece; piece = piece->next) all += text_of(*piece->mem);
  if (!module_answers() && con.http_status >= 400) all += "<page of the server>";
  return all;
}

void ClassicHost::finish() {
  if (con.keep_alive) return reset(CON_STATE_REQUEST_START);
  con.state = CON_STATE_RESPONSE_END;
  module.handle_connection_close(&the_server, &con, data);
  reset(CON_STATE_CLOSE);
}

void ClassicHost::abort() {
  con.state = CON_STATE_ERROR;
  if (module_answers()) module.handle_connection_close(&the_server, &con, data);
  reset(CON_STATE_ERROR);
}

std::string ClassicHost::reply_header(const char* name) {
  auto* found = reinterpret_cast<data_string*>(array_get_element(con.response.headers, name));
  return found ? text_of(*found->value) : "";
}

// A plug-in's number is none of the enumeration's values.
bool ClassicHost::module_answers() const {
  unsigned number;
  std::memcpy(&number, &con.mode, sizeof number);
  return number == kId;
}

std::vector<std::string> ClassicHost::log() {
  return std::exchange(the_server.log, {});
}

}  // namespace kd::test
