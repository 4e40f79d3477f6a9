#include "platform/identity.hpp"

#include "base/text.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using Identity = DeviceTest;

TEST_F(Identity, TellsTheModelsApartByTheBoardId) {
  const std::string first = "Ver 2 / 3.1.07, build 2, Apr 19, 2014",
                    second = "ver 1 / 1.4.02, build 2, Apr 19, 2014";
  const struct {
    const char* name;
    std::optional<std::string> board;
    std::string model;   // the whole first line counts
    std::string others;  // the first word counts
  } rows[] = {
      {"second model", "027215", "NX410W", second},
      {"with a line end", "027215\n", "NX220", second},
      {"behind blank lines", "\n \n027215\n", "NX220", second},
      {"more words", "027215 b", "NX220", second},
      {"longer word", "0272150123456789", "NX220", first},
      {"word behind a long line of blanks", std::string(300, ' ') + "027215", "NX220", second},
      {"no file", std::nullopt, "NX220", first},
  };
  for (const auto& row : rows) {
    device.files.erase("/var/boardid");
    if (row.board) device.files["/var/boardid"] = *row.board;
    ConfigValue model = "", revision = "", version = "";
    EXPECT_EQ(kd_get_model_name(model), 0);
    EXPECT_EQ(model, row.model) << row.name;
    EXPECT_EQ(kd_get_model_reversion(revision) + kd_get_firmware_version(version), 0);
    EXPECT_EQ(std::string{revision} + " / " + version, row.others) << row.name;
  }
  effects();
  device.broken.insert("cat /var/boardid");
  ConfigValue value = "untouched";
  EXPECT_EQ(kd_get_model_name(value), 1);
  EXPECT_STREQ(value, "untouched");
  EXPECT_EQ(effects(), (Effects{"pipe cat /var/boardid", "print File NULL"}));
  EXPECT_EQ(kd_get_model_reversion(value), 0);
  EXPECT_STREQ(value, "Ver 2");
}

TEST_F(Identity, KnowsItsType) {
  const struct {
    const char *operation_mode, *eth_convert, *ap_client;
    int type;
  } rows[] = {{"1", "1", "1", 2}, {"2", "1", "1", 0}, {"-1", "1", "1", 0}, {"0", "1", "1", 1},
              {"0", "0", "1", 3}, {"0", "2", "1", 3}, {"0", "0", "0", 0},  {"x", "", " 1", 3}};
  for (const auto& row : rows) {
    has_stored({{"OperationMode", row.operation_mode},
                {"ethConvert", row.eth_convert},
                {"apClient", row.ap_client}})(device);
    EXPECT_EQ(kd_get_device_type(), row.type)
        << row.operation_mode << "/" << row.eth_convert << "/" << row.ap_client;
  }
}

TEST(FirmwareVersion, IsSplitIntoVersionAndDate) {
  const std::string long_word(300, 'w');
  const struct {
    std::string text;
    int result;
    std::string version, date;
  } rows[] = {
      {"x, build 1, 5-Jun-2015", 0, "x, build 1", "2015-06-05T00:00:00"},
      {"x, build 1,dec 9, 2015", 0, "x, build 1", "2015-12-09T00:00:00"},
      {"x, build 1,  Oct 10, 2015", 0, "x, build 1", "2015-10-10T00:00:00"},
      {"x, build 1, 09-JAN-2015", 0, "x, build 1", "2015-01-009T00:00:00"},
      {"x, build 1, June 1, 2015", 0, "x, build 1", "2015-June-01T00:00:00"},
      {"x, build 1, May 0, 2015", 0, "x, build 1", "2015-05-0T00:00:00"},
      {"x, build 1, Jun 2015", -1, "x, build 1", "Jun 2015"},
      {"x, build 1,", -1, "x, build 1", ""},
      {"x, build 1", -1, "", ""},
      {"x", -1, "", ""},
      {long_word + ", b, May 5, 2015", 0, std::string(127, 'w'), "2015-05-05T00:00:00"},
      {"x, b, " + long_word, -1, "x, b", std::string(127, 'w')},
      {"x, b, " + std::string(60, 'm') + " " + std::string(60, 'd') + " 2015", 0, "x, b",
       "2015-" + std::string(60, 'd') + "-" + std::string(60, 'm') + "T"},
  };
  for (const auto& row : rows) {
    VersionField version = "", date = "";
    EXPECT_EQ(split_firmware_version(row.text.c_str(), version, date), row.result) << row.text;
    EXPECT_EQ(version, row.version) << row.text;
    EXPECT_EQ(date, row.date) << row.text;
  }
  std::string months;
  for (const char* name :
       {"jan", "FEB", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"}) {
    char text[4];
    copy_text(text, name);
    EXPECT_EQ(kd_hnap_translate_month_string(text), 0);
    months += text;
  }
  EXPECT_EQ(months, "010203040506070809101112");
}

TEST_F(Identity, ReadsTheSerialNumber) {
  put_serial_number(device, "SN-12345678901");
  char serial[kSerialNumberSize] = "";
  EXPECT_EQ(kd_hnap_get_serial_number(serial), 0);
  EXPECT_STREQ(serial, "SN-12345678901");
  const Effects done = effects();
  ASSERT_EQ(done.size(), 27U);
  for (std::size_t i = 0; i < done.size(); ++i)
    EXPECT_EQ(done[i], i % 2 ? "usleep 1000" : "ioctl 0x8be7 ra0");
  device.broken.insert("socket");
  kd_hnap_get_serial_number(serial);
  EXPECT_EQ(serial, std::string(14, '\xff')) << "the failures' -1, low bytes";
}

}  // namespace
}  // namespace kd::test
