#include "platform/nvram_config.hpp"

#include <cstring>

#include "platform/radio.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using Config = DeviceTest;

TEST_F(Config, BoundsTheValuesThatItReads) {
  const struct {
    const char* name;
    std::optional<std::string> stored;
    std::string read;
    std::size_t given_up;
  } rows[] = {
      {"value", "abc", "abc", 0},
      {"absent", std::nullopt, "", 0},
      {"1023 characters", std::string(1023, 'v'), std::string(1023, 'v'), 0},
      {"1024 characters leave what was there", std::string(1024, 'v'), "before", 1},
  };
  for (const auto& row : rows) {
    device.library.erase("Key");
    if (row.stored) device.set("Key", *row.stored);
    config_value value = "before";
    kd_get_nvram_config(nullptr, "Key", value);
    EXPECT_EQ(std::string{value}, row.read) << row.name;
    EXPECT_EQ(heap.given_up(), row.given_up) << row.name;
    const bool cleared = std::count(value + row.read.size(), std::end(value), '\0') ==
                         static_cast<long>(sizeof value - row.read.size());
    EXPECT_TRUE(cleared) << row.name;
  }
}

TEST_F(Config, ReadsPropertiesByTheirNumber) {
  device.set("Language", "fr");
  const std::map<unsigned, std::string> texts = {{1, "Attic"},
                                                 {3, "Corvane LLC"},
                                                 {4, "NX220"},
                                                 {5, "Switchable Wireless-N Signal Extender"},
                                                 {6, "Ver 2"},
                                                 {7, "3.1.07, build 2, Apr 19, 2014"},
                                                 {8, "/wireless/wireless_basic.shtml"},
                                                 {9, "/status/device_status.shtml"},
                                                 {16, "fr"}};
  for (unsigned index = 0; index <= 18; ++index) {
    config_value value = "untouched";
    EXPECT_EQ(kd_hnap_get_config(nullptr, index, value), index == 0 ? 3 : 0) << index;
    EXPECT_EQ(value, texts.contains(index) ? texts.at(index) : "untouched") << index;
  }
}

TEST_F(Config, WritesOnlyNameAndPassword) {
  for (const unsigned index : {0U, 1U, 2U, 3U, 9U, 16U, 17U, 18U, 19U, 4000000000U}) {
    EXPECT_EQ(kd_hnap_set_config(nullptr, index, "x"), 0);
  }
  EXPECT_EQ(effects(), (std::vector<std::string>{"nvram set HostName=x", "nvram set Password=x"}));
  EXPECT_EQ(device.store["HostName"], "Attic") << "not committed yet";
  EXPECT_EQ(kd_hnap_commit_config(nullptr), 0);
  EXPECT_EQ(device.store["HostName"], "x");
  kd_set_nvram_config(nullptr, "HostName", nullptr);
  EXPECT_EQ(device.library["HostName"], "");
}

TEST_F(Config, PassesTheStoresResultOn) {
  device.fail({1});
  EXPECT_EQ(kd_set_nvram_config(nullptr, "Key", "x"), -1);
  device.fail({1});
  EXPECT_EQ(kd_hnap_commit_config(nullptr), -1);
}

TEST_F(Config, ReadsNumbersLeniently) {
  device.set("Number", " 12th");
  EXPECT_EQ(nvram_number(nullptr, "Number"), 12);
  EXPECT_EQ(nvram_number(nullptr, "None"), 0);
  device.set("Number", "1" + std::string(1024, '0'));
  EXPECT_EQ(nvram_number(nullptr, "Number"), 0);
}

using Eeprom = DeviceTest;

TEST_F(Eeprom, ReadsTheDriversAnswer) {
  const struct {
    const char* name;
    std::string answer;
    int word;
  } rows[] = {
      {"word", "\n[0x01D3]:0x7F41 ", 0x7F41},
      {"no value", "\n[0x01D3]:", 0},
      {"empty", "", 0},
      {"fills its buffer", std::string(4095, 'x'), 0},
      {"no terminator: the last byte is lost", "\n[0x01D3]:0x" + std::string(4082, '0') + "41", 4},
  };
  for (const auto& row : rows) {
    device.eeprom["01D3"] = row.answer;
    EXPECT_EQ(getEEPROM("01D3"), row.word) << row.name;
  }
}

TEST_F(Eeprom, ReportsItsFailures) {
  EXPECT_EQ(getEEPROM("01D3"), 0);
  EXPECT_EQ(effects(), (std::vector<std::string>{"ioctl 0x8be7 ra0", "print \nrtuser::error::get eeprom\n"}));
  EXPECT_EQ(kd_get_eeprom(nullptr, "01D3", "an interface too long"), 0);
  EXPECT_EQ(effects(), (std::vector<std::string>{"ioctl 0x8be7 an interface to"}));
  device.broken.insert("socket");
  EXPECT_EQ(getEEPROM("01D3"), -1);
  EXPECT_EQ(effects(), (std::vector<std::string>{"print \nrtuser::error::Open socket error!\n"}));
  EXPECT_EQ(kd_get_eeprom(nullptr, "01D3", "ra0"), -1);
  EXPECT_EQ(effects(), std::vector<std::string>{});
}

}  // namespace
}  // namespace kd::test
