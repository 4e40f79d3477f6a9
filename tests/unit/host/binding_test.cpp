// What holds for either server.
#include "unit/host/binding.hpp"

namespace kd::test {
namespace {

TEST_F(Binding, Starts) {
  const TestedHost host;
  EXPECT_EQ(effects(), (std::vector<std::string>{"nvram init 0", "nvram init 1",
                                                 "run nvram_set 2860 LastSetWirelessClientResult 0"}));
}

TEST_F(Binding, RefusesToStartWithoutMemory) {
  heap.fail({1});
  const TestedHost host;
  EXPECT_EQ(host.data, nullptr);
}

// What the client gets, and whether the end of its connection is noticed exactly once.
TEST_F(Binding, AnswersAndEnds) {
  using Change = void (*)(TestedRequest&);
  const struct {
    const char* name;
    Change change;
    int status;
    std::string sent;
    bool marker_goes = true;
  } rows[] = {
      {"answered", [](auto&) {}, 200, kReady},
      {"fault", [](auto& request) { request.headers.front().second = "Nothing"; }, 500, fault_of("Not")},
      {"error page", [](auto& request) { request.body.front().bytes = "<a></b>"; }, 500,
       error_page_of("XML PARSE STATUS NOT OK ERROR")},
      {"refused", [](auto& request) { request.headers.back().second = "Basic ?"; }, 401,
       "<page of the server>"},
      {"another method", [](auto& request) { request.method = HTTP_METHOD_PUT; }, 200, ""},
      {"outside of HNAP, the marker stays", [](auto& request) { request.uri = "/"; }, 200, kReady, false},
      {"no URI", [](auto& request) { request.uri = nullptr; }, 200, kReady},
  };
  const std::vector<std::string> kUndecoded = {
      "mod_kd_hnap.c: decodeing base64-string for Authorization failed"};
  TestedHost host;
  for (const bool vanishes : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string{row.name} + (vanishes ? ", client vanished" : ", closed"));
      effects();
      TestedRequest request = post("IsDeviceReady");
      row.change(request);
      host.accept();
      EXPECT_EQ(host.receive(request), HANDLER_FINISHED);
      EXPECT_EQ(host.status(), row.status);
      EXPECT_EQ(host.sent(), row.sent);
      EXPECT_FALSE(host.hangs());
      EXPECT_FALSE(host.keeps_alive());
      const bool refused = row.status == 401;
      EXPECT_EQ(host.module_answers(), !refused);
      EXPECT_EQ(host.reply_header("WWW-Authenticate"), refused ? "Basic realm=\"NX220\"" : "");
      EXPECT_EQ(host.log(), refused ? kUndecoded : std::vector<std::string>{});
      vanishes ? host.abort() : host.finish();
      EXPECT_FALSE(host.dirty_slot());
      const auto done = effects();
      EXPECT_EQ(std::count(done.begin(), done.end(), kMarker), 1);
      EXPECT_EQ(std::count(done.begin(), done.end(), kMarkerGone), row.marker_goes);
    }
  }
}

// The wireless reload is what a connection's end is for.
TEST_F(Binding, RunsTheDeferredActionOnce) {
  TestedHost host;
  for (const bool vanished : {false, true}) {
    host.accept();
    host.receive(choice_of_network());
    EXPECT_EQ(reply_value(host.sent(), "SetWirelessClientSettingsResult"), "REBOOT");
    effects();
    vanished ? host.abort() : host.finish();
    const auto done = effects();
    EXPECT_EQ(std::count(done.begin(), done.end(), kReload), 1) << vanished;
    EXPECT_FALSE(host.dirty_slot());
    host.accept();
    host.receive(post("IsDeviceReady"));
    effects();
    host.finish();
    EXPECT_EQ(effects(), std::vector<std::string>{kMarkerGone}) << "the next connection has none";
  }
}

TEST_F(Binding, LeavesOtherRequestsAlone) {
  TestedHost host;
  effects();
  TestedRequest page;
  page.method = HTTP_METHOD_GET;
  page.uri = "/index.html";
  host.accept();
  EXPECT_EQ(host.receive(page), HANDLER_GO_ON);
  EXPECT_TRUE(host.keeps_alive());
  EXPECT_FALSE(host.module_answers());
  host.finish();
  EXPECT_EQ(effects(), std::vector<std::string>{});
  page.uri = "/HNAP1/";  // now on the same connection
  EXPECT_EQ(host.receive(page), HANDLER_FINISHED);
  host.finish();
  EXPECT_EQ(device.journal.back(), kMarkerGone);
}

// Whatever fails on the way, one defined answer goes out and the connection ends once.
TEST_F(Binding, SurvivesEachFaultWithASpooledBody) {
  TestedHost host;
  for (const int turn : {0, 1, 2, 3, 4, 5, 6, 7}) {
    const int kind = turn % 4;
    const char* action = turn < 4 ? "IsDeviceReady" : "GetDeviceSettings";  // a short reply and a long one
    const std::string whole = body_of(action);
    const TestedRequest request = post(action, {{Piece::memory, whole.substr(0, 50)},
                                                {Piece::spooled, whole.substr(50), "/var/tmp/upload"}});
    bool met = true;
    for (unsigned at = 1; met; ++at) {
      host.accept();
      effects();
      heap.fail(kind < 2 ? HeapFault{at, kind == 1} : HeapFault{});
      device.fail(kind < 2 ? Fault{} : Fault{at, kind == 3});
      host.receive(request);
      met = heap.fault_met() || device.fault_met();
      heap.fail({});
      device.fail({});
      const std::string sent = host.sent();
      EXPECT_TRUE(is_whole_reply(sent) || sent == kOutOfMemory || sent == "<page of the server>" ||
                  sent == fault_of("") || sent.starts_with("<html>"))
          << sent;
      EXPECT_FALSE(host.hangs());
      host.finish();
      EXPECT_EQ(device.journal.back(), kMarkerGone);
      ASSERT_FALSE(HasFailure()) << action << ", kind " << kind << ", number " << at;
    }
  }
}

}  // namespace
}  // namespace kd::test
