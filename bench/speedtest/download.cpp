#include "download.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void stop(const char* step) {
  std::perror(step);
  std::exit(1);
}

double ms_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

int connect_to(std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) stop("connect");
  return fd;
}

std::string base64(const std::string& text) {
  constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < text.size(); i += 3) {
    unsigned group = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      group = group << 8 | (i + j < text.size() ? static_cast<unsigned char>(text[i + j]) : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      out += i + j > text.size() ? '=' : kAlphabet[group >> (18 - 6 * j) & 63];
    }
  }
  return out;
}

std::string request_for(const std::string& credentials, std::size_t bytes) {
  const std::string body =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
      "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body>"
      "<DownloadSpeedTest xmlns=\"http://purenetworks.com/HNAP1/\"><Bytes>" +
      std::to_string(bytes) +
      "</Bytes><BufferSize>65536</BufferSize></DownloadSpeedTest></soap:Body></soap:Envelope>";
  return "POST /HNAP1/ HTTP/1.1\r\nHost: device\r\nAuthorization: Basic " + base64(credentials) +
         "\r\nSOAPAction: \"http://purenetworks.com/HNAP1/DownloadSpeedTest\"\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

// Length of a whole response; 0 while its header is not complete.
std::size_t expected_size(const std::string& response) {
  const std::size_t end = response.find("\r\n\r\n");
  if (end == std::string::npos) return 0;
  const std::size_t at = response.find("Content-Length: ");
  if (at == std::string::npos || at > end) stop("no Content-Length");
  return end + 4 + std::strtoul(response.c_str() + at + 16, nullptr, 10);
}

}  // namespace

Download download(std::uint16_t port, const std::string& credentials, std::size_t bytes) {
  const std::string request = request_for(credentials, bytes);
  Download result;
  result.response.resize(bytes + 4096);
  const Clock::time_point start = Clock::now();
  const int fd = connect_to(port);
  if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) {
    stop("send");
  }
  std::size_t received = 0, expected = 0;
  while (expected == 0 || received < expected) {
    const ssize_t count = recv(fd, result.response.data() + received, result.response.size() - received, 0);
    if (count <= 0) stop("recv");
    if (received == 0) result.first_byte_ms = ms_since(start);
    received += static_cast<std::size_t>(count);
    if (expected == 0) expected = expected_size(result.response.substr(0, 1024));
    if (expected > result.response.size()) result.response.resize(expected);
  }
  result.last_byte_ms = ms_since(start);
  close(fd);
  result.response.resize(received);
  return result;
}
