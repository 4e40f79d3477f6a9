// The binding to 1.4.29, in the order in which that server calls it.
#include <algorithm>

#include "base/flags.hpp"
#include "mkfirmware/image_maker.hpp"
#include "support/classic_host/host.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using Classic = DeviceTest;

constexpr const char* kCore = "http://purenetworks.com/HNAP1/";
const std::string kMarker = "run echo 1 > /tmp/postponeSiteSurvey";
const std::string kMarkerGone = "run rm -f /tmp/postponeSiteSurvey";
const std::string kReady =
    whole_reply("IsDeviceReady", "<IsDeviceReadyResult>OK</IsDeviceReadyResult>\n", kCore);

std::string body_of(const char* action) {
  return envelope(action, elements({{"DeviceName", "Den"}, {"AdminPassword", "secret"}}), kCore);
}

ClassicRequest post(const char* action, std::vector<Piece> body = {}) {
  ClassicRequest request;
  request.headers = soap_headers(action, kCore);
  request.body = std::move(body);
  if (request.body.empty()) request.body = {{Piece::memory, body_of(action)}};
  request.content_length = body_of(action).size();
  return request;
}

TEST_F(Classic, RegistersItsHooks) {
  ClassicHost host;
  EXPECT_EQ(host.module.version, 0x1041DU);
  EXPECT_STREQ(host.module.name->ptr, "kd_hnap");
  EXPECT_EQ(host.module.handle_uri_clean, nullptr);
  EXPECT_EQ(host.module.handle_subrequest, nullptr);
  EXPECT_EQ(host.module.cleanup(nullptr, nullptr), HANDLER_GO_ON);
  EXPECT_EQ(effects(), (std::vector<std::string>{"nvram init 0", "nvram init 1",
                                                 "run nvram_set 2860 LastSetWirelessClientResult 0"}));
}

TEST_F(Classic, RefusesToStartWithoutMemory) {
  heap.fail({1});
  const ClassicHost host;
  EXPECT_EQ(host.data, nullptr);
}

// What the client gets, and whether the end of its connection is noticed exactly once.
TEST_F(Classic, AnswersAndEnds) {
  enum End { closed, vanished };
  const struct {
    const char* name;
    ClassicRequest request;
    int status;
    std::string sent;
    unsigned mode;
    bool marker_goes = true;
  } rows[] = {
      {"answered", post("IsDeviceReady"), 200, kReady, ClassicHost::kId},
      {"fault", post("Nothing"), 500, fault_of("htt"), ClassicHost::kId},
      {"error page", post("IsDeviceReady", {{Piece::memory, "<a></b>"}}), 500,
       error_page_of("XML PARSE STATUS NOT OK ERROR"), ClassicHost::kId},
      {"refused",
       [] {
         ClassicRequest request = post("IsDeviceReady");
         request.headers.back().second = "Basic x";
         return request;
       }(),
       401, "<page of the server>", DIRECT},
      {"another method",
       [] {
         ClassicRequest request = post("IsDeviceReady");
         request.method = HTTP_METHOD_PUT;
         return request;
       }(),
       200, "", ClassicHost::kId},
      {"outside of HNAP, the marker stays",
       [] {
         ClassicRequest request = post("IsDeviceReady");
         request.uri = "/";
         return request;
       }(),
       200, kReady, ClassicHost::kId, false},
      {"no URI",
       [] {
         ClassicRequest request = post("IsDeviceReady");
         request.uri = nullptr;
         return request;
       }(),
       200, kReady, ClassicHost::kId},
  };
  ClassicHost host;
  for (const End end : {closed, vanished}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string{row.name} + (end == closed ? ", closed" : ", client vanished"));
      effects();
      host.accept();
      EXPECT_EQ(host.receive(row.request), HANDLER_FINISHED);
      EXPECT_EQ(host.con.http_status, row.status);
      EXPECT_EQ(host.sent(), row.sent);
      EXPECT_EQ(host.mode(), row.mode);
      EXPECT_FALSE(host.hangs());
      EXPECT_EQ(host.con.keep_alive, 0);
      EXPECT_EQ(host.reply_header("WWW-Authenticate"), row.status == 401 ? "Basic realm=\"NX220\"" : "");
      end == closed ? host.finish() : host.abort();
      EXPECT_FALSE(host.dirty_slot());
      const auto done = effects();
      EXPECT_EQ(std::count(done.begin(), done.end(), kMarker), 1);
      EXPECT_EQ(std::count(done.begin(), done.end(), kMarkerGone), row.marker_goes);
    }
  }
}

