// The configuration store, and the requests to the radio driver that read a word or a status.
#include "platform/nvram_config.hpp"

#include <cstring>

#include "platform/device_config.hpp"
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
    ConfigValue value = "before", cleared = "";
    row.read.copy(cleared, sizeof cleared);
    kd_get_nvram_config("Key", value);
    EXPECT_EQ(std::memcmp(value, cleared, sizeof value), 0) << row.name;
    EXPECT_EQ(heap.given_up(), row.given_up) << row.name;
  }
  const std::pair<std::string, int> numbers[] = {{" 12th", 12}, {"", 0}, {"1" + std::string(1024, '0'), 0}};
  for (const auto& [text, number] : numbers) {
    device.set("Number", text);
    EXPECT_EQ(nvram_number("Number"), number);
  }
}

TEST_F(Config, SetsOnlyNameAndPassword) {
  for (const unsigned index : {0U, 1U, 2U, 3U, 9U, 16U, 17U, 18U, 19U, 4000000000U}) {
    EXPECT_EQ(kd_hnap_set_config(ConfigIndex{index}, "x"), 0);
    ConfigValue value = "untouched";
    EXPECT_EQ(kd_hnap_get_config(ConfigIndex{index}, value), index == 0 ? 3 : 0);
    const bool has_value = index == 1 || index == 3 || index == 9 || index == 16;
    EXPECT_EQ(std::strcmp(value, "untouched") != 0, has_value) << index;
  }
  EXPECT_EQ(effects(), (Effects{"nvram set HostName=x", "nvram set Password=x"}));
  EXPECT_EQ(kd_set_nvram_config("HostName", nullptr), 0);
  EXPECT_EQ(device.store["HostName"], "Attic") << "not committed yet";
  EXPECT_EQ(kd_hnap_commit_config(), 0);
  EXPECT_EQ(device.store["HostName"], "");
  device.fail({1});
  EXPECT_EQ(kd_set_nvram_config("Key", "x"), -1);
  device.fail({1});
  EXPECT_EQ(kd_hnap_commit_config(), -1);
}

TEST_F(Config, ReadsWordsOfTheEeprom) {
  const std::pair<std::string, int> rows[] = {
      {"\n[0x01D3]:0x7F41 ", 0x7F41},
      {"\n[0x01D3]:", 0},
      {"", 0},
      {std::string(4095, 'x'), 0},
      {"\n[0x01D3]:0x" + std::string(4082, '0') + "41", 4},  // without a terminator the last byte is lost
  };
  for (const auto& [answer, word] : rows) {
    device.eeprom["01D3"] = answer;
    EXPECT_EQ(getEEPROM("01D3"), word) << answer.substr(0, 40);
  }
  effects();
  EXPECT_EQ(getEEPROM("01D4"), 0);
  EXPECT_EQ(effects(), (Effects{"ioctl 0x8be7 ra0", "print \nrtuser::error::get eeprom\n"}));
  EXPECT_EQ(kd_get_eeprom("01D4", "an interface too long"), 0);
  EXPECT_EQ(effects(), (Effects{"ioctl 0x8be7 an interface to"}));
  device.broken.insert("socket");
  EXPECT_EQ(getEEPROM("01D3"), -1);
  EXPECT_EQ(effects(), (Effects{"print \nrtuser::error::Open socket error!\n"}));
  EXPECT_EQ(kd_get_eeprom("01D3", "ra0"), -1);
  EXPECT_EQ(effects(), Effects{});
}

TEST_F(Config, ReadsTheDriversStatuses) {
  device.driver = [](DriverRequest& request) {
    const bool is_link = request.number == 0x8BE1 && request.flags == 0x060B;
    const bool is_wps = request.number == 0x8BEE && request.flags == 0x0751;
    if (request.length != 4 || request.ifname != "ra0" || !(is_link || is_wps)) return false;
    const std::uint32_t status = is_link ? 0x80000022 : 0x80000023;
    std::memcpy(request.data, &status, sizeof status);
    return true;
  };
  EXPECT_EQ(RP_getRPStatus("ra0"), 0x80000022U);
  EXPECT_EQ(kd_get_wsc_status("ra0"), 0x80000023U);
  EXPECT_EQ(kd_get_wsc_status("ra1") + RP_getRPStatus("ra1"), 0U);
  device.broken.insert("socket");
  EXPECT_EQ(kd_get_wsc_status("ra0") + RP_getRPStatus("ra0"), 0U);
}

}  // namespace
}  // namespace kd::test
