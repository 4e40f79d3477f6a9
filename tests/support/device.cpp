#include "support/device.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kd::test {
namespace {

Device* current = nullptr;

[[noreturn]] void give_up(const char* why) {
  std::fprintf(stderr, "device double: %s; the last effects were:\n", why);
  const auto& journal = current->journal;
  for (std::size_t i = journal.size() < 10 ? 0 : journal.size() - 10; i < journal.size(); ++i) {
    std::fprintf(stderr, "  %s\n", journal[i].c_str());
  }
  std::abort();
}

bool take(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::string_view trimmed(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ') || text.ends_with('&')) text.remove_suffix(1);
  return text;
}

std::string_view without_suffix(std::string_view text, std::string_view suffix) {
  return trimmed(text.ends_with(suffix) ? text.substr(0, text.size() - suffix.size()) : text);
}

}  // namespace

Device& device() {
  if (!current) std::abort();
  return *current;
}

Device::Device() {
  if (current) std::abort();
  current = this;
}

Device::~Device() {
  for (Stream* open : streams_) delete open;
  current = nullptr;
}

void Device::set(std::string_view key, std::string_view value) {
  store.insert_or_assign(std::string{key}, value);
  library.insert_or_assign(std::string{key}, value);
}

void Device::at(unsigned seconds, Step step) {
  later_.emplace(std::uint64_t{seconds} * 1000000, std::move(step));
}

void Device::fail(Fault fault) {
  fault_ = fault;
  effects_ = 0;
}

void Device::sleep(std::uint64_t microseconds) {
  now_ += microseconds;
  if (seconds() > 100000) give_up("waits for ever");
  while (!later_.empty() && later_.begin()->first <= now_) {
    const Step step = std::move(later_.begin()->second);
    later_.erase(later_.begin());
    step(*this);
  }
}

Effects Device::changes(std::size_t from) const {
  Effects kept;
  for (; from < journal.size(); ++from) {
    const std::string& line = journal[from];
    const std::string_view kind = std::string_view{line}.substr(0, line.find(' '));
    if (kind != "open" && kind != "pipe" && kind != "access" && kind != "ioctl" && kind != "usleep") {
      kept.push_back(line);
    }
  }
  return kept;
}

std::string Device::misuse() const {
  std::string all = misuse_;
  for (const Stream* open : streams_) all += "still open: " + open->path + "\n";
  for (const auto& [number, path] : numbers_) all += "still open: " + path + "\n";
  return all;
}

int Device::status_of(std::string_view command) const {
  const auto found = statuses.find(command);
  return found == statuses.end() ? 0 : found->second;
}

Device::Stream* Device::open_stream(Stream stream) {
  return streams_.emplace_back(new Stream{std::move(stream)});
}

Device::Stream* Device::stream(void* handle) {
  const auto found = std::find(streams_.begin(), streams_.end(), handle);
  if (found == streams_.end()) give_up("a stream that is not open");
  return *found;
}

void Device::close_stream(void* handle, bool pipe) {
  Stream* open = stream(handle);
  if (open->pipe != pipe) misuse_ += "closed as what it is not: " + open->path + "\n";
  streams_.erase(std::find(streams_.begin(), streams_.end(), open));
  delete open;
}

int Device::open_number(std::string path) {
  const int number = numbers_.empty() ? 1000 : numbers_.rbegin()->first + 1;
  numbers_[number] = std::move(path);
  return number;
}

const std::string* Device::path_of(int number) const {
  const auto found = numbers_.find(number);
  return found == numbers_.end() ? nullptr : &found->second;
}

bool Device::close_number(int number) {
  if (numbers_.erase(number)) return true;
  misuse_ += "closed, but not open: " + std::to_string(number) + "\n";
  return false;
}

// A shell that knows what the module's simplest commands do; everything else prints what was scripted.
std::string Device::output_of(std::string_view command) {
  if (const auto scripted = outputs.find(command); scripted != outputs.end()) return scripted->second;
  std::string_view words = command;
  if (take(words, "cat ")) {
    const auto file = files.find(words);
    return file == files.end() ? "" : file->second;
  }
  if (take(words, "echo ")) return std::string{words} + "\n";
  if (take(words, "rm ")) {
    if (!take(words, "-rf ")) take(words, "-f ");
    files.erase(std::string{words});
  } else if (take(words, "nvram_set 2860 ")) {
    const std::size_t blank = words.find(' ');
    if (blank != std::string_view::npos) {
      store.insert_or_assign(std::string{words.substr(0, blank)}, words.substr(blank + 1));
    }
  }
  return "";
}

void Device::run(std::string_view command, bool cut) {
  for (std::string_view rest = command; !rest.empty();) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    std::string_view part = without_suffix(trimmed(rest.substr(0, end)), "2>/dev/null");
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t redirection = part.rfind(" > ");
    std::string output = output_of(trimmed(part.substr(0, redirection)));
    if (cut) output.resize(output.size() / 2);
    if (redirection != std::string_view::npos) {
      files.insert_or_assign(std::string{trimmed(part.substr(redirection + 3))}, output);
    }
  }
  if (const auto step = steps.find(command); step != steps.end()) step->second(*this);
  if (effects_ > 20000000) give_up("too many effects");
}

}  // namespace kd::test
