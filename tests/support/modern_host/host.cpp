#include "host.hpp"

#include <strings.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "support/device.hpp"

namespace {

using kd::test::device;
using kd::test::Piece;

kd::test::ModernHost* the_host = nullptr;
constexpr uint32_t kPooled = 8192, kCopied = 1024;

buffer buffer_of(std::string& text) {
  return {text.data(), static_cast<uint32_t>(text.size() + 1), static_cast<uint32_t>(text.size() + 1)};
}

bool equal(const std::string& a, const char* b, size_t length) {
  return a.size() == length && strncasecmp(a.data(), b, length) == 0;
}

// One piece for each event.
handler_t read_on(request_st* r) {
  auto& [_1, _2, _3, coming, missing, _4, mode] = the_host->request;
  off_t& bytes_in = r->reqbody_queue.bytes_in;
  if (!coming.empty()) {
    const Piece& piece = the_host->body.emplace_back(coming.front());
    coming.erase(coming.begin());
    bytes_in += static_cast<off_t>(piece.bytes.size());
    if (piece.kind == Piece::spooled) device().files[piece.name] = piece.bytes;
  }
  if (coming.empty()) bytes_in += std::exchange(missing, 0);
  if (coming.empty() && mode == kd::test::ModernRequest::chunked) r->reqbody_length = bytes_in;
  if (mode == kd::test::ModernRequest::refused) return HANDLER_ERROR;
  const bool goes_on = r->reqbody_length == bytes_in || mode == kd::test::ModernRequest::streamed;
  return goes_on ? HANDLER_GO_ON : HANDLER_WAIT_FOR_EVENT;
}

}  // namespace

extern "C" {

enum http_header_e http_header_hkey_get(const char* name, size_t length) {
  if (equal("Authorization", name, length)) return HTTP_HEADER_AUTHORIZATION;
  return equal("WWW-Authenticate", name, length) ? HTTP_HEADER_WWW_AUTHENTICATE : HTTP_HEADER_OTHER;
}

// A wrong id finds nothing.
buffer* http_header_request_get(const request_st*, enum http_header_e id, const char* name, uint32_t length) {
  static buffer found;
  for (auto& [key, value] : the_host->request.headers) {
    if (!equal(key, name, length) || id != http_header_hkey_get(name, length)) continue;
    found = buffer_of(value);
    return &found;
  }
  return nullptr;
}

void http_header_response_set(request_st*, enum http_header_e id, const char* name, uint32_t length,
                              const char* value, uint32_t value_length) {
  if (id != http_header_hkey_get(name, length)) return;
  the_host->reply_headers[{name, length}] = {value, value_length};
}

void chunkqueue_append_mem(chunkqueue*, const char* bytes, size_t length) {
  the_host->reply.append(bytes, length);
}

// A short text is copied. The block of a longer one becomes the chunk's, whose own comes back.
void chunkqueue_append_buffer(chunkqueue*, buffer* text) {
  the_host->reply += std::string(text->ptr, text->size).substr(0, text->used - 1);
  if (text->used > kCopied) *text = {std::exchange(the_host->block, text->ptr), 0, kPooled};
}

int chunkqueue_read_data(chunkqueue* queue, char* data, uint32_t length, log_error_st*) {
  std::string all;
  for (const Piece& piece : the_host->body) {
    if (piece.kind == Piece::spooled && device().goes_wrong()) return -1;
    all += piece.kind == Piece::spooled ? device().files[piece.name] : piece.bytes;
  }
  const size_t count = std::min<size_t>(length, all.size());
  std::copy_n(all.data(), count, data);
  queue->bytes_out += static_cast<off_t>(count);
  return count == length ? 0 : -1;
}

void chunkqueue_chunk_pool_clear() {
  ++the_host->pool_clearings;
}

void log_error(log_error_st*, const char* file, unsigned int, const char* format, ...) {
  char line[200];
  va_list values;
  va_start(values, format);
  std::vsnprintf(line, sizeof line, format, values);
  va_end(values);
  the_host->logged.push_back(std::string{file} + ": " + line);
}
}

namespace kd::test {

ModernHost::ModernHost(bool serves) {
  the_host = this;
  mod_kd_hnap_plugin_init(&module);
  con.plugin_ctx = slots;
  con.reqbody_read = read_on;
  data = module.init();
  if (!data) return;
  static_cast<plugin_data_base*>(data)->id = 1;
  static_cast<plugin_data_base*>(data)->self = &module;
  module.set_defaults(nullptr, data);
  if (serves) module.worker_init(nullptr, data);
}

ModernHost::~ModernHost() {
  if (data) module.cleanup(data);
  std::free(data);
  std::free(block);
}

// The slot stays as the record's connection before left it.
void ModernHost::accept() {
  std::free(block);
  block = static_cast<char*>(std::malloc(kPooled));
}

handler_t ModernHost::receive(const ModernRequest& received) {
  request = received;
  body.clear();
  reply.clear();
  reply_headers.clear();
  std::string uri = request.uri ? request.uri : "";
  request_st& r = con.request;
  r = {};
  r.con = &con;
  r.http_method = request.method;
  r.keep_alive = 1;
  r.conf.error_intercept = 1;
  if (request.uri) r.target_orig = buffer_of(uri);
  r.reqbody_length = request.missing + request.unsent;
  for (const Piece& piece : request.body) r.reqbody_length += static_cast<off_t>(piece.bytes.size());
  if (request.mode == ModernRequest::chunked) r.reqbody_length = -1;

  handler_t handled = module.handle_uri_raw(&r, data);
  while (handled == HANDLER_WAIT_FOR_EVENT && !request.body.empty()) {
    handled = module.handle_subrequest(&r, data);
  }
  if (handled != HANDLER_FINISHED) return handled;
  if (module_answers()) module.handle_subrequest(&r, data);  // what is done stays done
  const bool own_page = r.http_status >= 400 && (!module_answers() || r.conf.error_intercept);
  hung = !r.resp_body_finished && !own_page;
  if (own_page) {
    // Fetches it, and gets it from the module if that takes the request.
    r.http_method = HTTP_METHOD_GET;
    r.error_handler_saved_status = r.http_status;
    r.resp_body_finished = 0;
    if (module.handle_uri_raw(&r, data) == HANDLER_GO_ON) reply = "<page of the server>";
  }
  if (r.http_status == 0) r.http_status = 200;
  return handled;
}

void ModernHost::finish() {
  if (keeps_alive()) return;
  shut_wr();
  abort();
}

}  // namespace kd::test
