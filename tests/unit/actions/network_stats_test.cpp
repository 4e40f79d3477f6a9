#include "platform/if_statistics.hpp"

#include "support/action_rows.hpp"

namespace kd::test::network_stats {

constexpr const char* kWireless = "cat /proc/net/dev | grep ra0";
constexpr const char* kWired = "cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2";

const Device::Step kCounters = in_turn(
    {has_stored({{"WirelessMode", "9"}}),
     prints(kWireless,
            "   ra0:    1000      10    1    2    3     4    5   6     2000      20    7    8    9\n"),
     prints(kWired,
            "  eth2:4294967295 4294967294 0 0 0 0 0 0 4294967297 18446744073709551615 0 0 0 0 0 0\n")});

ActionRow row(const char* name, const std::string& reply, Device::Step prepare) {
  ActionRow row{name, "GetNetworkStats", "", reply, {}, std::move(prepare)};
  row.reads = true;
  return row;
}
const ActionRow kRows[] = {
    row("both ports, counters of 32 bits",
        "OK|Stats{NetworkStats{PortName=WLAN 802.11n|PacketsReceived=10|PacketsSent=20|BytesReceived=1000"
        "|BytesSent=2000}|NetworkStats{PortName=LAN|PacketsReceived=4294967294|PacketsSent=4294967295"
        "|BytesReceived=4294967295|BytesSent=1}}",
        kCounters),
    row("lines that break off",
        "OK|Stats{NetworkStats{PortName=|PacketsReceived=7|PacketsSent=0|BytesReceived=5|BytesSent=0}"
        "|NetworkStats{PortName=LAN|PacketsReceived=0|PacketsSent=0|BytesReceived=0|BytesSent=0}}",
        in_turn({has_stored({{"WirelessMode", "5"}}), prints(kWireless, "ra0:5 7 1 2"),
                 prints(kWired, "eth2:")})),
    row("no wireless pipe", "ERROR|Stats=", in_turn({kCounters, cannot_open(kWireless)})),
    row("no wired pipe", "ERROR|Stats=", in_turn({kCounters, cannot_open(kWired)})),
};
const bool kAdded = add_rows("NetworkStats", kRows);

using Ports = DeviceTest;

TEST_F(Ports, HaveNames) {
  std::string letters;
  for (int mode = -1; mode < 13; ++mode) {
    const std::string_view name = wireless_port_name(mode) ? wireless_port_name(mode) : "WLAN 802.11-";
    EXPECT_EQ(name.substr(0, 11), "WLAN 802.11") << mode;
    letters += name.substr(11);
  }
  EXPECT_EQ(letters, "-gba-g-nnnnnn-");
  IfStatistics record{};
  EXPECT_EQ(kd_hnap_get_if_statistics("br0", false, record), -1);
  EXPECT_EQ(kd_hnap_get_if_statistics("ra0", true, record), 0);
}

}  // namespace kd::test::network_stats
