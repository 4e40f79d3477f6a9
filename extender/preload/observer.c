#define _GNU_SOURCE
#include "observer.h"

#include <arpa/inet.h>
#include <endian.h>
#include <netinet/in.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

enum {
  kMostConnections = 4096,
  kMostOfRequest = 16384, /* bytes of each request and reply that are told; the rest is counted only */
  kMostOfReply = 4096,
  kDatagramSize = 32768
};

/* In little-endian order: the server may be one for another processor. */
struct event {
  uint32_t kind;
  uint32_t connection;
  uint64_t microseconds; /* since 1970 */
  uint32_t size;         /* bytes that went over the connection */
  uint32_t kept;         /* bytes that follow */
};

/* A connection by its descriptor. */
static struct {
  uint32_t number; /* 0: none */
  uint32_t request_kept;
  uint32_t reply_kept;
  int is_replying;
} connections[kMostConnections];

static int observer = -1;
static uint32_t last_number;
static char datagram[kDatagramSize];
static size_t filled;

void observe_flush(void) {
  if (filled > 0) send(observer, datagram, filled, MSG_DONTWAIT | MSG_NOSIGNAL);
  filled = 0;
}

/* What was done behind the last reply is told when the server ends. */
__attribute__((destructor)) static void tell_the_rest(void) {
  observe_flush();
}

/* Room for an event with `kept` bytes behind it, which the caller fills. */
static char* put(uint32_t kind, uint32_t connection, size_t size, size_t kept) {
  struct timespec now;
  if (filled + sizeof(struct event) + kept > sizeof datagram) observe_flush();
  clock_gettime(CLOCK_REALTIME, &now);
  const uint64_t microseconds = (uint64_t)now.tv_sec * 1000000 + (uint64_t)now.tv_nsec / 1000;
  const struct event event = {htole32(kind), htole32(connection), htole64(microseconds),
                              htole32((uint32_t)size), htole32((uint32_t)kept)};
  char* at = datagram + filled;
  memcpy(at, &event, sizeof event);
  filled += sizeof event + kept;
  return at + sizeof event;
}

static int is_known(int fd) {
  return observer >= 0 && fd >= 0 && fd < kMostConnections && connections[fd].number != 0;
}

void observe_start(int socket) {
  observer = socket;
  if (observer < 0) return;
  put(kStartEvent, 0, 0, 0);
  observe_flush();
}

void observe_text(unsigned kind, const char* text) {
  if (observer < 0) return;
  const size_t length = strnlen(text, kMostOfReply);
  memcpy(put(kind, 0, length, length), text, length);
  if (kind == kSignalEvent) observe_flush(); /* it may be the end of this process */
}

void observe_accept(int fd, const struct sockaddr* address, int is_proxied) {
  char host[INET6_ADDRSTRLEN] = "";
  char text[INET6_ADDRSTRLEN + 16];
  unsigned port = 0;
  if (observer < 0 || fd >= kMostConnections) return;
  if (last_number == 0) observe_flush(); /* the start is told before anybody has an answer */
  if (address != NULL && address->sa_family == AF_INET) {
    struct sockaddr_in in;
    memcpy(&in, address, sizeof in);
    inet_ntop(AF_INET, &in.sin_addr, host, sizeof host);
    port = ntohs(in.sin_port);
  } else if (address != NULL && address->sa_family == AF_INET6) {
    struct sockaddr_in6 in;
    memcpy(&in, address, sizeof in);
    inet_ntop(AF_INET6, &in.sin6_addr, host, sizeof host);
    port = ntohs(in.sin6_port);
  }
  const int is_v6 = strchr(host, ':') != NULL;
  const int length = snprintf(text, sizeof text, "%s%s%s:%u", is_v6 ? "[" : "", host, is_v6 ? "]" : "", port);
  memset(&connections[fd], 0, sizeof connections[fd]);
  connections[fd].number = ++last_number;
  memcpy(put(is_proxied ? kProxiedEvent : kAcceptEvent, last_number, 0, (size_t)length), text,
         (size_t)length);
}

void observe_read(int fd, const void* data, size_t size) {
  if (!is_known(fd) || size == 0) return;
  if (connections[fd].is_replying) { /* the next request */
    connections[fd].is_replying = 0;
    connections[fd].request_kept = 0;
  }
  size_t kept = kMostOfRequest - connections[fd].request_kept;
  if (kept > size) kept = size;
  connections[fd].request_kept += (uint32_t)kept;
  memcpy(put(kReadEvent, connections[fd].number, size, kept), data, kept);
}

void observe_write(int fd, const struct iovec* pieces, int count, size_t size) {
  if (!is_known(fd) || size == 0) return;
  if (!connections[fd].is_replying) {
    connections[fd].is_replying = 1;
    connections[fd].reply_kept = 0;
  }
  size_t kept = kMostOfReply - connections[fd].reply_kept;
  if (kept > size) kept = size;
  if (pieces == NULL) kept = 0;
  connections[fd].reply_kept += (uint32_t)kept;
  char* at = put(kWriteEvent, connections[fd].number, size, kept);
  for (int i = 0; i < count && kept > 0; ++i) {
    const size_t piece = pieces[i].iov_len < kept ? pieces[i].iov_len : kept;
    memcpy(at, pieces[i].iov_base, piece);
    at += piece;
    kept -= piece;
  }
  observe_flush();
}

void observe_close(int fd) {
  if (!is_known(fd)) return;
  put(kCloseEvent, connections[fd].number, 0, 0);
  connections[fd].number = 0;
  observe_flush();
}
