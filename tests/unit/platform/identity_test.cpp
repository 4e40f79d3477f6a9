#include "platform/identity.hpp"

#include "support/fixture.hpp"

namespace kd::test::identity {

using Identity = DeviceTest;

TEST_F(Identity, TellsTheModelsApartByTheBoardId) {
  // The whole first line counts for the model's name, the first word for the rest.
  const std::string first = "/Ver 2/3.1.07, build 2, Apr 19, 2014",
                    second = "/ver 1/1.4.02, build 2, Apr 19, 2014";
  const std::string blanks(300, ' ');
  expect_each(
      [&](const std::string& board) {
        device.files["/var/boardid"] = board;
        ConfigValue model = "", revision = "", version = "";
        EXPECT_EQ(
            kd_get_model_name(model) + kd_get_model_reversion(revision) + kd_get_firmware_version(version),
            0);
        return std::string{model} + "/" + revision + "/" + version;
      },
      "027215", "NX410W" + second, "027215\n", "NX220" + second, "\n \n027215\n", "NX220" + second,
      "027215 b", "NX220" + second, "0272150123456789", "NX220" + first, blanks + "027215", "NX220" + second,
      "", "NX220" + first, "0\n027215", "NX220" + first);
  device.broken.insert("cat /var/boardid");
  ConfigValue model = "untouched";
  EXPECT_EQ(kd_get_model_name(model), 1);
  EXPECT_STREQ(model, "untouched");
}

TEST(FirmwareVersion, IsSplitIntoVersionAndDate) {
  const std::string w300(300, 'w'), w127(127, 'w'), d60(60, 'd'), m60(60, 'm');
  const std::pair<std::string, std::string> rows[] = {
      {"x, build 1, 5-Jun-2015", "0/x, build 1/2015-06-05T00:00:00"},
      {"x, build 1,dec 9, 2015", "0/x, build 1/2015-12-09T00:00:00"},
      {"x, b,  Oct 10, 2015", "0/x, b/2015-10-10T00:00:00"},
      {"x, b, 09-JAN-2015", "0/x, b/2015-01-009T00:00:00"},
      {"x, b, June 0, 2015", "0/x, b/2015-June-0T00:00:00"},
      {"x, b, Jun 2015", "-1/x, b/Jun 2015"},
      {"x, b,", "-1/x, b/"},
      {"x, b", "-1//"},
      {"x", "-1//"},
      {w300 + ", b, May 1, 2015", "0/" + w127 + "/2015-05-01T00:00:00"},
      {"x, b, " + w300, "-1/x, b/" + w127},
      {"x, b, " + m60 + " " + d60 + " 2015", "0/x, b/2015-" + d60 + "-" + m60 + "T"}};
  for (const auto& [text, split] : rows) {
    VersionField version = "", date = "";
    const int result = split_firmware_version(text.c_str(), version, date);
    EXPECT_EQ(std::to_string(result) + "/" + version + "/" + date, split) << text;
  }
  std::string months;
  for (std::string name :
       {"jan", "FEB", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"}) {
    EXPECT_EQ(kd_hnap_translate_month_string(name.data()), 0);
    months += name.c_str();
  }
  EXPECT_EQ(months, "010203040506070809101112");
}

TEST_F(Identity, ReadsTheSerialNumber) {
  has_serial_number("SN-12345678901")(device);
  char serial[kSerialNumberSize];
  std::fill(std::begin(serial), std::end(serial), 'x');
  EXPECT_EQ(kd_hnap_get_serial_number(serial), 0);
  EXPECT_STREQ(serial, "SN-12345678901");
  EXPECT_EQ(effects()[1], "usleep 1000");
  device.broken.insert("socket");
  kd_hnap_get_serial_number(serial);
  EXPECT_EQ(serial, std::string(14, '\xff')) << "the failures' -1, low bytes";
  EXPECT_EQ(count(effects(), "usleep 1000"), 13) << "between them";
}

}  // namespace kd::test::identity
