// The binding to 1.4.29, in the order in which that server calls it. (It carries every other test's requests
// too.)
#include "mkfirmware/image_maker.hpp"
#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using Classic = DeviceTest;

using enum Piece::Kind;

std::string body_of(const char* action) {
  return envelope(action, "DeviceName=Den|AdminPassword=secret", kCore);
}
Request post(const char* action, std::vector<Piece> body) {
  Request request = soap(action);
  request.body = std::move(body);
  return request;
}
Request choice() {
  return soap("SetWirelessClientSettings",
              "SSID=Den|NetworkType=INFRASTRUCTURE|SecurityEnabled=false|SecurityType=|Encryption=|Key=");
}
long count(const Effects& effects, std::string_view start) {
  return std::count_if(effects.begin(), effects.end(),
                       [=](const std::string& line) { return line.starts_with(start); });
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

// What the client gets, and whether the end of its connection is noticed exactly once.
TEST_F(Classic, AnswersAndEnds) {
  const std::string ready = reply_of("IsDeviceReady", "OK");
  const Request good = soap("IsDeviceReady");
  Request outside = good, nowhere = good, head = good;
  outside.uri = "/";
  nowhere.uri = nullptr;
  head.method = HTTP_METHOD_HEAD;
  const struct {
    const char* name;
    Request request;
    int status;
    std::string sent;
    bool marker_goes = true;
  } rows[] = {
      {"answered", good, 200, ready},
      {"fault", with_header(good, "SOAPAction", "Nothing"), 500, fault_of("Not")},
      {"error page", post("IsDeviceReady", {{"<a></b>"}}), 500,
       error_page_of("XML PARSE STATUS NOT OK ERROR")},
      {"refused", with_header(good, "Authorization", "Basic ?"), 401, "<page of the server>"},
      {"another method", head, 200, ""},
      {"outside of HNAP, the marker stays", outside, 200, ready, false},
      {"no URI", nowhere, 200, ready},
      {"empty body", post("IsDeviceReady", {}), 500, error_page_of("CONTENT LEN == 0 XML PARSE ERROR")},
  };
  for (const bool vanishes : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string{row.name} + (vanishes ? ", client vanished" : ", closed"));
      effects();
      EXPECT_EQ(server.receive(row.request), HANDLER_FINISHED);
      EXPECT_EQ(server.status(), row.status);
      EXPECT_EQ(server.sent(), row.sent);
      EXPECT_FALSE(server.con.keep_alive);
      EXPECT_EQ(server.module_answers(), row.status != 401);
      vanishes ? server.abort() : server.finish();
      const Effects done = effects();
      EXPECT_EQ(count(done, kMarker), 1);
      EXPECT_EQ(count(done, kMarkerGone), row.marker_goes);
    }
  }
}

// The wireless reload is what a connection's end is for.
TEST_F(Classic, RunsTheDeferredActionOnce) {
  for (const bool vanishes : {false, true}) {
    server.receive(choice());
    effects();
    vanishes ? server.abort() : server.finish();
    EXPECT_EQ(count(effects(), "console Reload WLAN by HNAP"), 1) << vanishes;
    server.receive(soap("IsDeviceReady"));
    effects();
    server.finish();
    EXPECT_EQ(effects(), Effects{kMarkerGone}) << "the next connection has none";
  }
  server.receive(choice());
  effects();
  server.reset(server.con.state);  // the server ends
  server.abort();                  // a connection without a request
  EXPECT_EQ(effects(), Effects{});
}

TEST_F(Classic, LeavesOtherRequestsAlone) {
  EXPECT_EQ(server.receive({.method = HTTP_METHOD_GET, .uri = "/index.html"}), HANDLER_GO_ON);
  EXPECT_TRUE(server.con.keep_alive);
  EXPECT_FALSE(server.module_answers());
  server.finish();
  EXPECT_EQ(effects(), Effects{});
  // Not its own, but the connection's end would be noticed.
  server.receive({.method = HTTP_METHOD_GET, .uri = "/index.html"});
  server.con.keep_alive = 0;
  server.finish();
  EXPECT_EQ(effects(), Effects{});
}

TEST_F(Classic, TakesFirmwareThatTheServerSpooled) {
  const std::string image = mkfirmware::make_image(std::string(100000, 'x'), {});
  const std::string upload = mkfirmware::make_upload(image, 76, mkfirmware::Flaw::none);
  device.files["/proc/mtd"] = "mtd1: 00fb0000 00010000 \"Kernel\"\n";
  device.files["/var/upgrade_progress"] = "100\n";
  EXPECT_EQ(ask(post("FirmwareUpload", {{upload.substr(0, 70000), spooled, "/var/tmp/a"},
                                        {upload.substr(70000), spooled, "/var/tmp/b"}})),
            reply_of("FirmwareUpload", "REBOOT"));
  EXPECT_EQ(device.files["/var/hnapUploadedFirmware"], image);
  EXPECT_FALSE(device.files.contains("/var/tmp/a") || device.files.contains("/var/tmp/b"));
}

