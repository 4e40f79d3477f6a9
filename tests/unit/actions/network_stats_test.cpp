#include "platform/if_statistics.hpp"

#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using Ports = DeviceTest;

constexpr const char* kWireless = "cat /proc/net/dev | grep ra0";
constexpr const char* kWired = "cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2";

const Device::Step kCounters = in_turn(
    {has_stored({{"WirelessMode", "9"}}),
     prints(kWireless,
            "   ra0:    1000      10    1    2    3     4    5   6     2000      20    7    8    9\n"),
     prints(kWired,
            "  eth2:4294967295 4294967294 0 0 0 0 0 0 4294967297 18446744073709551615 0 0 0 0 0 0\n")});

std::string port(const std::string& name, const std::string& packets_in, const std::string& packets_out,
                 const std::string& bytes_in, const std::string& bytes_out) {
  return "NetworkStats{PortName=" + name + "|PacketsReceived=" + packets_in + "|PacketsSent=" + packets_out +
         "|BytesReceived=" + bytes_in + "|BytesSent=" + bytes_out + "}";
}
const std::string kNoTraffic = port("LAN", "0", "0", "0", "0");

ActionRow row(const char* name, const std::string& reply, Device::Step prepare) {
  return {.name = name,
          .action = "GetNetworkStats",
          .reply = reply,
          .prepare = std::move(prepare),
          .reads = true};
}
const ActionRow kRows[] = {
    row("both ports, counters of 32 bits",
        "OK|Stats{" + port("WLAN 802.11n", "10", "20", "1000", "2000") + "|" +
            port("LAN", "4294967294", "4294967295", "4294967295", "1") + "}",
        kCounters),
    row("interfaces that are not there",
        "OK|Stats{" + port("WLAN 802.11g", "0", "0", "0", "0") + "|" + kNoTraffic + "}", nullptr),
    row("line that breaks off, mode without a name",
        "OK|Stats{" + port("", "7", "0", "5", "0") + "|" + kNoTraffic + "}",
        in_turn({has_stored({{"WirelessMode", "5"}}), prints(kWireless, "ra0:5 7 1 2")})),
    row("no wireless pipe", "ERROR|Stats{}", in_turn({kCounters, cannot_open(kWireless)})),
    row("no wired pipe", "ERROR|Stats{}", in_turn({kCounters, cannot_open(kWired)})),
};
const bool kAdded = add_rows("NetworkStats", kRows);

TEST_F(Ports, NamesTheWirelessPort) {
  std::string letters;
  for (int mode = -1; mode < 13; ++mode) {
    const char* name = wireless_port_name(mode);
    EXPECT_TRUE(!name || std::string_view{name}.starts_with("WLAN 802.11"));
    letters += name ? std::string{name}.substr(11) : "-";
  }
  EXPECT_EQ(letters, "-gba-g-nnnnnn-");
  IfStatistics record{};
  EXPECT_EQ(kd_hnap_get_if_statistics("br0", false, record), -1);
  EXPECT_EQ(effects(), Effects{});
}

}  // namespace
}  // namespace kd::test
