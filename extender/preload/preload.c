/* What the radio driver and the flash driver would answer, and the launcher's listening socket, for the web
 * server only. Everything else goes to the real calls. The state is read anew at each call, so that it may be
 * edited while the device runs. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/wireless.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include "observer.h"

static const char kLinkFile[] = "/var/radio/link";
static const char kEepromFile[] = "/var/radio/eeprom";
static const char kMtdFile[] = "/var/virtual/mtd";

enum {
  kLinkStateRequest = 0x8BE1, /* flags: a sub-command; the result is 4 bytes at the data pointer */
  kLinkStateCommand = 0x060B,
  kWpsStatusRequest = 0x8BEE, /* as the link state */
  kWpsStatusCommand = 0x0751,
  kEepromRequest = 0x8BE7, /* text in and out at the data pointer */
  kEepromBufferSize = 4096,
  kErasedWord = 0xFFFF,
  kMostRefusalWaits = 500, /* milliseconds */
  kMostPublic = 8
};

/* The launcher's sockets, which listen outside of the device's network. Connections to the last one come from
 * the launcher itself: it takes those of the others as long as the switch is on, to do with them what a fault
 * demands. */
static int first_listener = -1;
static int listeners;
static int bound;                  /* how many of them the server has */
static int public_fd[kMostPublic]; /* the server's own descriptors of all but the last */
static const volatile unsigned char* is_diverted;

static int take_number(const char* name) {
  const char* text = getenv(name);
  const int number = text == NULL ? -1 : (int)strtol(text, NULL, 10);
  unsetenv(name);
  return number;
}

static void keep_from_commands(int fd) {
  if (fd >= 0) fcntl(fd, F_SETFD, FD_CLOEXEC);
}

/* The commands that the server starts must be the device's own, untouched. */
__attribute__((constructor)) static void take_over(void) {
  first_listener = take_number("KD_LISTENER");
  listeners = first_listener < 0 ? 0 : take_number("KD_LISTENERS");
  const int observer = take_number("KD_OBSERVER");
  const int divert = take_number("KD_SWITCH");
  for (int i = 0; i < listeners; ++i) keep_from_commands(first_listener + i);
  keep_from_commands(observer);
  if (divert >= 0) {
    void* page = mmap(NULL, 1, PROT_READ, MAP_SHARED, divert, 0);
    if (page != MAP_FAILED) is_diverted = page;
    close(divert);
  }
  observe_start(observer);
  unsetenv("LD_PRELOAD");
  unsetenv(
      "LD_LIBRARY_PATH"); /* the loader has read it; each command would look for its libraries there first */
}

/* The function of libc that one here stands before. */
static void* real(const char* name) {
  void* function = dlsym(RTLD_NEXT, name);
  if (function == NULL) abort(); /* every libc has it */
  return function;
}

static FILE* real_fopen(const char* path, const char* mode) {
  static FILE* (*call)(const char*, const char*);
  if (call == NULL) *(void**)&call = real("fopen");
  return call(path, mode);
}

/* What stands behind "name=" in a line of fields, in quotes or not; NULL when it is not there. */
static const char* find_field(const char* line, const char* name) {
  const size_t length = strlen(name);
  int quoted = 0;
  for (const char* at = line; *at != '\0'; ++at) {
    if (*at == '"') quoted = !quoted;
    if (*at == '\\' && at[1] != '\0') ++at;
    if (quoted || (at != line && strchr(" \t\r", at[-1]) == NULL)) continue;
    if (*at == '#') return NULL;
    if (strncmp(at, name, length) != 0) continue;
    const char* value = at + length + strspn(at + length, " \t");
    if (*value == '=') return value + 1 + strspn(value + 1, " \t\"");
  }
  return NULL;
}

/* The number behind "name=" in a file of fields, the last one counts; 0 and a result of 0 without any. */
static int read_field(const char* file, const char* name, int32_t* value) {
  char line[512];
  int found = 0;
  FILE* in = real_fopen(file, "re");
  if (in == NULL) return 0;
  while (fgets(line, sizeof line, in) != NULL) {
    const char* text = find_field(line, name);
    char* end = NULL;
    const long number = text == NULL ? 0 : strtol(text, &end, 0);
    if (text == NULL || end == text || (*end != '\0' && strchr(" \t\r\n\"", *end) == NULL)) continue;
    *value = (int32_t)number;
    found = 1;
  }
  fclose(in);
  return found;
}

