// The checksum, what makes an image valid, and the flash writer. (The request that carries an image:
// actions/firmware_test.cpp.)
#include "firmware/upgrade.hpp"

#include "firmware/crc32.hpp"
#include "mkfirmware/image_maker.hpp"
#include "support/fixture.hpp"

namespace kd::test::upgrade {

using mkfirmware::Flaw;

const std::string kData = "the data of an image", kImageFile = "/var/hnapUploadedFirmware";
const std::string kTable = "dev:    size   erasesize  name\nmtd0: 00030000 00010000 \"Bootloader\"\n";

std::string kernel_line(const std::string& size) {
  return "mtd1: " + size + " 00010000 \"Kernel\"\n";
}
std::string image_with(Flaw flaw, std::uint32_t board = 0x027215, const std::string& data = kData) {
  return mkfirmware::make_image(data, {"test", board, flaw});
}
std::span<const unsigned char> bytes_of(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

// As another library computes it, however the bytes are cut.
TEST(Crc32, IsTheKnownOne) {
  std::string bytes;
  for (unsigned i = 0; i < 300; ++i) bytes += static_cast<char>(i * 167);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    const auto all = bytes_of(bytes), start = all.first(cut), rest = all.subspan(cut);
    EXPECT_EQ(crc32(crc32(0, start.data(), start.size()), rest.data(), rest.size()), 0x628945EC) << cut;
  }
}

class Firmware : public DeviceTest {
 protected:
  Firmware() {
    device.files["/var/boardid"] = "027215\n";
    device.files["/proc/mtd"] = kTable + kernel_line("00fb0000");
  }
  void check(const std::string& name, const std::string& image, ImageFault fault) {
    EXPECT_EQ(kd_hnap_is_valid_firmware(bytes_of(image)), fault == ImageFault::none) << name;
    effects();
    EXPECT_EQ(check_image(bytes_of(image)), fault) << name;
  }
};

// Each check alone; a check that fails keeps the later ones from looking at the device.
TEST_F(Firmware, EachCheckHasItsCause) {
  const auto check_looks = [&](const char* name, const std::string& image, ImageFault fault,
                               std::size_t looks) {
    check(name, image, fault);
    EXPECT_EQ(effects().size(), looks) << name;
  };
  check_looks("bytes behind the data", image_with(Flaw::none) + "more", ImageFault::none, 2);
  check_looks("63 bytes", image_with(Flaw::short_image), ImageFault::size, 0);
  check_looks("64 bytes of no data", image_with(Flaw::none, 0, ""), ImageFault::none, 2);
  check_looks("64 bytes of missing data", image_with(Flaw::header_only), ImageFault::data_crc, 1);
  check_looks("magic", image_with(Flaw::magic), ImageFault::magic, 0);
  check_looks("header checksum", image_with(Flaw::header_crc), ImageFault::header_crc, 0);
  check_looks("maker's mark", image_with(Flaw::maker_magic), ImageFault::maker_magic, 0);
  check_looks("another board", image_with(Flaw::board), ImageFault::board, 1);
  check_looks("data checksum", image_with(Flaw::data_crc), ImageFault::data_crc, 1);
  check_looks("4 GB announced", image_with(Flaw::huge_data_size), ImageFault::data_crc, 1);
  check_looks("one byte too few", image_with(Flaw::data_size), ImageFault::data_crc, 1);
  // Made by another tool: what the header's checksum is taken over.
  const char header[] =
      "\x27\x05\x19\x56\x79\xe1\x6a\x95\xa1\xb2\xc3\xd4\x00\x00\x00\x03\x80\x00\x00\x00\x80\x00\x01\x00"
      "\x35\x24\x41\xc2\x05\x05\x02\x03"
      "test";
  std::string image(header, sizeof header - 1);
  image.resize(52);
  check_looks("by another tool", image + "KR_F" + std::string("\0\x02\x72\x15\0\0\0\0", 8) + "abc",
              ImageFault::none, 2);
}

TEST_F(Firmware, BoardNumbers) {
  const auto check_board = [&](const char* file, std::uint32_t board, bool fits) {
    device.files.erase("/var/boardid");
    if (file) device.files["/var/boardid"] = file;
    check(file ? file : "no file", image_with(Flaw::none, board),
          fits ? ImageFault::none : ImageFault::board);
  };
  check_board("027215\n", 0x027215, true);
  check_board("027215\n", 0x01027215, false);
  check_board("027215\n", 0, true);
  check_board(nullptr, 0x027216, true);
  check_board("ffFFff", 0x027216, true);
  check_board("0272159", 0x027215, true);
  check_board("", 0, true);
  check_board("", 0x027215, false);
  check_board("xyz\n", 0x027215, false);
}

TEST_F(Firmware, PartitionMustHoldTheData) {
  const auto check_table = [&](const std::string& table, const std::string& data, bool fits) {
    device.files["/proc/mtd"] = table;
    check(table, image_with(Flaw::none, 0, data), fits ? ImageFault::none : ImageFault::partition);
  };
  check_table(kTable + kernel_line("00000014"), kData, true);
  check_table(kTable + kernel_line("00000013"), kData, false);
  check_table(kTable + kernel_line("00000014") + kernel_line("00000001"), kData, true);
  check_table(kTable + kernel_line("ffffffff"), kData, true);
  check_table(kTable, "1", false);
  check_table(kTable, "", true);
  check_table("mtd1: 00fb0000 00010000 Kernel\n", kData, false);
  check_table("mtd1: 00fb0000 \"Kernel\"\n", kData, false);
  check_table("mtd0: " + std::string(511 - 6, 'f') + kernel_line("00fb0000"), kData, true);
  check_table("mtd1: 14 1 \"Kernel\"", kData, true);
  device.files.erase("/proc/mtd");
  check("no table", image_with(Flaw::none, 0, "1"), ImageFault::partition);
  EXPECT_EQ(effects().back(), "print mtd support not enable?");
  check("no table, nothing to hold", image_with(Flaw::none, 0, ""), ImageFault::none);
}

const std::string kGpio = "run gpio l 6 5 5 132 0 1&",
                  kWriter = "run /bin/mtd_write -o 0 -l 84 write /var/hnapUploadedFirmware Kernel&";

TEST_F(Firmware, ImageFileGoesWhenWritingOrFlashingFailed) {
  const std::string image = image_with(Flaw::none);
  const auto check_failure = [&](void (*prepare)(Device&), const Effects& expected) {
    device.broken = device.full = device.full_at_close = {};
    prepare(device);
    effects();
    EXPECT_EQ(kd_hnap_firmware_upgrade(bytes_of(image)), -1);
    Effects done = changes();
    EXPECT_TRUE(done.empty() || done.back() == "run rm " + kImageFile);
    done.resize(expected.size());
    EXPECT_EQ(done, expected);
    EXPECT_FALSE(device.files.contains(kImageFile));
  };
  check_failure([](Device& d) { d.broken.insert(kImageFile); }, {});
  check_failure([](Device& d) { d.full.insert(kImageFile); }, {"write " + kImageFile + " "});
  check_failure([](Device& d) { d.full_at_close.insert(kImageFile); },
                {"write " + kImageFile + " " + image, "run rm " + kImageFile});
  check_failure([](Device&) {}, {"write " + kImageFile + " " + image, kGpio, kWriter});
}

TEST_F(Firmware, FollowsTheWriter) {
  // What the writer reports, and when (its file is gone where the text is null); until it gives up or is
  // done.
  const auto check_reports = [&](std::vector<std::pair<unsigned, const char*>> reports, int progress,
                                 unsigned seconds) {
    device.files.erase("/var/upgrade_progress");
    effects();
    const unsigned start = device.seconds();
    for (const auto& [at, text] : reports) {
      device.at(start + at,
                text ? has_file("/var/upgrade_progress", text) : has_no_file("/var/upgrade_progress"));
    }
    device.sleep(0);  // what is there from the start
    EXPECT_EQ(kd_hnap_program_firmware(84), progress) << seconds;
    EXPECT_EQ(device.seconds() - start, seconds);
    Effects done = effects();
    done.resize(3);
    EXPECT_EQ(done, (Effects{kGpio, kWriter, "sleep 2"}));
    device.sleep(std::uint64_t{5000} * 1000000);  // reports that came too late
  };
  check_reports({{2, "0\n"}, {4, "40\n"}, {9, "100\n"}}, 100, 12);
  check_reports({}, -1, 32);
  check_reports({{30, "100"}}, 100, 32);
  check_reports({{32, "100"}}, -1, 32);
  check_reports({{2, "42"}, {10, nullptr}}, -1, 40);
  check_reports({{20, "42"}, {22, nullptr}}, -1, 52);  // a pause, then one that is too long
  check_reports({{2, "42"}, {3600, "100"}}, 100, 3602);
  check_reports({{2, "99"}, {4, "101"}}, 101, 6);
  check_reports({{2, "rubbish"}, {50, "100"}}, 100, 52);
  check_reports({{2, "-1"}}, -1, 32);
  check_reports({{2, "00001009"}}, 100, 4);  // only seven characters
  check_reports({{0, "100"}}, 100, 4);       // an old report counts
}

}  // namespace kd::test::upgrade
