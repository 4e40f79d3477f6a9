#include "launcher/proxy.hpp"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "common/failure.hpp"
#include "launcher/exchange.hpp"
#include "launcher/port.hpp"

namespace kd {
namespace {

constexpr std::size_t kMostPending = std::size_t{256} * 1024;  // bytes that wait for the other side
constexpr std::size_t kMostHead = 16384;                       // a longer head meets no fault of an action
constexpr std::size_t kBlock = 65536;
constexpr std::chrono::seconds kLongestFarewell{5};

// The last part of a SOAPAction.
std::string action_of(std::string_view head) {
  std::string_view action = header_value(head, "SOAPAction");
  while (!action.empty() && action.back() == '"') action.remove_suffix(1);
  return std::string(action.substr(action.find_last_of("/#\"") + 1));
}

bool would_block() {
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

// One client's connection with the one to the device behind it.
class Proxy::Session {
 public:
  Session(Proxy& proxy, unsigned number, Fd client, std::string name)
      : proxy_(proxy), number_(number), client_(std::move(client)), name_(std::move(name)) {
    watch();
  }
  ~Session() {
    if (client_) proxy_.loop_.forget(client_.get());
    if (device_) proxy_.loop_.forget(device_.get());
    if (timer_ != 0) proxy_.loop_.cancel(timer_);
  }

 private:
  enum class Phase { head, request, reply, farewell };

  const Fault* met(std::string_view kind) const {
    const auto at =
        std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) { return fault.is(kind); });
    return at == faults_.end() ? nullptr : &*at;
  }
  bool cuts(std::string_view moment) const {
    const Fault* cut = met("cut");
    return cut != nullptr && cut->record.text("at") == moment;
  }

  void watch();
  void from_client();
  void from_device();
  bool send(Fd& to, std::string& pending);
  void begin_request();
  bool connect();
  void take_reply(std::string_view bytes);
  bool begin_reply();
  void forward_reply(std::string_view bytes);
  void end_reply();
  void reset();
  void leave();
  void end() { proxy_.sessions_.erase(number_); }  // destroys this

