// The configuration store, the words of the radio's EEPROM, and what the device is: board, firmware and
// serial number.
#include "platform/identity.hpp"
#include "platform/nvram_config.hpp"
#include "platform/radio.hpp"
#include "support/fixture.hpp"

namespace kd::test::identity {

using Config = DeviceTest;
using Identity = DeviceTest;

TEST_F(Config, BoundsTheValuesThatItReads) {
  const std::string longest(1023, 'v');
  // A longer one leaves what was there, and is given up.
  const std::pair<std::string, std::string> rows[] = {
      {"", ""}, {longest, longest}, {longest + "v", "before"}};
  for (const auto& [stored, read] : rows) {
    if (!stored.empty()) device.set("Key", stored);
    ConfigValue value = "before";
    kd_get_nvram_config("Key", value);
    EXPECT_EQ((std::string{value, sizeof value}), read + std::string(sizeof value - read.size(), '\0'));
  }
  has_stored({{"Number", " 12th"}, {"Long", "1" + longest + "0"}})(device);
  expect_each(nvram_number, "Number", 12, "Long", 0, "None", 0);
}

TEST_F(Config, SetsOnlyNameAndPassword) {
  std::string readable;
  for (unsigned index = 0; index < 20; ++index) {
    EXPECT_EQ(kd_hnap_set_config(ConfigIndex{index}, "x"), 0);
    ConfigValue value = "untouched";
    EXPECT_EQ(kd_hnap_get_config(ConfigIndex{index}, value), index == 0 ? 3 : 0);
    if (std::string_view{value} != "untouched") readable += std::to_string(index) + " ";
  }
  EXPECT_EQ(readable, "1 3 4 5 6 7 8 9 16 ");
  EXPECT_EQ(changes(), (Effects{"nvram set HostName=x", "nvram set Password=x"}));
  EXPECT_EQ(kd_set_nvram_config("HostName", nullptr), 0);
  EXPECT_EQ(device.store["HostName"], "Attic") << "not committed yet";
  EXPECT_EQ(kd_hnap_commit_config(), 0);
  EXPECT_EQ(device.store["HostName"], "");
  device.fail({1});
  EXPECT_EQ(kd_set_nvram_config("Key", "x"), -1);
  device.fail({1});
  EXPECT_EQ(kd_hnap_commit_config(), -1);
}

TEST_F(Config, WordsOfTheEeprom) {
  // Without a terminator the last byte is lost.
  expect_each(
      [&](const std::string& answer) {
        device.eeprom["01D3"] = answer;
        return getEEPROM("01D3");
      },
      "\n[0x01D3]:0x7F41 ", 0x7F41, "\n[0x01D3]:", 0, "", 0, std::string(4095, 'x'), 0,
      "\n[0x01D3]:0x" + std::string(4082, '0') + "41", 4);
  effects();
  EXPECT_EQ(getEEPROM("01D4"), 0);
  EXPECT_EQ(kd_get_eeprom("01D4", "an interface too long"), 0);
  device.broken.insert("socket");
  EXPECT_EQ(getEEPROM("01D3"), -1);
  EXPECT_EQ(kd_get_eeprom("01D3", "ra0"), -1);
  EXPECT_EQ(effects(),
            (Effects{"ioctl 0x8be7 ra0", "print \nrtuser::error::get eeprom\n",
                     "ioctl 0x8be7 an interface to", "print \nrtuser::error::Open socket error!\n"}));
}

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
      {"x, b, Jun 2015", "-1/x, b/Jun 2015"},
      {"x, b,", "-1/x, b/"},
      {"x, b", "-1//"},
      {w300 + ", b, May 1, 2015", "0/" + w127 + "/2015-05-01T00:00:00"},
      {"x, b, " + w300, "-1/x, b/" + w127},
      {"x, b, " + m60 + " " + d60 + " 2015", "0/x, b/2015-" + d60 + "-" + m60 + "T"}};
  for (const auto& [text, split] : rows) {
    VersionField version = "", date = "";
    const int result = split_firmware_version(text.c_str(), version, date);
    EXPECT_EQ(std::to_string(result) + "/" + version + "/" + date, split) << text;
  }
  std::string months;
  for (char month[][4] = {"jan", "FEB", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
       char* name : month) {
    kd_hnap_translate_month_string(name);
    months += name;
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
