// The binding to 1.4.61 and later, in the order in which 1.4.69 calls it.
#include <tuple>

#include "unit/host/binding.hpp"

namespace kd::test {
namespace {

using Modern = DeviceTest;
using Effects = std::vector<std::string>;

TEST_F(Modern, TouchesNothingForAConfigurationTest) {
  const ModernHost host{false};
  EXPECT_EQ(host.module.version, static_cast<size_t>(LIGHTTPD_VERSION_ID));
  EXPECT_STREQ(host.module.name, "kd_hnap");
  EXPECT_EQ(effects(), Effects{});
}

// Streams of HTTP/2 share one connection: the module's request decides, whatever comes before or behind it.
// It is done before the client can see the end.
TEST_F(Modern, RemembersItsRequestAmongOthers) {
  const std::pair<std::vector<const char*>, Effects> rows[] = {
      {{}, {kMarkerGone}},
      {{"/index.html"}, {}},
      {{"/HNAP1/", "/index.html"}, {kMarkerGone}},
      {{"/index.html", "/HNAP1/"}, {kMarkerGone}},
  };
  ModernHost host;
  for (const auto& [uris, expected] : rows) {
    host.accept();
    for (const char* uri : uris) host.receive({HTTP_METHOD_GET, uri, {}, {}});
    effects();
    host.shut_wr();
    EXPECT_EQ(effects(), expected) << uris.size() << " requests";
    host.abort();
    EXPECT_EQ(effects(), Effects{});
  }
}

TEST_F(Modern, KeepsADeferredActionBehindOtherRequests) {
  ModernHost host;
  host.accept();
  for (const ModernRequest& request : {choice_of_network(), post("IsDeviceReady")}) host.receive(request);
  host.finish();
  EXPECT_EQ(std::count(device.journal.begin(), device.journal.end(), kReload), 1);
}

// A body is answered when it is whole, and once.
TEST_F(Modern, TakesBodiesAsTheyCome) {
  const std::string whole = body_of("IsDeviceReady");
  const Piece left{Piece::memory, whole.substr(0, 100)}, right{Piece::memory, whole.substr(100)};
  const std::string initial = error_page_of("HANDLE REQUEST INITIAL ERROR");
  const struct {
    const char* name;
    std::vector<Piece> body;
    std::string sent;
    off_t missing = 0, unsent = 0;
    ModernRequest::Mode mode = ModernRequest::known;
    handler_t handled = HANDLER_FINISHED;
  } rows[] = {
      {"two pieces", {left, right}, kReady},
      {"handed on in pieces", {left, right}, kReady, 0, 0, ModernRequest::streamed},
      {"chunked", {left, right}, kReady, 0, 0, ModernRequest::chunked},
      {"nothing", {}, error_page_of("CONTENT LEN == 0 XML PARSE ERROR")},
      {"the client vanishes", {left, right}, "", 0, 1, ModernRequest::known, HANDLER_WAIT_FOR_EVENT},
      {"the server refuses", {left, right}, "", 0, 0, ModernRequest::refused, HANDLER_ERROR},
      {"a part of it is lost", {left, right}, initial, 1},
      {"more than 2 GB", {left, right}, initial, off_t{1} << 32},
  };
  ModernHost host;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ModernRequest request = post("IsDeviceReady", row.body);
    std::tie(request.missing, request.unsent, request.mode) = std::tie(row.missing, row.unsent, row.mode);
    effects();
    host.accept();
    EXPECT_EQ(host.receive(request), row.handled);
    EXPECT_EQ(host.sent(), row.sent);
    host.abort();
    const auto done = effects();
    EXPECT_EQ(std::count(done.begin(), done.end(), kMarker), row.handled == HANDLER_FINISHED);
    EXPECT_EQ(done.back(), kMarkerGone);
  }
}

// The server would keep the block of a large reply.
TEST_F(Modern, GivesLargeBlocksBack) {
  ModernHost host;
  for (const auto& [bytes, clearings] : {std::pair{"15000", 0U}, {"17000", 1U}, {"100", 1U}}) {
    host.accept();
    const std::string body =
        envelope("DownloadSpeedTest", elements({{"Bytes", bytes}, {"BufferSize", "1"}}), kCore);
    host.receive(post("DownloadSpeedTest", {{Piece::memory, body}}));
    EXPECT_EQ(reply_value(host.sent(), "ByteStream"), std::string(std::stoul(bytes), 'y'));
    host.finish();
    EXPECT_EQ(host.pool_clearings, clearings) << bytes;
  }
}

}  // namespace
}  // namespace kd::test
