// GetNetworkStats: complete, but in the table only on request.
#include "platform/if_statistics.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

constexpr const char* kWireless = "cat /proc/net/dev | grep ra0";
constexpr const char* kWired = "cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2";

void prepare_counters(Device& device) {
  device.set("WirelessMode", "9");
  device.outputs[kWireless] =
      "   ra0:    1000      10    1    2    3     4          5         6     2000      20"
      "    7    8    9    10       11          12\n";
  device.outputs[kWired] =
      "  eth2:4294967295 4294967294 0 0 0 0 0 0 4294967297 18446744073709551615 0 0 0 0 0 0\n";
}

std::string port(const std::string& name, const std::string& packets_in, const std::string& packets_out,
                 const std::string& bytes_in, const std::string& bytes_out) {
  return "<NetworkStats>\n<PortName>" + name + "</PortName>\n<PacketsReceived>" + packets_in +
         "</PacketsReceived>\n<PacketsSent>" + packets_out + "</PacketsSent>\n<BytesReceived>" + bytes_in +
         "</BytesReceived>\n<BytesSent>" + bytes_out + "</BytesSent>\n</NetworkStats>\n";
}

std::string stats(const std::string& ports) {
  return "<GetNetworkStatsResult>OK</GetNetworkStatsResult>\n<Stats>\n" + ports + "</Stats>\n";
}

const std::string kFailed = "<GetNetworkStatsResult>ERROR</GetNetworkStatsResult>\n<Stats></Stats>\n";

ActionCase row(const char* name, const std::string& reply, Device::Step prepare) {
  ActionCase made{name, "GetNetworkStats", {}, reply, {}, std::move(prepare)};
  made.varies = true;
  made.handler = get_network_stats;
  return made;
}

const ActionCase kRows[] = {
    row("both ports, counters of 32 bits",
        stats(port("WLAN 802.11n", "10", "20", "1000", "2000") +
              port("LAN", "4294967294", "4294967295", "4294967295", "1")),
        prepare_counters),
    row("interfaces that are not there",
        stats(port("WLAN 802.11g", "0", "0", "0", "0") + port("LAN", "0", "0", "0", "0")), nullptr),
    row("line that breaks off", stats(port("", "7", "0", "5", "0") + port("LAN", "0", "0", "0", "0")),
        in_turn({has_stored({{"WirelessMode", "5"}}), prints(kWireless, "ra0:5 7 1 2")})),
    row("no wireless pipe", kFailed, in_turn({prepare_counters, cannot_open(kWireless)})),
    row("no wired pipe", kFailed, in_turn({prepare_counters, cannot_open(kWired)})),
};
INSTANTIATE_TEST_SUITE_P(NetworkStats, ActionTest, ::testing::ValuesIn(kRows), row_name);

TEST(NetworkStats, PortNames) {
  const std::string b = "WLAN 802.11b", g = "WLAN 802.11g", n = "WLAN 802.11n";
  const std::string names[] = {g, b, "WLAN 802.11a", "", g, "", n, n, n, n, n, n, ""};
  for (int mode = 0; mode < 13; ++mode) {
    const char* name = wireless_port_name(mode);
    EXPECT_EQ(name ? name : "", names[mode]) << mode;
  }
}

using IfStatistics = DeviceTest;

TEST_F(IfStatistics, OnlyTwoInterfaces) {
  if_statistics record{};
  EXPECT_EQ(kd_hnap_get_if_statistics(nullptr, "br0", false, record), -1);
  EXPECT_EQ(effects(), std::vector<std::string>{});
}

}  // namespace
}  // namespace kd::test
