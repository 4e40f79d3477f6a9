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

std::string port(const char* name, const char* packets_in, const char* packets_out, const char* in,
                 const char* out) {
  char text[300];
  std::snprintf(text, sizeof text,
                "NetworkStats{PortName=%s|PacketsReceived=%s|PacketsSent=%s|BytesReceived=%s|BytesSent=%s}",
                name, packets_in, packets_out, in, out);
  return text;
}
ActionRow row(const char* name, const std::string& ports, Device::Step prepare) {
  return {.name = name,
          .action = "GetNetworkStats",
          .reply = (ports.empty() ? "ERROR|Stats{" : "OK|Stats{") + ports + "}",
          .prepare = std::move(prepare),
          .reads = true};
}
const ActionRow kRows[] = {
    row("both ports, counters of 32 bits",
        port("WLAN 802.11n", "10", "20", "1000", "2000") + "|" +
            port("LAN", "4294967294", "4294967295", "4294967295", "1"),
        kCounters),
    row("nothing there, or a line that breaks off",
        port("", "7", "0", "5", "0") + "|" + port("LAN", "0", "0", "0", "0"),
        in_turn({has_stored({{"WirelessMode", "5"}}), prints(kWireless, "ra0:5 7 1 2")})),
    row("no wireless pipe", "", in_turn({kCounters, cannot_open(kWireless)})),
    row("no wired pipe", "", in_turn({kCounters, cannot_open(kWired)})),
};
const bool kAdded = add_rows("NetworkStats", kRows);

TEST(Ports, HaveNames) {
  std::string letters;
  for (int mode = -1; mode < 13; ++mode) {
    const char* name = wireless_port_name(mode);
    EXPECT_TRUE(!name || std::string_view{name}.starts_with("WLAN 802.11"));
    letters += name ? std::string{name}.substr(11) : "-";
  }
  EXPECT_EQ(letters, "-gba-g-nnnnnn-");
  IfStatistics record{};
  EXPECT_EQ(kd_hnap_get_if_statistics("br0", false, record), -1);
}

}  // namespace kd::test::network_stats
