// What makes an image valid, and the flash writer. (The request that carries an image:
// actions/firmware_test.cpp.)
#include "firmware/upgrade.hpp"

#include "firmware/flash.hpp"
#include "mkfirmware/image_maker.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using mkfirmware::Flaw;

const std::string kData = "the data of an image";
const std::string kTable = "dev:    size   erasesize  name\nmtd0: 00030000 00010000 \"Bootloader\"\n";
const std::string kImageFile = "/var/hnapUploadedFirmware";
const Effects kWriter = {"run gpio l 6 5 5 132 0 1&",
                         "run /bin/mtd_write -o 0 -l 84 write /var/hnapUploadedFirmware Kernel&", "sleep 2"};

std::string kernel_line(const std::string& size) {
  return "mtd1: " + size + " 00010000 \"Kernel\"\n";
}
std::string image_with(Flaw flaw, std::uint32_t board = 0x027215) {
  return mkfirmware::make_image(kData, {"test", board, flaw});
}
std::span<const unsigned char> bytes_of(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

class Firmware : public DeviceTest {
 protected:
  Firmware() {
    device.files["/var/boardid"] = "027215\n";
    device.files["/proc/mtd"] = kTable + kernel_line("00fb0000");
  }
  ImageFault fault_of(const std::string& image) {
    const ImageFault fault = check_image(bytes_of(image));
    EXPECT_EQ(kd_hnap_is_valid_firmware(bytes_of(image)), fault == ImageFault::none);
    return fault;
  }
};

// Each check alone; a check that fails keeps the later ones from looking at the device.
TEST_F(Firmware, EachCheckHasItsCause) {
  const Effects none, board{"open /var/boardid r"}, all{"open /var/boardid r", "open /proc/mtd r"};
  const struct {
    const char* name;
    std::string image;
    ImageFault fault;
    Effects effects;
  } rows[] = {
      {"valid", image_with(Flaw::none), ImageFault::none, all},
      {"bytes behind the data", image_with(Flaw::none) + "more", ImageFault::none, all},
      {"nothing", "", ImageFault::size, none},
      {"63 bytes", image_with(Flaw::short_image), ImageFault::size, none},
      {"64 bytes of no data", mkfirmware::make_image("", {}), ImageFault::none, all},
      {"64 bytes of missing data", image_with(Flaw::header_only), ImageFault::data_crc, board},
      {"magic", image_with(Flaw::magic), ImageFault::magic, none},
      {"header checksum", image_with(Flaw::header_crc), ImageFault::header_crc, none},
      {"maker's mark", image_with(Flaw::maker_magic), ImageFault::maker_magic, none},
      {"another board", image_with(Flaw::board), ImageFault::board, board},
      {"data checksum", image_with(Flaw::data_crc), ImageFault::data_crc, board},
      {"4 GB announced", image_with(Flaw::huge_data_size), ImageFault::data_crc, board},
      {"one byte too few", image_with(Flaw::data_size), ImageFault::data_crc, board},
  };
  for (const auto& row : rows) {
    effects();
    EXPECT_EQ(check_image(bytes_of(row.image)), row.fault) << row.name;
    EXPECT_EQ(effects(), row.effects) << row.name;
    fault_of(row.image);
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
    EXPECT_EQ(fault_of(image_with(Flaw::none, row.image_board)),
              row.fits ? ImageFault::none : ImageFault::board)
        << row.name;
  }
}

TEST_F(Firmware, PartitionMustHoldTheData) {
  ASSERT_EQ(kData.size(), 0x14u);
  const std::string image = image_with(Flaw::none), empty = mkfirmware::make_image("", {});
  const std::string one = mkfirmware::make_image("1", {});
  const struct {
    const char* name;
    std::string table, image;
    bool fits;
  } rows[] = {
      {"exactly", kTable + kernel_line("00000014"), image, true},
      {"one byte short", kTable + kernel_line("00000013"), image, false},
      {"the first of two", kTable + kernel_line("00000014") + kernel_line("00000001"), image, true},
      {"above 2 GB", kTable + kernel_line("ffffffff"), image, true},
      {"no such partition", kTable, image, false},
      {"no such partition, one byte", kTable, one, false},
      {"no such partition, nothing to hold", kTable, empty, true},
      {"name without quotes", "mtd1: 00fb0000 00010000 Kernel\n", image, false},
      {"a column is missing", "mtd1: 00fb0000 \"Kernel\"\n", image, false},
      {"behind a long line", "mtd0: " + std::string(511 - 6, 'f') + kernel_line("00fb0000"), image, true},
      {"no line end", "mtd1: 14 1 \"Kernel\"", image, true},
  };
  for (const auto& row : rows) {
    device.files["/proc/mtd"] = row.table;
    EXPECT_EQ(fault_of(row.image), row.fits ? ImageFault::none : ImageFault::partition) << row.name;
  }
  device.files.erase("/proc/mtd");
  effects();
  EXPECT_EQ(check_image(bytes_of(one)), ImageFault::partition);
  EXPECT_EQ(effects(), (Effects{"open /var/boardid r", "open /proc/mtd r", "print mtd support not enable?"}));
  EXPECT_EQ(fault_of(empty), ImageFault::none);
}

TEST_F(Firmware, ImageFileGoesWhenWritingOrFlashingFailed) {
  const std::string image = image_with(Flaw::none), removed = "run rm " + kImageFile;
  const struct {
    const char* name;
    void (*prepare)(Device& device);
    Effects done;
  } rows[] = {
      {"cannot be opened", [](Device& d) { d.broken.insert(kImageFile); }, {}},
      {"full disk", [](Device& d) { d.full.insert(kImageFile); }, {"write " + kImageFile + " ", removed}},
      {"full disk that shows at the end",
       [](Device& d) { d.full_at_close.insert(kImageFile); },
       {"write " + kImageFile + " " + image, removed}},
      {"no progress", [](Device&) {}, {"write " + kImageFile + " " + image, kWriter[0], kWriter[1]}},
  };
  for (const auto& row : rows) {
    device.broken.clear();
    device.full.clear();
    device.full_at_close.clear();
    row.prepare(device);
    effects();
    EXPECT_EQ(kd_hnap_firmware_upgrade(bytes_of(image)), -1) << row.name;
    Effects done = changes();
    EXPECT_TRUE(done.empty() || done.back() == removed) << row.name;
    done.resize(row.done.size());
    EXPECT_EQ(done, row.done) << row.name;
    EXPECT_FALSE(device.files.contains(kImageFile)) << row.name;
  }
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
      {"a pause, then one that is one too long", {{4, nullptr}, {20, "42"}, {22, nullptr}}, -1, 52},
      {"stands at 42 for an hour", {{2, "42"}, {3600, "100"}}, 100, 3602},
      {"more than everything", {{2, "99"}, {4, "101"}}, 101, 6},
      {"rubbish is 0", {{2, "rubbish"}, {50, "100"}}, 100, 52},
      {"-1 is no progress", {{2, "-1"}}, -1, 32},
      {"only seven characters", {{2, "00001009"}}, 100, 4},
      {"an old report counts", {{0, "100"}}, 100, 4},
  };
  for (const auto& row : rows) {
    device.files.erase("/var/upgrade_progress");
    effects();
    const unsigned start = device.seconds();
    for (const Report& report : row.reports) {
      device.at(start + report.seconds, report.text ? has_file("/var/upgrade_progress", report.text)
                                                    : has_no_file("/var/upgrade_progress"));
    }
    device.sleep(0);  // what is there from the start
    EXPECT_EQ(kd_hnap_program_firmware(84), row.progress) << row.name;
    EXPECT_EQ(device.seconds() - start, row.seconds) << row.name;
    Effects done = effects();
    done.resize(3);
    EXPECT_EQ(done, kWriter);
    device.sleep(std::uint64_t{5000} * 1000000);  // reports that came too late
  }
}

}  // namespace
}  // namespace kd::test
