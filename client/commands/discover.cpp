// discover: asks many addresses at once who they are. Credentials are never sent.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "commands/commands.hpp"
#include "curl_handle.hpp"
#include "failure.hpp"
#include "http.hpp"
#include "table.hpp"
#include "text.hpp"

namespace hnap {
namespace {

constexpr std::size_t kMostAddresses = 4096;
constexpr std::size_t kAtOnce = 64;
constexpr std::size_t kLongestReply = 256U << 10;

[[noreturn]] void wrong(const std::string& line) {
  throw Failure(Exit::usage, line);
}

struct Candidate {
  HttpRequest request;
  Settings settings;
  Reply reply;
  bool found = false;
};

using Candidates = std::vector<std::unique_ptr<Candidate>>;

void add_host(Candidates& candidates, const std::string& host, const DiscoverOptions& options) {
  if (candidates.size() == kMostAddresses)
    wrong("more than " + std::to_string(kMostAddresses) + " addresses; name a smaller network");
  auto candidate = std::make_unique<Candidate>();
  // An address that names no port gets that of the command line.
  const bool plain = host.find_first_of(":/[") == std::string::npos;
  set_address(candidate->settings,
              plain && options.port != 80 ? host + ":" + std::to_string(options.port) : host);
  candidate->request.url = candidate->settings.url;
  candidate->request.timeout = std::chrono::milliseconds(static_cast<long>(options.timeout * 1000));
  candidates.push_back(std::move(candidate));
}

void add_network(Candidates& candidates, const std::string& network, const DiscoverOptions& options) {
  const std::size_t slash = network.find('/');
  in_addr address{};
  const std::optional<long> bits = whole_number(network.substr(slash + 1));
  if (inet_pton(AF_INET, network.substr(0, slash).c_str(), &address) != 1 || !bits || *bits < 0 || *bits > 32)
    wrong("\"" + visible(network) + "\" is no network; expected 192.168.1.0/24");
  if (*bits < 20) wrong(network + " has too many addresses; /20 is the largest that is asked");
  const std::uint32_t count = std::uint32_t{1} << (32 - *bits);
  const std::uint32_t first = ntohl(address.s_addr) & ~(count - 1);
  const std::uint32_t edge = count > 2 ? 1 : 0;  // neither the network's own address nor its broadcast
  for (std::uint32_t number = edge; number < count - edge; ++number) {
    const in_addr one{htonl(first + number)};
    char text[INET_ADDRSTRLEN];
    add_host(candidates, inet_ntop(AF_INET, &one, text, sizeof text), options);
  }
}

Candidates candidates_of(const DiscoverOptions& options) {
  Candidates candidates;
  for (const std::string& target : options.targets) {
    const bool network = target.find('/') != std::string::npos && target.find("://") == std::string::npos;
    network ? add_network(candidates, target, options) : add_host(candidates, target, options);
  }
  return candidates;
}

std::size_t take_body(char* bytes, std::size_t, std::size_t count, void* context) {
  std::string& body = static_cast<Candidate*>(context)->reply.http.body;
  if (count > kLongestReply - body.size()) return 0;
  body.append(bytes, count);
  return count;
}

std::size_t take_no_more_headers(char*, std::size_t, std::size_t count, void* context) {
  Candidate& candidate = *static_cast<Candidate*>(context);
  candidate.request.longest_reply += count;  // begins at 0: the bytes of the headers
  return candidate.request.longest_reply > kLongestReply ? 0 : count;
}

// Keeps a bounded number of transfers going until all are done.
class Finder {
 public:
  explicit Finder(Candidates& candidates) : candidates_(candidates) {}

  void run() {
    std::size_t next = 0;
    int running = 0;
    do {
      while (next < candidates_.size() && transfers_.size() < kAtOnce) start(*candidates_[next++]);
      curl_multi_perform(multi_.get(), &running);
      take_finished();
      progress_.show("Asked " + std::to_string(next - transfers_.size()) + " of " +
                     std::to_string(candidates_.size()) + " addresses, found " + std::to_string(found_));
      if (!transfers_.empty()) curl_multi_poll(multi_.get(), nullptr, 0, 200, nullptr);
    } while (next < candidates_.size() || !transfers_.empty());
  }

 private:
  void start(Candidate& candidate) {
    candidate.request.longest_reply = 0;
    auto curl = std::make_unique<CurlHandle>();
    set_common(*curl, candidate.request);
    curl->set(CURLOPT_WRITEFUNCTION, &take_body);
    curl->set(CURLOPT_WRITEDATA, &candidate);
    curl->set(CURLOPT_HEADERFUNCTION, &take_no_more_headers);
    curl->set(CURLOPT_HEADERDATA, &candidate);
    curl->set(CURLOPT_PRIVATE, &candidate);
    curl_multi_add_handle(multi_.get(), curl->get());
    transfers_.push_back(std::move(curl));
  }

  void take_finished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      CURL* const done = message->easy_handle;
      if (message->data.result == CURLE_OK) judge_transfer(done);
      curl_multi_remove_handle(multi_.get(), done);
      std::erase_if(transfers_, [done](const auto& transfer) { return transfer->get() == done; });
    }
  }

  void judge_transfer(CURL* done) {
    Candidate* candidate = nullptr;
    curl_easy_getinfo(done, CURLINFO_PRIVATE, &candidate);
    curl_easy_getinfo(done, CURLINFO_RESPONSE_CODE, &candidate->reply.http.status);
    candidate->reply.action = "GetDeviceSettings";
    candidate->found = candidate->reply.http.status == 200 && parse(candidate->reply).empty() &&
                       local_name(candidate->reply.response) == "GetDeviceSettingsResponse";
    found_ += candidate->found ? 1 : 0;
  }

  Candidates& candidates_;
  std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi_{curl_multi_init(), &curl_multi_cleanup};
  std::vector<std::unique_ptr<CurlHandle>> transfers_;
  long found_ = 0;
  Progress progress_;
};

}  // namespace

void discover(const DiscoverOptions& options, bool json, const Style& style) {
  Candidates candidates = candidates_of(options);
  Finder(candidates).run();
  Json list = Json::list();
  long found = 0;
  Table table(
      {{"ADDRESS"}, {"NAME", 0, false, 16}, {"MODEL", 1}, {"TYPE", 3}, {"VENDOR", 4}, {"FIRMWARE", 2}});
  for (const std::unique_ptr<Candidate>& candidate : candidates) {
    if (!candidate->found) continue;
    const Reply& reply = candidate->reply;
    ++found;
    Json device = Json::object();
    device.text("host", candidate->settings.label)
        .text("name", reply["DeviceName"])
        .text("type", reply["Type"])
        .text("vendor", reply["VendorName"])
        .text("model", reply["ModelName"])
        .text("firmware", reply["FirmwareVersion"]);
    list.add(std::move(device));
    table.add({{candidate->settings.label},
               {visible(reply["DeviceName"])},
               {visible(reply["ModelName"])},
               {visible(reply["Type"])},
               {visible(reply["VendorName"])},
               {visible(reply["FirmwareVersion"])}});
  }
  if (json)
    print(list);
  else if (found > 0)
    table.print(style, stdout);
  if (found == 0)
    throw Failure(Exit::unreachable,
                  "none of " + std::to_string(candidates.size()) + " addresses answered as an HNAP device");
}

}  // namespace hnap
