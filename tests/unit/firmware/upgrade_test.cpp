#include "firmware/upgrade.hpp"

#include "firmware/flash.hpp"
#include "mkfirmware/image_maker.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

using Effects = std::vector<std::string>;
using mkfirmware::Flaw;

const std::string kData = "the data of an image";
constexpr const char* kTable = "dev:    size   erasesize  name\nmtd0: 00030000 00010000 \"Bootloader\"\n";

std::span<const unsigned char> bytes_of(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string kernel_line(const std::string& size) {
  return "mtd1: " + size + " 00010000 \"Kernel\"\n";
}

std::string image_with(Flaw flaw, std::uint32_t board = 0x027215) {
  return mkfirmware::make_image(kData, {"test", board, flaw});
}

class Firmware : public DeviceTest {
 protected:
  Firmware() {
    device.files["/var/boardid"] = "027215\n";
    device.files["/proc/mtd"] = kTable + kernel_line("00fb0000");
  }
};

// Each check alone; a check that fails keeps the later ones from looking at the device.
TEST_F(Firmware, EachCheckHasItsCause) {
  const Effects none, board{"open /var/boardid r"}, all{"open /var/boardid r", "open /proc/mtd r"};
  const struct {
    const char* name;
    std::string image;
    image_fault fault;
    Effects effects;
  } rows[] = {
      {"valid", image_with(Flaw::none), image_fault::none, all},
      {"bytes behind the data", image_with(Flaw::none) + "more", image_fault::none, all},
      {"nothing", "", image_fault::size, none},
      {"63 bytes", image_with(Flaw::short_image), image_fault::size, none},
      {"64 bytes of no data", mkfirmware::make_image("", {}), image_fault::none, all},
      {"64 bytes of missing data", image_with(Flaw::header_only), image_fault::data_crc, board},
      {"magic", image_with(Flaw::magic), image_fault::magic, none},
      {"header checksum", image_with(Flaw::header_crc), image_fault::header_crc, none},
      {"maker's mark", image_with(Flaw::maker_magic), image_fault::maker_magic, none},
      {"another board", image_with(Flaw::board), image_fault::board, board},
      {"data checksum", image_with(Flaw::data_crc), image_fault::data_crc, board},
      {"4 GB announced", image_with(Flaw::huge_data_size), image_fault::data_crc, board},
      {"one byte too few", image_with(Flaw::data_size), image_fault::data_crc, board},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(check_image(nullptr, bytes_of(row.image)), row.fault) << row.name;
    EXPECT_EQ(effects(), row.effects) << row.name;
  }
}

TEST_F(Firmware, BoardNumbers) {
  const struct {
    const char* name;
    const char* file;  // null: none
    std::uint32_t image_board;
    bool fits;
  } rows[] = {
      {"equal", "027215\n", 0x027215, true},
      {"all 32 bits count", "027215\n", 0x01027215, false},
      {"any board", "027215\n", 0, true},
      {"no file", nullptr, 0x027216, true},
      {"lower case", "ffFFff", 0x027216, true},
      {"only six characters", "0272159", 0x027215, true},
      {"empty file, any board", "", 0, true},
      {"empty file", "", 0x027215, false},
      {"not hexadecimal", "xyz\n", 0x027215, false},
  };
  for (const auto& row : rows) {
    device.files.erase("/var/boardid");
    if (row.file) device.files["/var/boardid"] = row.file;
    const std::string image = image_with(Flaw::none, row.image_board);
    EXPECT_EQ(check_image(nullptr, bytes_of(image)), row.fits ? image_fault::none : image_fault::board)
        << row.name;
  }
}

TEST_F(Firmware, PartitionMustHoldTheData) {
  ASSERT_EQ(kData.size(), 0x14u);
  const std::string image = image_with(Flaw::none);
  const struct {
    const char* name;
    std::string table;
    bool fits;
  } rows[] = {
      {"exactly", kTable + kernel_line("00000014"), true},
      {"one byte short", kTable + kernel_line("00000013"), false},
      {"the first of two", kTable + kernel_line("00000014") + kernel_line("00000001"), true},
      {"above 2 GB", kTable + kernel_line("ffffffff"), true},
      {"no such partition", kTable, false},
      {"name without quotes", "mtd1: 00fb0000 00010000 Kernel\n", false},
      {"a column is missing", "mtd1: 00fb0000 \"Kernel\"\n", false},
      {"behind a long line", "mtd0: " + std::string(511 - 6, 'f') + kernel_line("00fb0000"), true},
      {"no line end", "mtd1: 14 1 \"Kernel\"", true},
  };
  for (const auto& row : rows) {
    device.files["/proc/mtd"] = row.table;
    EXPECT_EQ(check_image(nullptr, bytes_of(image)), row.fits ? image_fault::none : image_fault::partition)
        << row.name;
  }
}

TEST_F(Firmware, WithoutPartitionTableOnlyNothingFits) {
  device.files.erase("/proc/mtd");
  EXPECT_EQ(check_image(nullptr, bytes_of(image_with(Flaw::none))), image_fault::partition);
  EXPECT_EQ(effects(), (Effects{"open /var/boardid r", "open /proc/mtd r", "print mtd support not enable?"}));
  EXPECT_EQ(check_image(nullptr, bytes_of(mkfirmware::make_image("", {}))), image_fault::none);
}

hnap_request request_with(std::string_view body) {
  hnap_request request;
  request.content.reset(reinterpret_cast<unsigned char*>(copy_of(body).release()));
  request.content_len = static_cast<std::uint32_t>(body.size());
  return request;
}

constexpr const char* kGpio = "run gpio l 6 5 5 132 0 1&";
constexpr const char* kWriter = "run /bin/mtd_write -o 0 -l 84 write /var/hnapUploadedFirmware Kernel&";
constexpr const char* kRemove = "run rm /var/hnapUploadedFirmware";

TEST_F(Firmware, UploadsThatHoldNoImage) {
  const std::string image = image_with(Flaw::none);
  const auto upload = [&](Flaw flaw) { return mkfirmware::make_upload(image, 76, flaw); };
  const struct {
    const char* name;
    std::string body;
    bool decoded;
  } rows[] = {
      {"no body", "", false},
      {"no tags", upload(Flaw::no_tags), false},
      {"closing tag first", upload(Flaw::swapped_tags), false},
      {"no closing tag", upload(Flaw::no_closing_tag), false},
      {"closing tag cut", upload(Flaw::none).substr(0, upload(Flaw::none).find("</Base64Image>") + 13),
       false},
      {"nothing between them", upload(Flaw::empty_text), true},
      {"no base64", upload(Flaw::rubbish_text), true},
      {"a NUL half-way", upload(Flaw::cut_text), true},
      {"a bad image", mkfirmware::make_upload(image_with(Flaw::magic), 76, Flaw::none), true},
  };
  for (const auto& row : rows) {
    hnap_request request = request_with(row.body);
    EXPECT_EQ(kd_hnap_firmware_upgrade(request), -1) << row.name;
    EXPECT_EQ(request.content_len != row.body.size(), row.decoded) << row.name;
    EXPECT_EQ(device.changes(), Effects{}) << row.name;
  }
}

TEST_F(Firmware, ImageReplacesTheBody) {
  const std::string image = image_with(Flaw::none);
  device.files["/var/upgrade_progress"] = "100\n";
  for (const std::size_t columns : {0u, 4u, 76u, 77u}) {
    hnap_request request = request_with(mkfirmware::make_upload(image, columns, Flaw::none));
    EXPECT_EQ(kd_hnap_firmware_upgrade(request), 0);
    ASSERT_EQ(request.content_len, image.size());
    EXPECT_TRUE(std::equal(image.begin(), image.end(), reinterpret_cast<char*>(request.content.get())));
    EXPECT_EQ(std::exchange(device.files["/var/hnapUploadedFirmware"], ""), image) << columns;
    EXPECT_EQ(device.changes(),
              (Effects{"write /var/hnapUploadedFirmware " + image, kGpio, kWriter, "sleep 2", "sleep 2"}));
    device.journal.clear();
  }
}

TEST_F(Firmware, ImageFileThatCannotBeWritten) {
  const std::string body = mkfirmware::make_upload(image_with(Flaw::none), 76, Flaw::none);
  hnap_request request = request_with(body);
  device.broken.insert("/var/hnapUploadedFirmware");
  EXPECT_EQ(kd_hnap_firmware_upgrade(request), -1);
  EXPECT_EQ(device.changes(), Effects{});

  device.broken.clear();
  device.full.insert("/var/hnapUploadedFirmware");
  request = request_with(body);
  EXPECT_EQ(kd_hnap_firmware_upgrade(request), -1);
  EXPECT_EQ(device.changes(), (Effects{"write /var/hnapUploadedFirmware ", kRemove}));
  EXPECT_FALSE(device.files.contains("/var/hnapUploadedFirmware"));
}

// What the writer reports, and when; its file is gone where the text is null.
struct Report {
  unsigned seconds;
  const char* text;
};

TEST_F(Firmware, FollowsTheWriter) {
  const struct {
    const char* name;
    std::vector<Report> reports;
    int progress;
    unsigned seconds;  // until it gives up or is done
  } rows[] = {
      {"walks to the end", {{2, "0\n"}, {4, "40\n"}, {9, "100\n"}}, 100, 12},
      {"never starts", {}, -1, 32},
      {"starts at the last moment", {{30, "100"}}, 100, 32},
      {"starts a moment too late", {{32, "100"}}, -1, 32},
      {"dies half-way", {{2, "42"}, {10, nullptr}}, -1, 40},
      {"stands at 42 for an hour", {{2, "42"}, {3600, "100"}}, 100, 3602},
      {"rubbish is 0", {{2, "rubbish"}, {50, "100"}}, 100, 52},
      {"-1 is no progress", {{2, "-1"}}, -1, 32},
      {"only seven characters", {{2, "00001009"}}, 100, 4},
      {"an old report counts", {{0, "100"}}, 100, 4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    device.files.erase("/var/upgrade_progress");
    device.journal.clear();
    const unsigned start = device.seconds();
    for (const Report& report : row.reports) {
      device.at(start + report.seconds, [text = report.text](Device& d) {
        d.files.erase("/var/upgrade_progress");
        if (text) d.files["/var/upgrade_progress"] = text;
      });
    }
    device.sleep(0);  // what is there from the start
    hnap_request request;
    request.content_len = 84;
    EXPECT_EQ(kd_hnap_program_firmware(request), row.progress);
    EXPECT_EQ(device.seconds() - start, row.seconds);
    EXPECT_EQ(Effects(device.journal.begin(), device.journal.begin() + 3),
              (Effects{kGpio, kWriter, "sleep 2"}));
    device.sleep(std::uint64_t{5000} * 1000000);  // reports that came too late
  }
}

TEST_F(Firmware, ImageFileGoesWhenFlashingFailed) {
  hnap_request request = request_with(mkfirmware::make_upload(image_with(Flaw::none), 76, Flaw::none));
  EXPECT_EQ(kd_hnap_firmware_upgrade(request), -1);
  EXPECT_EQ(device.journal.back(), kRemove);
  EXPECT_FALSE(device.files.contains("/var/hnapUploadedFirmware"));
}

}  // namespace
}  // namespace kd::test
