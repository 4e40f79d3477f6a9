/* What the web server does is told to the launcher, for its journal: datagrams of events on a socket that the
 * launcher holds. Without that socket nothing is told. What does not fit into the socket is lost, never
 * waited for. launcher/observation.hpp reads them. */
#pragma once

#include <stddef.h>
#include <sys/socket.h>
#include <sys/uio.h>

enum {
  kStartEvent = 1,   /* a web server began: what was known of connections is void */
  kAcceptEvent = 2,  /* text: the client's address and port */
  kReadEvent = 3,    /* bytes of a request */
  kWriteEvent = 4,   /* bytes of a reply */
  kCloseEvent = 5,   /* the end of a connection */
  kCommandEvent = 6, /* text: a shell command */
  kFileEvent = 7,    /* text: a file that is opened to be written */
  kSignalEvent = 8,  /* text: signal and process */
  kProxiedEvent = 9  /* as kAcceptEvent, for a connection that came through the launcher */
};

void observe_start(int socket);
void observe_text(unsigned kind, const char* text);
void observe_accept(int fd, const struct sockaddr* address, int is_proxied);
void observe_read(int fd, const void* data, size_t size);
void observe_write(int fd, const struct iovec* pieces, int count, size_t size);
void observe_close(int fd);
void observe_flush(void); /* tells what was observed so far; each reply and each end does so too */
