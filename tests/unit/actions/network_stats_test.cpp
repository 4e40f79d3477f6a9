// GetNetworkStats and DownloadSpeedTest.
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

constexpr const char *kDownload = "DownloadSpeedTest", *kTooLarge = "ERROR_BUFFER_TOO_LARGE";

ActionRow download(const char* arguments, const char* reply) {
  return {.name = arguments, .action = kDownload, .arguments = arguments, .reply = reply, .reads = true};
}
const ActionRow kDownloads[] = {
    download("Bytes=10|BufferSize=1024", "OK|ByteStream=yyyyyyyyyy"),
    download("Bytes=many|BufferSize=1", "OK|ByteStream="),
    download("BufferSize=1k|Bytes= +3x", "OK|ByteStream=yyy"),
    download("Bytes=-1|BufferSize=1024", "ERROR"),
    download("Bytes=9|Bytes=|BufferSize=1024", "ERROR"),
    download("Bytes=10|BufferSize=0", "ERROR"),
    download("Bytes=99999999999999999999|BufferSize=1", kTooLarge),
};
const bool kDownloadsAdded = add_rows(kDownload, kDownloads);

using SpeedTest = DeviceTest;

TEST_F(SpeedTest, SendsTheLargestStream) {
  const auto answer = [this](std::size_t bytes, const char* asked_in) {
    return ask(soap(kDownload, "BufferSize=1|Bytes=" + std::to_string(bytes), asked_in));
  };
  const std::pair<const char*, std::size_t> rows[] = {
      {kCore, 2099571}, {kExtenderA, 2099563}, {kExtenderB, 2099561}};
  for (const auto& [asked_in, bytes] : rows) {
    const std::string largest = reply_of(kDownload, "OK|ByteStream=" + std::string(bytes, 'y'), asked_in);
    EXPECT_EQ(largest.size() + 1, 2100000U);
    EXPECT_TRUE(answer(bytes, asked_in) == largest);
    EXPECT_EQ(answer(bytes + 1, asked_in), reply_of(kDownload, kTooLarge, asked_in));
  }
}

}  // namespace kd::test::network_stats