// The wireless reload is what a connection's end is for.
TEST_F(Classic, RunsTheDeferredActionOnce) {
  ClassicHost host;
  const std::string chosen = envelope("SetWirelessClientSettings",
                                      elements({{"SSID", "Upstream"},
                                                {"NetworkType", "INFRASTRUCTURE"},
                                                {"SecurityEnabled", "false"},
                                                {"SecurityType", ""},
                                                {"Encryption", ""},
                                                {"Key", ""}}),
                                      kCore);
  ClassicRequest request = post("SetWirelessClientSettings", {{Piece::memory, chosen}});
  request.content_length = chosen.size();
  for (const bool vanished : {false, true}) {
    host.accept();
    host.receive(request);
    EXPECT_EQ(reply_value(host.sent(), "SetWirelessClientSettingsResult"), "REBOOT");
    effects();
    vanished ? host.abort() : host.finish();
    const auto done = effects();
    EXPECT_EQ(std::count(done.begin(), done.end(), "console Reload WLAN by HNAP\n"), 1) << vanished;
    EXPECT_FALSE(host.dirty_slot());
    host.accept();
    host.receive(post("IsDeviceReady"));
    effects();
    host.finish();
    EXPECT_EQ(effects(), std::vector<std::string>{kMarkerGone}) << "the next connection has none";
  }
}

TEST_F(Classic, DefersNothingBeyondTheServersEnd) {
  ClassicHost host;
  host.accept();
  host.receive(post("IsDeviceReady"));
  effects();
  host.exit();
  EXPECT_FALSE(host.dirty_slot());
  EXPECT_EQ(effects(), std::vector<std::string>{});
}

TEST_F(Classic, LeavesOtherRequestsAlone) {
  ClassicHost host;
  effects();
  ClassicRequest page;
  page.method = HTTP_METHOD_GET;
  page.uri = "/index.html";
  host.accept();
  EXPECT_EQ(host.receive(page), HANDLER_GO_ON);
  EXPECT_EQ(host.con.keep_alive, 1);
  EXPECT_EQ(host.con.file_finished, 0);
  host.finish();
  EXPECT_EQ(effects(), std::vector<std::string>{});
  page.uri = "/HNAP1/";  // now on the same connection
  EXPECT_EQ(host.receive(page), HANDLER_FINISHED);
  host.finish();
  EXPECT_EQ(device.journal.back(), kMarkerGone);
  effects();
  host.accept();
  host.abort();  // idle
  EXPECT_EQ(effects(), std::vector<std::string>{});
}

TEST_F(Classic, TakesFirmwareThatTheServerSpooled) {
  const std::string image = mkfirmware::make_image(std::string(100000, 'x'), {});
  const std::string upload = mkfirmware::make_upload(image, 76, mkfirmware::Flaw::none);
  device.files["/proc/mtd"] = "mtd1: 00fb0000 00010000 \"Kernel\"\n";
  device.files["/var/upgrade_progress"] = "100\n";
  ClassicRequest request = post("FirmwareUpload", {{Piece::spooled, upload.substr(0, 70000), "/var/tmp/a"},
                                                   {Piece::spooled, upload.substr(70000), "/var/tmp/b"}});
  request.content_length = upload.size();
  ClassicHost host;
  host.accept();
  host.receive(request);
  EXPECT_EQ(reply_value(host.sent(), "FirmwareUploadResult"), "REBOOT");
  EXPECT_EQ(device.files["/var/hnapUploadedFirmware"], image);
  EXPECT_FALSE(device.files.contains("/var/tmp/a") || device.files.contains("/var/tmp/b"));
  host.finish();
  flags.hnap_reboot_flag = false;
}

// However the server keeps a body, the same action runs.
TEST_F(Classic, ReadsBodiesInPieces) {
  const std::string whole = body_of("SetDeviceSettings"), left = whole.substr(0, 100),
                    right = whole.substr(100);
  const std::string a = "/var/tmp/upload-a", b = "/var/tmp/upload-b";
  using enum Piece::Kind;
  const struct {
    const char* name;
    std::vector<Piece> body;
    std::vector<std::string> removed;
  } rows[] = {
      {"one piece", {{memory, whole}}, {}},
      {"consumed in part", {{memory, "read before" + whole, "", 11}}, {}},
      {"two pieces", {{memory, left}, {memory, right}}, {}},
      {"empty pieces", {{memory, ""}, {memory, left}, {memory, "consumed", "", 8}, {memory, right}}, {}},
      {"a spooled one", {{spooled, whole, a}}, {a}},
      {"spooled, with an offset in the file", {{spooled, "other" + whole, a, 0, 5}}, {a}},
      {"spooled, with both offsets", {{spooled, "other" + whole, a, 2, 3}}, {a}},
      {"spooled and open", {{spooled, whole, a, 0, 0, -1, true}}, {a}},
      {"two spooled ones", {{spooled, left, a}, {spooled, right, b}}, {a, b}},
      {"memory, then spooled", {{memory, left}, {spooled, right, a}}, {a}},
  };
  ClassicHost host;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    device.set("Password", "password");
    effects();
    host.accept();
    host.receive(post("SetDeviceSettings", row.body));
    EXPECT_EQ(reply_value(host.sent(), "SetDeviceSettingsResult"), "OK");
    const chunkqueue& queue = *host.con.request_content_queue;
    EXPECT_EQ(queue.bytes_out, queue.bytes_in);
    for (const chunk* piece = queue.first; piece; piece = piece->next) {
      EXPECT_EQ(piece->file.fd, -1);
      EXPECT_TRUE(piece->type == chunk::MEM_CHUNK || piece->offset == piece->file.length);
    }
    std::vector<std::string> expected;
    for (const std::string& name : row.removed) {
      expected.insert(expected.end(), {"console rm " + name + "\n", "run rm " + name});
      EXPECT_FALSE(device.files.contains(name));
    }
    auto changes = device.changes();
    changes.resize(expected.size() + 1);
    EXPECT_EQ(std::vector(changes.begin() + 1, changes.end()), expected);
    host.finish();
  }
}

