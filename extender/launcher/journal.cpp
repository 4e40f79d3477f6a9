#include "launcher/journal.hpp"

#include <endian.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/failure.hpp"
#include "launcher/exchange.hpp"
#include "section_file.hpp"

extern "C" {
#include "preload/observer.h"
}

namespace kd {
namespace {

constexpr off_t kLargestJournal = off_t{8} << 20;  // then a new one begins, and the last one is kept
constexpr std::size_t kLargestDatagram = 32768;
constexpr std::size_t kMostEffects = 200;
constexpr std::uint64_t kFileClock = 10000;  // microseconds that a file's time may be behind

// As struct event of the preload library.
struct Event {
  std::uint32_t kind;
  std::uint32_t connection;
  std::uint64_t microseconds;
  std::uint32_t size;
  std::uint32_t kept;
};

std::uint64_t microseconds_now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

std::string time_text(std::uint64_t microseconds) {
  const auto seconds = static_cast<std::time_t>(microseconds / 1000000);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  char text[40];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03uZ",
                static_cast<unsigned>(microseconds / 1000 % 1000));
  return text;
}

// "15 1" in words.
Json signal_effect(std::string_view text) {
  const std::string words(text);
  const char* name = ::sigabbrev_np(std::atoi(words.c_str()));
  const std::size_t blank = words.find(' ');
  return {{"signal", name != nullptr ? "SIG" + std::string(name) : words},
          {"process", blank == std::string::npos ? 0 : std::atoi(words.c_str() + blank + 1)}};
}

std::uint16_t port_of(const std::string& client) {
  return static_cast<std::uint16_t>(std::strtoul(client.c_str() + client.rfind(':') + 1, nullptr, 10));
}

std::map<std::string, std::string> read_store(const std::string& directory) {
  std::map<std::string, std::string> values;
  store::Table table;
  if (store::read_section(directory.c_str(), 0, table) != store::ReadStatus::ok) return values;
  for (const store::Entry& entry : table) values.emplace(entry.key, entry.value);
  return values;
}

}  // namespace

struct Journal::Connection {
  std::string client;
  bool is_own = false;  // of the launcher
  std::string request;
  std::string reply;
  std::size_t request_size = 0;
  std::size_t reply_size = 0;
  std::uint64_t began = 0;
  std::uint64_t replied = 0;

  bool is_answered() const {
    const std::size_t head = end_of_head(reply);
    if (head == std::string::npos) return false;
    const std::string length(header_value(std::string_view(reply).substr(0, head), "Content-Length"));
    return !length.empty() && reply_size >= head + std::strtoul(length.c_str(), nullptr, 10);
  }
};

Journal::Journal(const std::string& state, EventLoop& loop, FileWatch& watch)
    : directory_(state), loop_(loop) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
    throw Failure(std::string("journal: ") + std::strerror(errno));
  }
  writer_ = Fd(ends[0]);
  reader_ = Fd(ends[1]);
  const int room = 1 << 20;  // for what happens while the launcher waits for a processor
  ::setsockopt(writer_.get(), SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  const std::string path = state + "/journal";
  file_ = Fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (!file_) throw Failure(path + ": " + std::strerror(errno));
  look_at_store();
  stored_.clear();  // it was there
  watch.add(directory_ + "/flash", [this] { look_at_store(); });
  listen();
}

Journal::~Journal() {
  take();
}

