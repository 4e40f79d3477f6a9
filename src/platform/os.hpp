// Every effect of the module on the device passes through here: the device build hands the calls to libc as
// they are, the unit tests link a double that keeps a journal. Meanings and errors are those of the libc
// functions of the same name; all of them block the server's only thread.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <memory>

namespace kd::os {

int system(const char* command);
std::FILE* popen(const char* command);  // for reading
int pclose(std::FILE* pipe);

std::FILE* fopen(const char* path, const char* mode);
int fclose(std::FILE* file);
int getc(std::FILE* file);
int ungetc(int byte, std::FILE* file);
std::size_t fread(void* data, std::size_t size, std::FILE* file);
std::size_t fwrite(const void* data, std::size_t size, std::FILE* file);
void rewind(std::FILE* file);
int access(const char* path);  // whether it exists
// Bytes of a file at whose start `file` stands, and stays; -1 on error. (`stat` refuses a file dated beyond
// what a 32-bit time holds.)
off_t size(std::FILE* file);

int open(const char* path);  // read-only, close-on-exec
ssize_t pread(int descriptor, void* data, std::size_t size, off_t offset);
int close(int descriptor);

int socket();  // an IPv4 datagram socket, for driver requests
int ioctl(int socket, unsigned long request, void* argument);

int kill(pid_t process, int signal);
void sleep(unsigned seconds);
void usleep(unsigned microseconds);
void print(const char* text);        // standard output
void print_error(const char* text);  // standard error

struct FileCloser {
  void operator()(std::FILE* file) const { os::fclose(file); }
};
struct PipeCloser {
  void operator()(std::FILE* pipe) const { os::pclose(pipe); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
using Pipe = std::unique_ptr<std::FILE, PipeCloser>;

inline void run_all(std::initializer_list<const char*> commands) {
  for (const char* command : commands) os::system(command);
}

inline bool exists(const char* path) {
  return os::access(path) == 0;
}

}  // namespace kd::os
