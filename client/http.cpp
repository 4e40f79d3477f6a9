#include "http.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "curl_handle.hpp"
#include "failure.hpp"
#include "text.hpp"

namespace hnap {
namespace {

constexpr std::size_t kLongestHeaders = 64U << 10;
constexpr std::size_t kShownBody = 20000;  // bytes of a body that --verbose shows

struct Transfer {
  const HttpRequest& request;
  HttpReply reply;
  std::size_t headers = 0;
  bool too_long = false;
};

std::size_t take_body(char* bytes, std::size_t, std::size_t count, void* context) {
  Transfer& transfer = *static_cast<Transfer*>(context);
  transfer.too_long = count > transfer.request.longest_reply - transfer.reply.body.size();
  if (transfer.too_long) return 0;
  transfer.reply.body.append(bytes, count);
  return count;
}

std::size_t count_header(char*, std::size_t, std::size_t count, void* context) {
  Transfer& transfer = *static_cast<Transfer*>(context);
  transfer.headers += count;
  transfer.too_long = transfer.headers > kLongestHeaders;
  return transfer.too_long ? 0 : count;
}

int report_progress(void* context, curl_off_t, curl_off_t received, curl_off_t to_send, curl_off_t sent) {
  const Transfer& transfer = *static_cast<Transfer*>(context);
  transfer.request.on_progress(static_cast<double>(sent), static_cast<double>(to_send),
                               static_cast<double>(received));
  return 0;
}

void print_lines(char mark, std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::fprintf(stderr, "%c %s\n", mark, visible(without_blanks_around(text.substr(0, end))).c_str());
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void print_body(char mark, std::string_view body) {
  print_lines(mark, masked(body.substr(0, kShownBody)));
  if (body.size() > kShownBody) std::fprintf(stderr, "%c ... (%zu bytes in all)\n", mark, body.size());
}

int show_exchange(CURL*, curl_infotype kind, char* bytes, std::size_t count, void* context) {
  const std::string_view text(bytes, count);
  if (kind == CURLINFO_HEADER_IN) print_lines('<', text);
  if (kind != CURLINFO_HEADER_OUT) return 0;
  std::string shown(text);
  const std::string_view secret = "Authorization: Basic ";
  if (const std::size_t start = shown.find(secret); start != std::string::npos)
    shown.replace(start + secret.size(), shown.find('\r', start) - start - secret.size(), "***");
  print_lines('>', shown);
  print_body('>', static_cast<Transfer*>(context)->request.body);
  return 0;
}

void ask_for_progress(const CurlHandle& curl, Transfer& transfer) {
  if (!transfer.request.on_progress) return;
  curl.set(CURLOPT_NOPROGRESS, 0L);
  curl.set(CURLOPT_XFERINFOFUNCTION, &report_progress);
  curl.set(CURLOPT_XFERINFODATA, &transfer);
}

CurlList make_post(const CurlHandle& curl, const HttpRequest& request) {
  CurlList headers;
  headers.add("SOAPAction: \"" + request.soap_action + "\"");
  headers.add("Content-Type: text/xml; charset=utf-8");
  headers.add("Expect:");  // no wait for a "100 Continue"
  curl.set(CURLOPT_HTTPHEADER, headers.get());
  curl.set(CURLOPT_POSTFIELDS, request.body.data());
  curl.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  curl.set(CURLOPT_UPLOAD_BUFFERSIZE, 512L << 10);
  return headers;
}

void add_credentials(const CurlHandle& curl, const HttpRequest& request) {
  if (request.user.empty() && request.password.empty()) return;
  curl.set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
  curl.set(CURLOPT_USERNAME, request.user.c_str());
  curl.set(CURLOPT_PASSWORD, request.password.c_str());
}

std::string reason(CURLcode code, const Transfer& transfer, const CurlHandle& curl) {
  if (transfer.too_long) return "its reply is longer than any device's; given up";
  if (code == CURLE_OPERATION_TIMEDOUT) {
    const double waited = static_cast<double>(transfer.request.timeout.count()) / 1000;
    char text[64];
    std::snprintf(text, sizeof text, "no complete answer within %g s", waited);
    return text;
  }
  if (code == CURLE_COULDNT_CONNECT) {
    long error = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_OS_ERRNO, &error);
    if (error != 0) return std::strerror(static_cast<int>(error));
  }
  if (code == CURLE_GOT_NOTHING) return "it closed the connection without an answer";
  return visible(curl.error_text(code));
}

}  // namespace

void set_common(const CurlHandle& curl, const HttpRequest& request) {
  curl.set(CURLOPT_URL, request.url.c_str());
  curl.set(CURLOPT_PROTOCOLS_STR, "http,https");
  curl.set(CURLOPT_PROXY, "");  // a device is in one's own network
  curl.set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl.set(CURLOPT_USERAGENT, (std::string("hnap/") + version()).c_str());
  curl.set(CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeout.count()));
  curl.set(CURLOPT_FORBID_REUSE, 1L);  // every reply closes its connection
}

HttpReply exchange(const HttpRequest& request, const std::string& label) {
  const CurlHandle curl;
  Transfer transfer{request, {}};
  set_common(curl, request);
  curl.set(CURLOPT_WRITEFUNCTION, &take_body);
  curl.set(CURLOPT_WRITEDATA, &transfer);
  curl.set(CURLOPT_HEADERFUNCTION, &count_header);
  curl.set(CURLOPT_HEADERDATA, &transfer);
  ask_for_progress(curl, transfer);
  if (request.verbose) {
    curl.set(CURLOPT_VERBOSE, 1L);
    curl.set(CURLOPT_DEBUGFUNCTION, &show_exchange);
    curl.set(CURLOPT_DEBUGDATA, &transfer);
  }
  add_credentials(curl, request);
  const bool post = !request.soap_action.empty();
  const CurlList headers = post ? make_post(curl, request) : CurlList();

  const CURLcode code = curl_easy_perform(curl.get());
  HttpReply& reply = transfer.reply;
  if (request.verbose) print_body('<', reply.body);
  if (code != CURLE_OK) throw Failure(Exit::unreachable, label + ": " + reason(code, transfer, curl));
  double first_byte = 0;
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &reply.status);
  curl_easy_getinfo(curl.get(), CURLINFO_TOTAL_TIME, &reply.seconds);
  curl_easy_getinfo(curl.get(), CURLINFO_STARTTRANSFER_TIME, &first_byte);
  reply.seconds_of_body = reply.seconds - first_byte;
  return std::move(transfer.reply);
}

const char* version() {
  return KD_HNAP_VERSION;
}

}  // namespace hnap