  Proxy& proxy_;
  unsigned number_;
  Fd client_;
  Fd device_;
  std::string name_;
  Phase phase_ = Phase::head;
  std::string head_;  // of the request, or of the reply, as far as it came
  std::string to_device_;
  std::string to_client_;
  std::vector<Fault> faults_;   // that meet this request
  std::size_t replied_ = 0;     // bytes of this reply that came
  std::size_t reply_size_ = 0;  // with its head; 0: up to the end of the connection
  std::size_t allowed_ = 0;     // bytes of it that the client gets before a cut
  bool client_ended_ = false;
  bool device_ended_ = false;
  bool held_ = false;  // the reply is late
  unsigned timer_ = 0;
};

void Proxy::Session::watch() {
  EventLoop& loop = proxy_.loop_;
  const bool reads = !client_ended_ && to_device_.size() < kMostPending;
  const auto events = static_cast<short>((reads ? POLLIN : 0) | (to_client_.empty() ? 0 : POLLOUT));
  loop.watch(client_.get(), events, [this](short) { from_client(); });
  if (!device_) return;
  const bool takes = !device_ended_ && !held_ && to_client_.size() < kMostPending;
  const auto wanted = static_cast<short>((takes ? POLLIN : 0) | (to_device_.empty() ? 0 : POLLOUT));
  if (wanted == 0) {
    loop.forget(device_.get());  // its end, too, waits
  } else {
    loop.watch(device_.get(), wanted, [this](short) { from_device(); });
  }
}

// Sends what is pending; false when the other side is gone.
bool Proxy::Session::send(Fd& to, std::string& pending) {
  while (!pending.empty()) {
    const ssize_t sent = ::send(to.get(), pending.data(), pending.size(), MSG_NOSIGNAL);
    if (sent < 0) return would_block();
    pending.erase(0, static_cast<std::size_t>(sent));
  }
  return true;
}

// A connection that dies: nothing more is sent, the client sees a reset.
void Proxy::Session::reset() {
  const struct linger at_once = {1, 0};
  ::setsockopt(client_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  end();
}

// The orderly end: what is pending goes out, and what the client still sends is dropped until it ends too.
void Proxy::Session::leave() {
  phase_ = Phase::farewell;
  if (device_) proxy_.loop_.forget(device_.get());
  device_.reset();
  to_device_.clear();
  if (to_client_.empty()) ::shutdown(client_.get(), SHUT_WR);
  if (timer_ == 0) {
    timer_ = proxy_.loop_.at(EventLoop::Clock::now() + kLongestFarewell, [this] {
      timer_ = 0;
      end();
    });
  }
  client_ended_ ? end() : watch();
}

void Proxy::Session::from_client() {
  const bool had_pending = !to_client_.empty();
  if (!send(client_, to_client_)) return end();
  if (phase_ == Phase::farewell && had_pending && to_client_.empty()) ::shutdown(client_.get(), SHUT_WR);
  char block[kBlock];
  const ssize_t got = client_ended_ ? -1 : ::recv(client_.get(), block, sizeof block, MSG_DONTWAIT);
  if (got == 0 || (got < 0 && !client_ended_ && !would_block())) {
    client_ended_ = true;
    // Half a connection may wait for its reply; without a request there is none to wait for.
    if (got < 0 || phase_ == Phase::head || phase_ == Phase::farewell) return end();
    if (to_device_.empty() && device_) ::shutdown(device_.get(), SHUT_WR);
  }
  if (got > 0 && phase_ != Phase::farewell) {
    const std::string_view bytes(block, static_cast<std::size_t>(got));
    const bool reply_is_whole = phase_ == Phase::reply && reply_size_ != 0 && replied_ >= reply_size_;
    if (reply_is_whole) {
      phase_ = Phase::head;
      head_.clear();
    }
    if (phase_ == Phase::head) {
      head_ += bytes;
      if (end_of_head(head_) == std::string::npos && head_.size() < kMostHead) return watch();
      return begin_request();
    }
    to_device_ += bytes;
    if (!send(device_, to_device_)) device_ended_ = true;
  }
  watch();
}

bool Proxy::Session::connect() {
  if (device_) return true;
  device_ = Fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_in address = loopback_address(proxy_.device_port_);
  if (!device_) return false;
  // On the same machine a listening socket takes a connection at once.
  return ::connect(device_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
         errno == EINPROGRESS;
}

void Proxy::Session::begin_request() {
  const std::string action = action_of(head_);
  faults_ = proxy_.faults_.draw(action);
  std::string words;
  for (const Fault& fault : faults_) words += (words.empty() ? "" : ", ") + format_record(fault.record);
  if (cuts("request")) {
    proxy_.journal_.note("cut", name_ + " " + (action.empty() ? "a request" : action) + ": " + words);
    return reset();
  }
  if (!connect()) return reset();
  proxy_.journal_.introduce(port_of(device_.get()), name_, words);
  phase_ = Phase::request;
  replied_ = reply_size_ = 0;
  to_device_ += std::exchange(head_, {});
  if (!send(device_, to_device_)) return reset();
  watch();
}

void Proxy::Session::from_device() {
  if (!send(device_, to_device_)) device_ended_ = true;
  if (client_ended_ && to_device_.empty()) ::shutdown(device_.get(), SHUT_WR);
  char block[kBlock];
  const ssize_t got = ::recv(device_.get(), block, sizeof block, MSG_DONTWAIT);
  if (got > 0) return take_reply({block, static_cast<std::size_t>(got)});
  if (got < 0 && would_block()) return watch();
  device_ended_ = true;
  if (got < 0) return reset();  // as the device did
  end_reply();
}

void Proxy::Session::take_reply(std::string_view bytes) {
  if (phase_ != Phase::request) return forward_reply(bytes);
  head_ += bytes;
  std::size_t head = end_of_head(head_);
  // "100 Continue" is no reply yet.
  while (head != std::string::npos && head_.compare(0, 10, "HTTP/1.1 1") == 0) {
    to_client_ += head_.substr(0, head);
    head_.erase(0, head);
    head = end_of_head(head_);
  }
  if (head == std::string::npos && head_.size() < kMostHead) {
    if (!send(client_, to_client_)) return end();
    return watch();
  }
  if (begin_reply()) forward_reply(std::exchange(head_, {}));
}

// Decides how this reply comes out; false when nothing of it does now.
bool Proxy::Session::begin_reply() {
  if (cuts("before")) return reset(), false;
  if (met("empty") != nullptr) return leave(), false;
  phase_ = Phase::reply;
  const std::size_t head = std::min(end_of_head(head_), head_.size());
  const std::string length(header_value(std::string_view(head_).substr(0, head), "Content-Length"));
  reply_size_ = length.empty() ? 0 : head + std::strtoul(length.c_str(), nullptr, 10);
  // Half of it, where the fault does not say.
  const std::size_t half = std::max<std::size_t>(1, (reply_size_ != 0 ? reply_size_ : head_.size()) / 2);
  allowed_ = cuts("in") ? static_cast<std::size_t>(met("cut")->record.number("bytes", static_cast<int>(half)))
                        : std::string::npos;
  const Fault* late = met("late");
  if (late == nullptr) return true;
  const int wait = late->record.number("ms");
  held_ = true;
  timer_ = proxy_.loop_.at(EventLoop::Clock::now() + std::chrono::milliseconds(wait), [this] {
    timer_ = 0;
    held_ = false;
    forward_reply(std::exchange(head_, {}));
  });
  watch();
  return false;
}

void Proxy::Session::forward_reply(std::string_view bytes) {
  replied_ += bytes.size();
  const std::size_t goes = std::min(bytes.size(), allowed_);
  to_client_ += bytes.substr(0, goes);
  if (allowed_ != std::string::npos) allowed_ -= goes;
  if (!send(client_, to_client_)) return end();
  if (allowed_ == 0) {
    // What was allowed reaches the client in front of the reset.
    if (!to_client_.empty()) return watch();
    return reset();
  }
  if (reply_size_ != 0 && replied_ >= reply_size_ && to_client_.empty() && cuts("after")) return reset();
  watch();
}

// The device ended the connection.
void Proxy::Session::end_reply() {
  if (phase_ == Phase::request) {
    if (cuts("before")) return reset();
    to_client_ += std::exchange(head_, {});
  }
  if (!send(client_, to_client_)) return end();
  if (cuts("after") && to_client_.empty()) return reset();
  leave();
}

Proxy::Proxy(EventLoop& loop, FaultBoard& faults, Journal& journal, std::vector<int> listeners,
             std::uint16_t device_port)
    : loop_(loop),
      faults_(faults),
      journal_(journal),
      listeners_(std::move(listeners)),
      device_port_(device_port),
      switch_(::memfd_create("switch", MFD_CLOEXEC)) {
  void* page = MAP_FAILED;
  if (switch_ && ::ftruncate(switch_.get(), 1) == 0) {
    page = ::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, switch_.get(), 0);
  }
  if (page == MAP_FAILED) throw Failure(std::string("switch of the connections: ") + std::strerror(errno));
  diverted_ = static_cast<unsigned char*>(page);
}

Proxy::~Proxy() {
  sessions_.clear();
  ::munmap(diverted_, 1);
}

void Proxy::divert(bool on) {
  *diverted_ = on ? 1 : 0;
  for (const int listener : listeners_) {
    if (on) {
      loop_.watch(listener, POLLIN, [this, listener](short) { accept(listener); });
    } else {
      loop_.forget(listener);
    }
  }
}

void Proxy::accept(int listener) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  Fd client(::accept4(listener, reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!client) {
    // While the device restarts its sockets refuse; they wake nobody then.
    if (errno == EINVAL) loop_.forget(listener);
    return;
  }
  const unsigned number = ++last_session_;
  sessions_[number] = std::make_unique<Session>(*this, number, std::move(client), address_text(address));
}

}  // namespace kd
