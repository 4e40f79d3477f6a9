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
#include <sys/socket.h>
#include <unistd.h>

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
  kMostRefusalWaits = 500 /* milliseconds */
};

static int listener = -1; /* the launcher's socket, which listens outside of the device's network */

/* The commands that the server starts must be the device's own, untouched. */
__attribute__((constructor)) static void take_over(void) {
  const char* number = getenv("KD_LISTENER");
  if (number != NULL) listener = (int)strtol(number, NULL, 10);
  if (listener >= 0) fcntl(listener, F_SETFD, FD_CLOEXEC);
  unsetenv("KD_LISTENER");
  unsetenv("LD_PRELOAD");
  unsetenv(
      "LD_LIBRARY_PATH"); /* the loader has read it; each command would look for its libraries there first */
}

static void* real(const char* name) {
  void* function = dlsym(RTLD_NEXT, name);
  if (function == NULL) abort(); /* every libc has it */
  return function;
}

static FILE* real_fopen(const char* path, const char* mode) {
  FILE* (*call)(const char*, const char*) = NULL;
  *(void**)&call = real("fopen");
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
    if (text == NULL) continue;
    *value = (int32_t)strtol(text, NULL, 0);
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
  if (listener >= 0 && address->sa_family == AF_INET) return dup3(listener, fd, O_CLOEXEC) < 0 ? -1 : 0;
  int (*call)(int, const struct sockaddr*, socklen_t) = NULL;
  *(void**)&call = real("bind");
  return call(fd, address, length);
}

static int refuses(void) {
  int listening = 0;
  socklen_t size = sizeof listening;
  return getsockopt(listener, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) != 0 || listening == 0;
}

/* A socket that refuses has nothing to accept; the server need not complain about it while it ends. */
static int refused(int result) {
  if (result < 0 && errno == EINVAL && refuses()) errno = EAGAIN;
  return result;
}

int accept(int fd, struct sockaddr* address, socklen_t* length) {
  int (*call)(int, struct sockaddr*, socklen_t*) = NULL;
  *(void**)&call = real("accept");
  return refused(call(fd, address, length));
}

int accept4(int fd, struct sockaddr* address, socklen_t* length, int flags) {
  int (*call)(int, struct sockaddr*, socklen_t*, int) = NULL;
  *(void**)&call = real("accept4");
  return refused(call(fd, address, length, flags));
}

/* An order to restart returns when the device refuses connections. Otherwise a client that has its reply
 * could reach the ending server once more, and take it for the restarted one. */
int kill(pid_t pid, int signal) {
  int (*call)(pid_t, int) = NULL;
  *(void**)&call = real("kill");
  const int result = call(pid, signal);
  if (pid != 1 || signal != SIGTERM || result != 0) return result;
  for (int i = 0; i < kMostRefusalWaits && !refuses(); ++i) usleep(1000);
  return result;
}

static const char* redirected(const char* path) {
  return path != NULL && strcmp(path, "/proc/mtd") == 0 ? kMtdFile : path;
}

FILE* fopen(const char* path, const char* mode) {
  return real_fopen(redirected(path), mode);
}
FILE* fopen64(const char* path, const char* mode) {
  return real_fopen(redirected(path), mode);
}

static int open_file(const char* name, const char* path, int flags, mode_t mode) {
  int (*call)(const char*, int, ...) = NULL;
  *(void**)&call = real(name);
  return call(redirected(path), flags, mode);
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
  TAKE_MODE(flags, mode)
  return open_file("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  TAKE_MODE(flags, mode)
  return open_file("open64", path, flags, mode);
}