void Journal::write(const Json& line) {
  struct stat status {};
  if (::fstat(file_.get(), &status) == 0 && status.st_size > kLargestJournal) {
    const std::string path = directory_ + "/journal";
    std::rename(path.c_str(), (path + ".1").c_str());
    file_ = Fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  }
  write_all(file_.get(), line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

void Journal::note(const std::string& event, const std::string& detail) {
  take();
  if (!has_served_) flush_effects(0);
  write({{"time", time_text(microseconds_now())}, {"type", "device"}, {"event", event}, {"detail", detail}});
}

void Journal::introduce(std::uint16_t port, const std::string& client, const std::string& faults) {
  Introduced& known = introduced_[port];
  known.client = client;
  known.faults.push_back(faults);
}

void Journal::look_at_store() {
  struct stat status {};
  if (::stat((directory_ + "/flash/2860.nvram").c_str(), &status) != 0) return;
  const long when = status.st_mtim.tv_sec * 1000000L + status.st_mtim.tv_nsec / 1000;
  const std::pair<ino_t, long> seen(status.st_ino, when);  // every commit is another file
  if (store_file_ == seen) return;
  store_file_ = seen;
  std::map<std::string, std::string> now = read_store(directory_ + "/flash");
  std::map<std::string, std::string> changes;
  for (const auto& [key, value] : now) {
    const auto old = store_.find(key);
    if (old != store_.end() && old->second == value) continue;
    changes[key] = is_secret(key) && !value.empty() ? "***" : value;
  }
  store_ = std::move(now);
  if (!changes.empty()) stored_.push_back({static_cast<std::uint64_t>(when), std::move(changes)});
}

// What was stored up to a moment is an effect.
void Journal::add_stored(std::uint64_t up_to) {
  Json changes = Json::object();
  std::uint64_t last = 0;
  std::erase_if(stored_, [&](const Stored& stored) {
    if (stored.when > up_to) return false;
    last = stored.when;
    for (const auto& [key, value] : stored.values) changes[key] = value;
    return true;
  });
  if (!changes.empty()) add_effect(last, {{"stored", std::move(changes)}});
}

void Journal::add_effect(std::uint64_t when, Json effect) {
  if (effects_.empty()) effects_began_ = when;
  if (effects_.size() < kMostEffects) effects_.push_back(std::move(effect));
}

// What happened behind a reply: at the end of its connection, or by another program of the device.
void Journal::flush_effects(std::uint64_t up_to) {
  add_stored(up_to);
  if (effects_.empty()) return;
  Json line = {{"time", time_text(effects_began_)}};
  if (has_served_) {
    line["type"] = "later";
    line["request"] = last_request_;
  } else {
    line["type"] = "device";
    line["event"] = "server start";
  }
  line["effects"] = std::exchange(effects_, {});
  write(line);
}

void Journal::finish_request(unsigned number) {
  Connection& connection = connections_[number];
  if (connection.request.empty()) return;
  const auto known = connection.is_own ? introduced_.find(port_of(connection.client)) : introduced_.end();
  // The launcher's own first look at the device is nobody's request.
  if (connection.is_own && known == introduced_.end()) return;
  const SeenRequest request = read_request(connection.request);
  const SeenReply reply = read_reply(connection.reply);
  Json line = {{"time", time_text(connection.began)},
               {"type", "request"},
               {"id", ++last_request_},
               {"client", connection.client},
               {"method", request.method},
               {"path", request.path},
               {"action", request.action},
               {"arguments", Json::object()},
               {"status", reply.status},
               {"result", reply.result},
               {"request_bytes", connection.request_size},
               {"reply_bytes", connection.reply_size},
               {"milliseconds", 0.0}};
  for (const auto& [name, value] : request.arguments) line["arguments"][name] = value;
  const std::uint64_t end = connection.replied != 0 ? connection.replied : connection.began;
  line["milliseconds"] = static_cast<double>((end - connection.began) / 10) / 100;
  if (known != introduced_.end()) {
    line["client"] = known->second.client;
    std::deque<std::string>& faults = known->second.faults;
    if (!faults.empty() && !faults.front().empty()) line["faults"] = faults.front();
    if (!faults.empty()) faults.pop_front();
  }
  add_stored(end);
  line["effects"] = std::exchange(effects_, {});
  write(line);
  has_served_ = true;
  connection.request.clear();
  connection.reply.clear();
  connection.request_size = connection.reply_size = 0;
  connection.replied = 0;
}

void Journal::handle(unsigned kind, unsigned number, std::uint64_t when, std::size_t size,
                     std::string_view bytes) {
  switch (kind) {
    case kStartEvent:
      flush_effects(when);
      connections_.clear();
      has_served_ = false;
      break;
    case kAcceptEvent:
    case kProxiedEvent:
      connections_[number] = Connection{std::string(bytes), kind == kProxiedEvent, {}, {}, 0, 0, 0, 0};
      break;
    case kReadEvent: {
      Connection& connection = connections_[number];
      if (connection.reply_size > 0) finish_request(number);
      if (connection.request.empty()) {
        flush_effects(when - kFileClock);
        connection.began = when;
      }
      connection.request += bytes;
      connection.request_size += size;
      break;
    }
    case kWriteEvent: {
      Connection& connection = connections_[number];
      connection.reply += bytes;
      connection.reply_size += size;
      connection.replied = when;
      if (connection.is_answered()) finish_request(number);
      break;
    }
    case kCloseEvent: {
      const Connection& connection = connections_[number];
      finish_request(number);
      if (connection.is_own) introduced_.erase(port_of(connection.client));
      flush_effects(when);
      connections_.erase(number);
      break;
    }
    case kCommandEvent:
      add_effect(when, {{"command", bytes}});
      break;
    case kFileEvent:
      add_effect(when, {{"written", bytes}});
      break;
    case kSignalEvent:
      add_effect(when, signal_effect(bytes));
      break;
    default:
      break;
  }
}

// Looks at once when nothing was told for a while. A look for each reply would cost a busy device some
// percent.
void Journal::listen() {
  loop_.watch(reader_.get(), POLLIN, [this](short) {
    loop_.forget(reader_.get());
    loop_.at(EventLoop::Clock::now() + kJournalPause, [this] { listen(); });
    take();
  });
}

void Journal::take() {
  look_at_store();
  char datagram[kLargestDatagram];
  for (ssize_t got; (got = ::recv(reader_.get(), datagram, sizeof datagram, MSG_DONTWAIT)) > 0;) {
    const auto end = static_cast<std::size_t>(got);
    Event event{};
    for (std::size_t at = 0; at + sizeof event <= end;) {
      std::memcpy(&event, datagram + at, sizeof event);
      at += sizeof event;
      const std::size_t kept = le32toh(event.kept);
      if (kept > end - at) break;  // not ours
      handle(le32toh(event.kind), le32toh(event.connection), le64toh(event.microseconds), le32toh(event.size),
             {datagram + at, kept});
      at += kept;
    }
  }
}

}  // namespace kd