/* The word at an EEPROM offset; 0 and no word when there is no EEPROM. */
static int read_eeprom(unsigned long offset, unsigned long* word) {
  char line[512];
  FILE* in = real_fopen(kEepromFile, "re");
  if (in == NULL) return 0;
  *word = kErasedWord;
  while (fgets(line, sizeof line, in) != NULL) {
    char* end = NULL;
    const unsigned long at = strtoul(line, &end, 16);
    if (end == line || at != offset) continue;
    end += strspn(end, " \t=:");
    *word = strtoul(end, NULL, 16) & 0xFFFF;
  }
  fclose(in);
  return 1;
}

static int fail(int error) {
  errno = error;
  return -1;
}

static int answer_number(const struct iwreq* request, const char* field) {
  int32_t value = 0;
  if (request->u.data.pointer == NULL) return fail(EFAULT);
  if (!read_field(kLinkFile, field, &value)) return fail(ENODEV);
  memcpy(request->u.data.pointer, &value, sizeof value);
  return 0;
}

static int answer_eeprom(struct iwreq* request) {
  char* text = request->u.data.pointer;
  unsigned long word = 0;
  char* end = NULL;
  if (text == NULL || request->u.data.length == 0) return fail(EFAULT);
  const unsigned long offset = strtoul(text, &end, 16);
  if (end == text || !read_eeprom(offset, &word)) return fail(ENODEV);
  const int length = snprintf(text, kEepromBufferSize, "\n[0x%04lX]:0x%04lX ", offset & 0xFFFF, word);
  request->u.data.length = (uint16_t)(length + 1);
  return 0;
}

static int answer(const char* name, int fd, unsigned long request, void* argument) {
  struct iwreq* wireless = argument;

  if (request == kLinkStateRequest && wireless->u.data.flags == kLinkStateCommand) {
    return answer_number(wireless, "state");
  }
  if (request == kWpsStatusRequest && wireless->u.data.flags == kWpsStatusCommand) {
    return answer_number(wireless, "wsc");
  }
  if (request == kEepromRequest) return answer_eeprom(wireless);
  int (*call)(int, unsigned long, ...) = NULL;
  *(void**)&call = real(name);
  return call(fd, request, argument);
}

#define TAKE_ARGUMENT(request)               \
  va_list arguments;                         \
  va_start(arguments, request);              \
  void* argument = va_arg(arguments, void*); \
  va_end(arguments);

int ioctl(int fd, unsigned long request, ...) {
  TAKE_ARGUMENT(request)
  return answer("ioctl", fd, request, argument);
}

/* What a 32-bit program calls whose times have 64 bits. */
int __ioctl_time64(int fd, unsigned long request, ...) {
  TAKE_ARGUMENT(request)
  return answer("__ioctl_time64", fd, request, argument);
}

/* The server's own socket becomes the launcher's. This serves every version of the server alike; only newer
 * ones could take a socket by configuration. */
int bind(int fd, const struct sockaddr* address, socklen_t length) {
  if (bound < listeners && address->sa_family == AF_INET) {
    if (dup3(first_listener + bound, fd, O_CLOEXEC) < 0) return -1;
    if (bound < listeners - 1 && bound < kMostPublic) public_fd[bound] = fd;
    ++bound;
    observe_flush(); /* what the modules did at their start */
    return 0;
  }
  int (*call)(int, const struct sockaddr*, socklen_t) = NULL;
  *(void**)&call = real("bind");
  return call(fd, address, length);
}

static int refuses(void) {
  int listening = 0;
  socklen_t size = sizeof listening;
  return getsockopt(first_listener, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) != 0 || listening == 0;
}

/* A socket that refuses has nothing to accept; the server need not complain about it while it ends. */
static int refused(int result) {
  if (result < 0 && errno == EINVAL && refuses()) errno = EAGAIN;
  return result;
}

static int is_public(int fd) {
  for (int i = 0; i < bound && i < kMostPublic && i < listeners - 1; ++i) {
    if (public_fd[i] == fd) return 1;
  }
  return 0;
}

int accept4(int fd, struct sockaddr* address, socklen_t* length, int flags) {
  static int (*call)(int, struct sockaddr*, socklen_t*, int);
  if (call == NULL) *(void**)&call = real("accept4");
  const int from_outside = is_public(fd);
  if (from_outside && is_diverted != NULL && *is_diverted != 0) return fail(EAGAIN);
  const int connection = refused(call(fd, address, length, flags));
  if (connection >= 0) observe_accept(connection, address, !from_outside);
  return connection;
}

