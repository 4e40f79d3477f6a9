// The configuration store, and the words of the radio's EEPROM.
#include "platform/nvram_config.hpp"

#include "platform/identity.hpp"
#include "platform/radio.hpp"
#include "support/fixture.hpp"

namespace kd::test::nvram_config {

using Config = DeviceTest;

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
  EXPECT_EQ(heap.given_up(), 1U);
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

}  // namespace kd::test::nvram_config
