// The binding to 1.4.29, in the order in which that server calls it. (It carries every other test's requests
// too.)
#include "support/action_rows.hpp"

namespace kd::test::classic {

using enum Piece::Kind;
using Classic = DeviceTest;

const std::string kReady = reply_of("IsDeviceReady", "OK");
const Request kChoice =
    soap("SetWirelessClientSettings",
         "SSID=Den|NetworkType=INFRASTRUCTURE|SecurityEnabled=false|SecurityType=|Encryption=|Key=");

Request post(const char* action, std::vector<Piece> body) {
  Request request = soap(action);
  request.body = std::move(body);
  return request;
}
std::string body_of(const char* action) {
  return envelope(action, "DeviceName=Den|AdminPassword=secret", kCore);
}

TEST_F(Classic, StartsAndEnds) {
  device.store["LastSetWirelessClientResult"] = "1";
  const Server another;
  EXPECT_EQ(another.module.version, 0x1041DU);
  EXPECT_STREQ(another.module.name->ptr, "kd_hnap");
  EXPECT_EQ(another.module.cleanup(nullptr, nullptr), HANDLER_GO_ON);
  EXPECT_EQ(effects(),
            (Effects{"nvram init 0", "nvram init 1", "run nvram_set 2860 LastSetWirelessClientResult 0"}));
  EXPECT_EQ(device.store["LastSetWirelessClientResult"], "0");
  heap.fail({1});
  EXPECT_EQ(Server{}.data, nullptr) << "it refuses to start without memory";
}

// Whatever was answered, the end of its connection is noticed exactly once.
TEST_F(Classic, NoticesEachEndOnce) {
  const Request good = soap("IsDeviceReady");
  Request other_page = good, no_uri = good, head = good;
  other_page.uri = "/";
  no_uri.uri = nullptr;
  head.method = HTTP_METHOD_HEAD;
  for (const Request& request :
       {good, with_header(good, "SOAPAction", "Nothing"), post("IsDeviceReady", {{"<a></b>"}}),
        with_header(good, "Authorization", "Basic ?"), other_page, no_uri, head}) {
    for (const bool vanishes : {false, true}) {
      effects();
      EXPECT_EQ(server.receive(request), HANDLER_FINISHED);
      EXPECT_FALSE(server.con.keep_alive);
      EXPECT_EQ(server.module_answers(), server.status() != 401);
      const std::string sent = server.sent();
      vanishes ? server.abort() : server.finish();
      const Effects done = effects();
      EXPECT_EQ(count(done, kMarker), 1) << sent;
      EXPECT_EQ(count(done, kMarkerGone), !request.uri || request.uri[1]) << sent;
    }
  }
}

// The wireless reload is what a connection's end is for.
TEST_F(Classic, RunsTheDeferredActionOnce) {
  for (const bool vanishes : {false, true}) {
    server.receive(kChoice);
    effects();
    vanishes ? server.abort() : server.finish();
    EXPECT_EQ(count(effects(), "console Reload WLAN by HNAP"), 1) << vanishes;
    server.receive(soap("IsDeviceReady"));
    effects();
    server.finish();
    EXPECT_EQ(effects(), Effects{kMarkerGone}) << "the next connection has none";
  }
  server.receive(kChoice);
  effects();
  server.reset(server.con.state);  // the server ends
  server.abort();                  // a connection without a request
  EXPECT_EQ(effects(), Effects{});
}

TEST_F(Classic, LeavesOtherRequestsAlone) {
  EXPECT_EQ(server.receive({.method = HTTP_METHOD_GET, .uri = "/index.html"}), HANDLER_GO_ON);
  EXPECT_TRUE(server.con.keep_alive);
  EXPECT_FALSE(server.module_answers());
  server.con.keep_alive = 0;
  server.finish();
  EXPECT_EQ(effects(), Effects{});
}

// However the server keeps a body, the same action runs, and temporary files go.
TEST_F(Classic, ReadsBodiesInPieces) {
  const std::string whole = body_of("SetDeviceSettings"), left = whole.substr(0, 100),
                    right = whole.substr(100);
  const std::string a = "/var/tmp/upload-a", b = "/var/tmp/upload-b";
  const std::vector<Piece> bodies[] = {
      {{whole}},
      {{"read before" + whole, memory, "", 11}},
      {{""}, {left}, {"consumed", memory, "", 8}, {right}},
      {{whole, spooled, a}},
      {{"other" + whole, spooled, a, 0, 5}},
      {{"other" + whole, spooled, a, 2, 3}},
      {{whole, spooled, a, 0, 0, -1, true}},
      {{left, spooled, a}, {right, spooled, b}},
      {{left}, {"", none}, {right, spooled, a}},
  };
  for (const auto& body : bodies) {
    SCOPED_TRACE(&body - bodies);
    device.set("Password", "password");
    effects();
    server.receive(post("SetDeviceSettings", body));
    EXPECT_EQ(server.sent(), reply_of("SetDeviceSettings", "OK"));
    EXPECT_EQ(server.in.bytes_out, server.in.bytes_in);
    Effects expected = {kMarker};
    for (const chunk* piece = server.in.first; piece; piece = piece->next) {
      EXPECT_EQ(piece->file.fd, -1);
      if (piece->type == chunk::MEM_CHUNK) continue;
      EXPECT_EQ(piece->offset, piece->file.length);
      if (piece->type != chunk::FILE_CHUNK) continue;
      expected = expected + Effects{"console rm " + std::string{piece->file.name->ptr} + "\n",
                                    "run rm " + std::string{piece->file.name->ptr}};
    }
    Effects done = changes();
    done.resize(expected.size());
    EXPECT_EQ(done, expected);
    server.finish();
  }
}

TEST_F(Classic, AnswersBodiesThatCannotBeRead) {
  const std::string whole = body_of("IsDeviceReady"), name = "/var/tmp/upload";
  const auto check = [&](const char* what, const std::string& reply, std::vector<Piece> body, bool removed,
                         off_t missing = 0) {
    effects();
    Request request = post("IsDeviceReady", std::move(body));
    request.missing = missing;
    request.length = whole.size();
    EXPECT_EQ(ask(request), reply) << what;
    EXPECT_EQ(count(effects(), "console rm "), removed) << what;
  };
  const std::string status = error_page_of("XML PARSE STATUS NOT OK ERROR"),
                    initial = error_page_of("HANDLE REQUEST INITIAL ERROR");
  const off_t size = static_cast<off_t>(whole.size()), giga = off_t{1} << 30;
  check("short file", status, {{whole.substr(0, 200), spooled, name, 0, 0, size}}, true);
  check("mapped file", initial, {{whole, mapped, name}}, false);
  check("queue ends early", status, {{whole.substr(0, 150)}}, false, 1000);
  check("offset behind the end", initial, {{whole, memory, "", 5000}}, false, 10);
  check("length below the offset", kReady, {{whole, spooled, name, 9, 0, 5}, {whole}}, true);
  check("more than 2 GB", initial, {{whole, spooled, name, 0, 0, 3 * giga}}, true);
  check("more than 4 GB", initial, {{whole, spooled, name, 0, 0, 4 * giga + 300}}, true);
  check("more than 2 GB in all", kReady, {{whole}, {whole, spooled, name, 0, 0, 2 * giga - 10}}, true);
  check("pieces behind the count", kReady, {{whole}, {"<x>"}}, false, -3);
  check("empty queue", initial, {{""}}, false);
  EXPECT_EQ(server.log(), Effects{});
  check("no file", initial, {{"", spooled, "", 0, 0, size}}, true);
  EXPECT_EQ(server.log(), Effects{"mod_kd_hnap.c: open failed: No such file or directory"});
}

}  // namespace kd::test::classic