int accept(int fd, struct sockaddr* address, socklen_t* length) {
  return accept4(fd, address, length, 0);
}

ssize_t read(int fd, void* data, size_t size) {
  static ssize_t (*call)(int, void*, size_t);
  if (call == NULL) *(void**)&call = real("read");
  const ssize_t got = call(fd, data, size);
  if (got > 0) observe_read(fd, data, (size_t)got);
  return got;
}

ssize_t write(int fd, const void* data, size_t size) {
  static ssize_t (*call)(int, const void*, size_t);
  if (call == NULL) *(void**)&call = real("write");
  const ssize_t sent = call(fd, data, size);
  const struct iovec piece = {(void*)(uintptr_t)data, size};
  if (sent > 0) observe_write(fd, &piece, 1, (size_t)sent);
  return sent;
}

ssize_t writev(int fd, const struct iovec* pieces, int count) {
  static ssize_t (*call)(int, const struct iovec*, int);
  if (call == NULL) *(void**)&call = real("writev");
  const ssize_t sent = call(fd, pieces, count);
  if (sent > 0) observe_write(fd, pieces, count, (size_t)sent);
  return sent;
}

ssize_t sendfile64(int out, int in, off64_t* offset, size_t size) {
  static ssize_t (*call)(int, int, off64_t*, size_t);
  if (call == NULL) *(void**)&call = real("sendfile64");
  const ssize_t sent = call(out, in, offset, size);
  if (sent > 0) observe_write(out, NULL, 0, (size_t)sent);
  return sent;
}

int close(int fd) {
  static int (*call)(int);
  if (call == NULL) *(void**)&call = real("close");
  observe_close(fd);
  return call(fd);
}

int system(const char* command) {
  static int (*call)(const char*);
  if (call == NULL) *(void**)&call = real("system");
  if (command != NULL) observe_text(kCommandEvent, command);
  return call(command);
}

FILE* popen(const char* command, const char* mode) {
  static FILE* (*call)(const char*, const char*);
  if (call == NULL) *(void**)&call = real("popen");
  observe_text(kCommandEvent, command);
  return call(command, mode);
}

/* An order to restart returns when the device refuses connections. Otherwise a client that has its reply
 * could reach the ending server once more, and take it for the restarted one. */
int kill(pid_t pid, int signal) {
  int (*call)(pid_t, int) = NULL;
  *(void**)&call = real("kill");
  if (signal != 0) {
    char text[32];
    snprintf(text, sizeof text, "%d %d", signal, (int)pid);
    observe_text(kSignalEvent, text);
  }
  const int result = call(pid, signal);
  if (pid != 1 || signal != SIGTERM || result != 0) return result;
  for (int i = 0; i < kMostRefusalWaits && !refuses(); ++i) usleep(1000);
  return result;
}

static const char* redirected(const char* path) {
  return path != NULL && strcmp(path, "/proc/mtd") == 0 ? kMtdFile : path;
}

static void observe_file(const char* path, const char* mode) {
  if (path != NULL && mode[0] != 'r') observe_text(kFileEvent, path);
}

FILE* fopen(const char* path, const char* mode) {
  observe_file(path, mode);
  return real_fopen(redirected(path), mode);
}
FILE* fopen64(const char* path, const char* mode) {
  observe_file(path, mode);
  return real_fopen(redirected(path), mode);
}

#define TAKE_MODE(flags, mode)                                      \
  mode_t mode = 0;                                                  \
  if (((flags)&O_CREAT) != 0 || ((flags)&O_TMPFILE) == O_TMPFILE) { \
    va_list arguments;                                              \
    va_start(arguments, flags);                                     \
    mode = (mode_t)va_arg(arguments, unsigned int);                 \
    va_end(arguments);                                              \
  }

int open(const char* path, int flags, ...) {
  static int (*call)(const char*, int, ...);
  if (call == NULL) *(void**)&call = real("open");
  TAKE_MODE(flags, mode)
  return call(redirected(path), flags, mode);
}

int open64(const char* path, int flags, ...) {
  static int (*call)(const char*, int, ...);
  if (call == NULL) *(void**)&call = real("open64");
  TAKE_MODE(flags, mode)
  return call(redirected(path), flags, mode);
}
