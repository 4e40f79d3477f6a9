// The binding to 1.4.29, in the order in which that server calls it.
#include "base/flags.hpp"
#include "mkfirmware/image_maker.hpp"
#include "unit/host/binding.hpp"

namespace kd::test {
namespace {

using Classic = DeviceTest;

TEST_F(Classic, RegistersItsHooks) {
  ClassicHost host;
  EXPECT_EQ(host.module.version, 0x1041DU);
  EXPECT_STREQ(host.module.name->ptr, "kd_hnap");
  EXPECT_EQ(host.module.handle_uri_clean, nullptr);
  EXPECT_EQ(host.module.handle_subrequest, nullptr);
  EXPECT_EQ(host.module.cleanup(nullptr, nullptr), HANDLER_GO_ON);
}

TEST_F(Classic, DefersNothingBeyondTheServersEndOrWhenIdle) {
  ClassicHost host;
  host.accept();
  host.receive(post("IsDeviceReady"));
  effects();
  host.exit();
  EXPECT_FALSE(host.dirty_slot());
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
    request.content_length = whole.size();
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

}  // namespace
}  // namespace kd::test
