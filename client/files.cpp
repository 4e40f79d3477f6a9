#include "files.hpp"

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
  const File file = opened(path);
  std::string text;
  std::size_t read = 0;
  do {
    text.resize(text.size() + (1U << 20));
    const std::size_t room = text.size() - (1U << 20);
    read = std::fread(text.data() + room, 1, 1U << 20, file.get());
    text.resize(room + read);
  } while (read > 0 && text.size() <= most);
  if (std::ferror(file.get())) wrong(path, std::strerror(errno));
  if (text.empty()) wrong(path, "is empty");
  if (text.size() > most) wrong(path, "is longer than " + std::to_string(most >> 20) + " MB");
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
