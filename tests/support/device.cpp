#include "support/device.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kd::test {
namespace {

Device* current = nullptr;

[[noreturn]] void give_up(const char* why) {
  std::fprintf(stderr, "device double: %s; the last effects were:\n", why);
  const Effects& journal = current->journal;
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
    const std::string kind = journal[from].substr(0, journal[from].find(' '));
    const bool reads =
        kind == "open" || kind == "pipe" || kind == "access" || kind == "ioctl" || kind == "usleep";
    if (!reads) kept.push_back(journal[from]);
  }
  return kept;
}

std::string Device::misuse() const {
  std::string all = wrongly_closed;
  for (const Stream& open : streams) all += "still open: " + open.path + "\n";
  for (const auto& [number, path] : numbers) all += "still open: " + path + "\n";
  return all;
}

Device::Stream& Device::stream(void* handle) {
  for (Stream& open : streams) {
    if (&open == handle) return open;
  }
  give_up("a stream that is not open");
}

void Device::close_stream(Stream& stream, bool pipe) {
  if (stream.pipe != pipe) wrongly_closed += "closed as what it is not: " + stream.path + "\n";
  streams.remove_if([&](const Stream& open) { return &open == &stream; });
}

int Device::open_number(std::string path) {
  const int number = numbers.empty() ? 1000 : numbers.rbegin()->first + 1;
  numbers[number] = std::move(path);
  return number;
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
    const std::size_t blank = std::min(words.find(' '), words.size() - 1);
    store.insert_or_assign(std::string{words.substr(0, blank)}, words.substr(blank + 1));
  }
  return "";
}

void Device::run(std::string_view command, bool cut) {
  for (std::string_view rest = command; !rest.empty();) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    std::string_view part = trimmed(rest.substr(0, end));
    if (part.ends_with("2>/dev/null")) part = trimmed(part.substr(0, part.size() - 11));
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