TEST_F(Classic, AnswersBodiesThatCannotBeRead) {
  const std::string whole = body_of("IsDeviceReady"), name = "/var/tmp/upload";
  const std::string status = "XML PARSE STATUS NOT OK ERROR", initial = "HANDLE REQUEST INITIAL ERROR";
  constexpr off_t kHuge = off_t{3} << 30;
  using enum Piece::Kind;
  const struct {
    const char* name;
    std::vector<Piece> body;
    std::string page;
    bool removed = true;
    off_t missing = 0;
    std::vector<std::string> log = {};
  } rows[] = {
      {"short file", {{spooled, whole.substr(0, 200), name, 0, 0, static_cast<off_t>(whole.size())}}, status},
      {"no file",
       {{spooled, "", "", 0, 0, static_cast<off_t>(whole.size())}},
       initial,
       true,
       0,
       {"mod_kd_hnap.c: open failed: No such file or directory"}},
      {"mapped file", {{mapped, whole, name}}, initial, false},
      {"queue ends early", {{memory, whole.substr(0, 150)}}, status, false, 1000},
      {"offset behind the end", {{memory, whole, "", 5000}}, initial, false, 10},
      {"length below the offset", {{spooled, whole, name, 9, 0, 5}, {memory, whole}}, ""},
      {"more than 2 GB", {{spooled, whole, name, 0, 0, kHuge}}, initial},
      {"more than 2 GB in all", {{memory, whole}, {spooled, whole, name, 0, 0, (off_t{1} << 31) - 10}}, ""},
      {"pieces behind the count", {{memory, whole}, {memory, "<x>"}}, "", false, -3},
      {"a piece of no kind", {{none}, {memory, whole}}, "", false},
      {"empty queue", {{memory, ""}}, initial, false},
  };
  ClassicHost host;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    effects();
    host.accept();
    ClassicRequest request = post("IsDeviceReady", row.body);
    request.missing = row.missing;
    host.receive(request);
    EXPECT_EQ(host.sent(), row.page.empty() ? kReady : error_page_of(row.page));
    const auto done = effects();
    const bool removed = std::find_if(done.begin(), done.end(),
                                      [](auto& line) { return line.starts_with("run rm "); }) != done.end();
    EXPECT_EQ(removed, row.removed);
    EXPECT_EQ(host.log(), row.log);
    host.finish();
  }
}

TEST_F(Classic, KnowsAnEmptyBodyByItsLength) {
  ClassicHost host;
  host.accept();
  ClassicRequest request = post("IsDeviceReady");
  request.content_length = 0;
  host.receive(request);
  EXPECT_EQ(host.sent(), error_page_of("CONTENT LEN == 0 XML PARSE ERROR"));
  host.finish();
}

// Whatever fails on the way, one defined answer goes out and the connection ends once.
TEST_F(Classic, SurvivesEachFaultWithASpooledBody) {
  const std::string whole = body_of("IsDeviceReady");
  const std::vector<Piece> body = {{Piece::memory, whole.substr(0, 50)},
                                   {Piece::spooled, whole.substr(50), "/var/tmp/upload"}};
  ClassicHost host;
  for (const int kind : {0, 1, 2, 3}) {
    bool met = true;
    for (unsigned at = 1; met; ++at) {
      host.accept();
      effects();
      heap.fail(kind < 2 ? HeapFault{at, kind == 1} : HeapFault{});
      device.fail(kind < 2 ? Fault{} : Fault{at, kind == 3});
      host.receive(post("IsDeviceReady", body));
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
      ASSERT_FALSE(HasFailure()) << "kind " << kind << ", number " << at;
    }
  }
}

}  // namespace
}  // namespace kd::test
