#include "platform/os.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace kd::os {

// The only two places from which a shell is reached: the lint forbids every other.
int system(const char* command) {
  return std::system(command);  // NOLINT(cert-env33-c)
}
std::FILE* popen(const char* command) {
  return ::popen(command, "re");  // NOLINT(cert-env33-c)
}
int pclose(std::FILE* pipe) {
  return ::pclose(pipe);
}

std::FILE* fopen(const char* path, const char* mode) {
  return std::fopen(path, mode);
}
int fclose(std::FILE* file) {
  return std::fclose(file);
}
int getc(std::FILE* file) {
  return ::getc_unlocked(file);
}
int ungetc(int byte, std::FILE* file) {
  return std::ungetc(byte, file);
}
std::size_t fread(void* data, std::size_t size, std::FILE* file) {
  return std::fread(data, 1, size, file);
}
std::size_t fwrite(const void* data, std::size_t size, std::FILE* file) {
  return std::fwrite(data, 1, size, file);
}
void rewind(std::FILE* file) {
  std::rewind(file);
}
int access(const char* path) {
  return ::access(path, F_OK);
}
off_t size(std::FILE* file) {
  const off_t length = ::fseeko(file, 0, SEEK_END) == 0 ? ::ftello(file) : -1;
  return ::fseeko(file, 0, SEEK_SET) == 0 ? length : -1;
}

int open(const char* path) {
  return ::open(path, O_RDONLY | O_CLOEXEC);
}
ssize_t pread(int descriptor, void* data, std::size_t size, off_t offset) {
  return ::pread(descriptor, data, size, offset);
}
int close(int descriptor) {
  return ::close(descriptor);
}

int socket() {
  return ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}
namespace {
// The request's type is libc's choice: unsigned long, or int.
template <class Number>
int call(int (*function)(int, Number, ...), int socket, unsigned long request, void* argument) {
  return function(socket, static_cast<Number>(request), argument);
}
}  // namespace
int ioctl(int socket, unsigned long request, void* argument) {
  return call(::ioctl, socket, request, argument);
}

int kill(pid_t process, int signal) {
  return ::kill(process, signal);
}
void sleep(unsigned seconds) {
  ::sleep(seconds);
}
void usleep(unsigned microseconds) {
  ::usleep(microseconds);
}
void print(const char* text) {
  std::fputs(text, stdout);
}
void print_error(const char* text) {
  std::fputs(text, stderr);
}

}  // namespace kd::os