// However the server keeps a body, the same action runs.
TEST_F(Classic, ReadsBodiesInPieces) {
  const std::string whole = body_of("SetDeviceSettings"), left = whole.substr(0, 100),
                    right = whole.substr(100);
  const std::string a = "/var/tmp/upload-a", b = "/var/tmp/upload-b";
  const struct {
    const char* name;
    std::vector<Piece> body;
    std::vector<std::string> removed;
  } rows[] = {
      {"one piece", {{whole}}, {}},
      {"consumed in part", {{"read before" + whole, memory, "", 11}}, {}},
      {"two pieces", {{left}, {right}}, {}},
      {"empty pieces", {{""}, {left}, {"consumed", memory, "", 8}, {right}}, {}},
      {"a spooled one", {{whole, spooled, a}}, {a}},
      {"spooled, with an offset in the file", {{"other" + whole, spooled, a, 0, 5}}, {a}},
      {"spooled, with both offsets", {{"other" + whole, spooled, a, 2, 3}}, {a}},
      {"spooled and open", {{whole, spooled, a, 0, 0, -1, true}}, {a}},
      {"two spooled ones", {{left, spooled, a}, {right, spooled, b}}, {a, b}},
      {"memory, then spooled", {{left}, {right, spooled, a}}, {a}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    device.set("Password", "password");
    effects();
    server.receive(post("SetDeviceSettings", row.body));
    EXPECT_EQ(server.sent(), reply_of("SetDeviceSettings", "OK"));
    const chunkqueue& queue = *server.con.request_content_queue;
    EXPECT_EQ(queue.bytes_out, queue.bytes_in);
    for (const chunk* piece = queue.first; piece; piece = piece->next) {
      EXPECT_EQ(piece->file.fd, -1);
      EXPECT_TRUE(piece->type == chunk::MEM_CHUNK || piece->offset == piece->file.length);
    }
    Effects expected = {kMarker};
    for (const std::string& name : row.removed) {
      expected.insert(expected.end(), {"console rm " + name + "\n", "run rm " + name});
    }
    Effects done = changes();
    done.resize(expected.size());
    EXPECT_EQ(done, expected);
    server.finish();
  }
}

TEST_F(Classic, AnswersBodiesThatCannotBeRead) {
  const std::string whole = body_of("IsDeviceReady"), name = "/var/tmp/upload";
  const char *status = "XML PARSE STATUS NOT OK ERROR", *initial = "HANDLE REQUEST INITIAL ERROR";
  const off_t size = static_cast<off_t>(whole.size());
  constexpr off_t kHuge = off_t{3} << 30, kHuger = (off_t{1} << 32) + 300;
  const struct {
    const char* name;
    std::vector<Piece> body;
    const char* page;  // null: answered
    bool removed = true;
    off_t missing = 0;
    Effects log = {};
  } rows[] = {
      {"short file", {{whole.substr(0, 200), spooled, name, 0, 0, size}}, status},
      {"no file",
       {{"", spooled, "", 0, 0, size}},
       initial,
       true,
       0,
       {"mod_kd_hnap.c: open failed: No such file or directory"}},
      {"mapped file", {{whole, mapped, name}}, initial, false},
      {"queue ends early", {{whole.substr(0, 150)}}, status, false, 1000},
      {"offset behind the end", {{whole, memory, "", 5000}}, initial, false, 10},
      {"length below the offset", {{whole, spooled, name, 9, 0, 5}, {whole}}, nullptr},
      {"more than 2 GB", {{whole, spooled, name, 0, 0, kHuge}}, initial},
      {"more than 4 GB", {{whole, spooled, name, 0, 0, kHuger}}, initial},
      {"more than 2 GB in all", {{whole}, {whole, spooled, name, 0, 0, (off_t{1} << 31) - 10}}, nullptr},
      {"pieces behind the count", {{whole}, {"<x>"}}, nullptr, false, -3},
      {"a piece of no kind", {{"", none}, {whole}}, nullptr, false},
      {"empty queue", {{""}}, initial, false},
  };
  for (const auto& row : rows) {
    effects();
    Request request = post("IsDeviceReady", row.body);
    request.missing = row.missing;
    request.length = whole.size();
    EXPECT_EQ(ask(request), row.page ? error_page_of(row.page) : reply_of("IsDeviceReady", "OK")) << row.name;
    EXPECT_EQ(count(effects(), "console rm "), row.removed) << row.name;
    EXPECT_EQ(server.log(), row.log) << row.name;
  }
}

}  // namespace
}  // namespace kd::test
