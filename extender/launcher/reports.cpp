#include "launcher/reports.hpp"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "common/failure.hpp"
#include "common/faults.hpp"
#include "common/files.hpp"
#include "launcher/journal.hpp"
#include "launcher/state.hpp"

namespace kd {
namespace {

void print(const Json& json) {
  std::puts(json.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

std::string text_of(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found == object.end() ? "" : found->is_string() ? found->get<std::string>() : found->dump();
}

// What comes from outside may hold anything; it must not command the terminal.
std::string printable(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = '?';
  }
  return text;
}

std::string pairs_of(const Json& object, const char* name) {
  std::string text;
  if (!object.contains(name) || !object[name].is_object()) return text;
  for (const auto& [key, value] : object[name].items()) {
    text += (text.empty() ? "" : ", ") + key + "=" +
            (value.is_string() ? value.get<std::string>() : value.dump());
  }
  return text;
}

std::string effect_in_words(const Json& effect) {
  if (effect.contains("command")) return "runs " + text_of(effect, "command");
  if (effect.contains("written")) return "writes " + text_of(effect, "written");
  if (effect.contains("signal"))
    return "sends " + text_of(effect, "signal") + " to process " + text_of(effect, "process");
  return "stores " + pairs_of(effect, "stored");
}

void print_in_words(const Json& line) {
  const std::string type = text_of(line, "type");
  // Of the time the clock alone: a journal is read on its day.
  const std::string time = text_of(line, "time");
  std::string words = (time.size() > 12 ? time.substr(11, 12) : time) + "  ";
  if (type == "request") {
    const std::string action = text_of(line, "action");
    const std::string result = text_of(line, "result");
    words += text_of(line, "client") + "  " +
             (action.empty() ? text_of(line, "method") + " " + text_of(line, "path")
                             : action + "(" + pairs_of(line, "arguments") + ")") +
             "  " + text_of(line, "status") + (result.empty() ? "" : " " + result) + "  " +
             text_of(line, "milliseconds") + " ms";
    if (line.contains("faults")) words += "  [" + text_of(line, "faults") + "]";
  } else if (type == "later") {
    words += "after request " + text_of(line, "request");
  } else {
    words += text_of(line, "event") + "  " + text_of(line, "detail");
  }
  std::puts(printable(words).c_str());
  if (!line.contains("effects")) return;
  for (const Json& effect : line["effects"])
    std::printf("%14s%s\n", "", printable(effect_in_words(effect)).c_str());
}

// Prints the whole lines behind `at`; gives back where they end.
std::size_t print_lines(const std::string& text, std::size_t at, bool as_json) {
  for (std::size_t end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
    const std::string line = text.substr(at, end - at);
    if (as_json) {
      std::puts(line.c_str());
      continue;
    }
    const Json parsed = Json::parse(line, nullptr, false);
    if (parsed.is_object()) print_in_words(parsed);
  }
  std::fflush(stdout);
  return at;
}

}  // namespace

int print_status(const std::string& state, bool as_json) {
  const std::optional<RunningDevice> device = find_running(state);
  const bool runs = device && device->init > 0;
  if (!as_json) {
    if (!runs) std::printf("no device runs on %s\n", state.c_str());
    if (runs) {
      for (const std::string& url : device->urls) std::puts(url.c_str());
    }
    return runs ? 0 : 1;
  }
  Json status = {{"running", runs}, {"state", state}};
  if (runs) {
    const std::string scenario = read_file_or_empty(state + "/scenario");
    const std::string& url = device->urls.front();
    status["url"] = url;
    status["urls"] = device->urls;
    status["port"] = std::stoi(url.substr(url.rfind(':') + 1));
    status["scenario"] = scenario.substr(0, scenario.find('\n'));
    status["boot"] = device->boot;
    status["launcher"] = device->launcher;
    status["faults"] = Json::array();
    for (const Fault& fault : parse_faults(read_file_or_empty(state + "/radio/faults"))) {
      status["faults"].push_back(format_record(fault.record));
    }
  }
  print(status);
  return runs ? 0 : 1;
}

int print_log(const std::string& state, bool as_json, bool follow) {
  const std::string path = state + "/journal";
  if (!exists(path)) throw Failure("no journal in " + state + "; a device that runs there writes one");
  const Fd watch(::inotify_init1(IN_CLOEXEC));
  if (follow && ::inotify_add_watch(watch.get(), path.c_str(), IN_MODIFY | IN_MOVE_SELF) < 0) {
    throw Failure("the journal cannot be followed: the kernel has no watches left");
  }
  // What was answered before this command is part of it.
  if (find_running(state)) std::this_thread::sleep_for(2 * kJournalPause);
  std::string text = read_file_or_empty(path);
  std::size_t at = print_lines(text, 0, as_json);
  char block[4096];
  while (follow && ::read(watch.get(), block, sizeof block) > 0) {
    text = read_file_or_empty(path);
    if (text.size() < at) {  // a new one was begun
      at = 0;
      ::inotify_add_watch(watch.get(), path.c_str(), IN_MODIFY | IN_MOVE_SELF);
    }
    at = print_lines(text, at, as_json);
  }
  return 0;
}

}  // namespace kd
