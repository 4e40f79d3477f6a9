#include "files.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "failure.hpp"
#include "text.hpp"

namespace hnap {
namespace {

constexpr std::size_t kLongestSecret = 1024;

[[noreturn]] void wrong(const std::string& path, const std::string& why) {
  throw Failure(Exit::usage, (path == "-" ? "standard input" : visible(path)) + ": " + why);
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Standard input stays open.
File opened(const std::string& path) {
  if (path == "-") return {stdin, [](std::FILE*) { return 0; }};
  File file(std::fopen(path.c_str(), "rbe"), [](std::FILE* open) { return std::fclose(open); });
  if (!file) wrong(path, std::strerror(errno));
  return file;
}

}  // namespace

std::string contents_of(const std::string& path, std::size_t most) {
  constexpr std::size_t kBlock = 1U << 20;
  const File file = opened(path);
  struct stat status {};
  const bool sized = fstat(fileno(file.get()), &status) == 0 && status.st_size > 0;
  std::string text;
  text.reserve(kBlock + (sized ? std::min(static_cast<std::size_t>(status.st_size), most) : 0));
  std::size_t size = 0;
  do {
    text.resize(size + kBlock);
    const std::size_t read = std::fread(text.data() + size, 1, kBlock, file.get());
    size += read;
    text.resize(size);
    if (read < kBlock) break;
  } while (size <= most);
  if (std::ferror(file.get())) wrong(path, std::strerror(errno));
  if (text.empty()) wrong(path, "is empty");
  if (size > most) wrong(path, "is longer than " + std::to_string(most >> 20) + " MB");
  return text;
}

std::string secret_from_file(const std::string& path) {
  const File file = opened(path);
  std::string secret;
  for (int next = std::getc(file.get()); next != EOF && next != '\n'; next = std::getc(file.get())) {
    if (secret.size() == kLongestSecret) wrong(path, "the first line is too long for a password or key");
    secret += static_cast<char>(next);
  }
  if (secret.ends_with('\r')) secret.pop_back();
  if (secret.empty()) wrong(path, "the first line is empty");
  return secret;
}

}  // namespace hnap
