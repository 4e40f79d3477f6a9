// The uplink as the driver's tools describe it: GetWirelessClientConnectionInfo and its variant for the band.
#include "platform/repeater_conninfo.hpp"

#include <cstring>

#include "platform/station_table.hpp"
#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

using Uplink = DeviceTest;

const std::string kPoint = "02:11:22:33:44:01";

TEST(Iwconfig, EachMarkerMayBeMissing) {
  const struct {
    std::string text, ssid;
    int channel;
    std::string access_point;
  } rows[] = {
      {iwconfig("Den", "6", kPoint), "Den", 6, kPoint},
      {iwconfig("a\"b \" c", "36", kPoint), "a\"b \" c", 36, kPoint},
      {iwconfig("a\"  b", "6", kPoint), "a", 6, kPoint},  // quote and two blanks end it
      {iwconfig("Den", "1613", kPoint), "Den", 161, kPoint},
      {"Channel=6  Access Point: 02:11:22:33:44:01", "", 6, kPoint},
      {"ESSID:\"Den\" Channel=6  Access Point: 02:11:22:33:44:01", "", 6, kPoint},
      {"ESSID:\"Den\"  Access Point: 02:11:22:33:44:01", "Den", 0, kPoint},
      {"ESSID:\"Den\"  Channel=6", "Den", 6, ""},
      {"ESSID:\"Den\"  Channel=6  Access Point: 02:11:22:33:44:0", "Den", 6, ""},
      {"Channel=1 ESSID:\"Den\"  Channel=6", "Den", 6, ""},
      {"ESSID:\"Den\"  Channel=off", "Den", 0, ""},
  };
  for (const auto& row : rows) {
    const IwconfigLink link = parse_iwconfig(row.text);
    EXPECT_EQ(link.ssid, row.ssid) << row.text;
    EXPECT_EQ(link.channel, row.channel) << row.text;
    EXPECT_EQ(link.access_point, row.access_point) << row.text;
  }
  const std::string text = iwconfig("Den", "6", kPoint);
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string exact = text.substr(0, length);
    const IwconfigLink link = parse_iwconfig(exact);
    EXPECT_TRUE(link.ssid.empty() || link.ssid == "Den");
    EXPECT_TRUE(link.access_point.empty() || link.access_point == kPoint);
  }
}

TEST(StationTable, NamesTheMode) {
  const struct {
    int channel;
    const char* phy_mode;
    int rate;
    const char* mode;
  } rows[] = {
      {6, "CCK", 11, "802.11b"},   {6, "CCK", 12, ""},           {6, "OFDM", 54, "802.11g"},
      {6, "OFDM", 55, "802.11n"},  {6, "", 55, "802.11n"},       {0, "OFDM", 6, "802.11g"},
      {14, "OFDM", 54, "802.11g"}, {15, "OFDM", 300, "802.11a"}, {36, "HTMIX", 6, "802.11n"},
      {6, "HTMIX", 1, "802.11n"},  {36, "CCK", 11, ""},          {-1, "OFDM", -5, "802.11g"},
      {6, "OFDMA", 1, ""},
  };
  for (const auto& row : rows) {
    EXPECT_STREQ(station_mode(row.channel, row.phy_mode, row.rate), row.mode) << row.phy_mode << row.rate;
  }
  const auto columns = [](const std::string& text) {
    const StationLine split = split_station_line(text);
    return std::string{split.mac} + "|" + std::string{split.phy_mode} + "|" + std::string{split.bandwidth} +
           "|" + std::string{split.data_rate};
  };
  EXPECT_EQ(columns(station("02:00", "OFDM", "20M", "54")), "3:02:00|OFDM|20M|54");
  EXPECT_EQ(columns("  a b\tc d e f g h i OFDM"), "a|OFDM||");
  EXPECT_EQ(columns(" \n"), "|||");
}

TEST(Signal, IsAPercentage) {
  const std::pair<int, int> rows[] = {{0, 100},  {-50, 100}, {-51, 99}, {-65, 63}, {-79, 26},
                                      {-80, 24}, {-81, 23},  {-90, 0},  {-91, 0},  {INT32_MIN, 0}};
  for (const auto& [rssi, percent] : rows) EXPECT_EQ(signal_percent(rssi), percent) << rssi;
}

constexpr const char* kAction = "GetWirelessClientConnectionInfo";
constexpr const char* kIwconfig = "iwconfig apcli0";
constexpr const char* kSignal = "iwpriv apcli0 stat|grep RSSI-A|sed -n 's/^.*= //p'";

void connected(Device& device) {
  device.set("WmmCapable", "1");
  device.outputs[kIwconfig] = iwconfig("A&B", "6", kPoint);
  device.outputs[kStationsCommand] =
      station("02:00:00:00:00:09", "CCK", "20M", "11") + station(kPoint, "HTMIX", "20M", "130");
  device.outputs[kSignal] = "-65\n";
  device.driver = [](DriverRequest& request) {
    const std::uint32_t up = 1;
    if (request.number == 0x8BE1) std::memcpy(request.data, &up, sizeof up);
    return request.number == 0x8BE1;
  };
}
void connected_elsewhere(Device& device) {
  connected(device);
  device.outputs["iwconfig ra0"] = iwconfig("Other", "6", kPoint);
  // Any state but 1: a tool that cannot be asked does not matter.
  device.driver = [](DriverRequest& request) {
    std::memset(request.data, 2, request.length);
    return request.number == 0x8BE1;
  };
}

TEST_F(Uplink, ReportsTheUplink) {
  const std::string lost = "A&amp;B|2||40|6|63|0|0|true|";  // not found in the station table
  const struct {
    const char* name;
    Device::Step prepare;
    std::string values;
  } rows[] = {
      {"found in the table", connected, "A&amp;B|2|802.11n|20|6|63|130000|130000|true|"},
      {"another state is up as well", connected_elsewhere, "A&amp;B|2|802.11n|20|6|63|130000|130000|true|"},
      {"letter case counts",
       in_turn({prints(kIwconfig, iwconfig("A&B", "6", "02:aa:00:00:00:01")),
                prints(kStationsCommand, station("02:AA:00:00:00:01", "OFDM", "20M", "54"))}),
       lost},
      {"no table", cannot_open(kStationsCommand), lost},
      {"short lines carry nothing over",
       prints(kStationsCommand, station("02:00:00:00:00:09", "OFDM", "20M", "54") + "\n3:" + kPoint + " 1\n"),
       lost},
      {"a table line of 8000 bytes",
       prints(kStationsCommand, std::string(8000, 'x') + "\n" + station(kPoint, "OFDM", "40M", "54")),
       "A&amp;B|2|802.11g|40|6|63|54000|54000|true|"},
      {"no address matches nothing", prints(kIwconfig, "ESSID:\"x\"  "), "x|2||40|0|63|0|0|true|"},
      {"no text", cannot_open("/tmp/repeater_conninfo"), "|2||40|0|63|0|0|true|"},
      {"channel 14", prints(kIwconfig, iwconfig("A", "14", kPoint)),
       "A|2|802.11n|20|14|63|130000|130000|true|"},
      {"channel 15", prints(kIwconfig, iwconfig("A", "15", kPoint)),
       "A|5|802.11n|20|15|63|130000|130000|true|"},
      {"a rate beyond all limits", prints(kStationsCommand, station(kPoint, "HTMIX", "20", "99999999999")),
       "A&amp;B|2|802.11n|40|6|63|4294966296|4294966296|true|"},
      {"three characters of signal", prints(kSignal, "-100"),
       "A&amp;B|2|802.11n|20|6|100|130000|130000|true|"},
      {"no signal", cannot_open(kSignal), "A&amp;B|2|802.11n|20|6|0|130000|130000|true|"},
      {"an empty signal", prints(kSignal, ""), "A&amp;B|2|802.11n|20|6|100|130000|130000|true|"},
      {"name of 40 characters", prints(kIwconfig, iwconfig(std::string(40, 's'), "6", kPoint)),
       std::string(35, 's') + "|2|802.11n|20|6|63|130000|130000|true|"},
  };
  for (const auto& row : rows) {
    device.broken.clear();
    connected(device);
    row.prepare(device);
    const std::string reply = ask(soap(kAction));
    std::string values;
    for (const char* name : {"SSID", "Frequency", "Mode", "ChannelWidth", "Channel", "SignalStrength",
                             "LinkSpeedIn", "LinkSpeedOut", "WmmEnabled"}) {
      values += value_in(reply, name) + "|";
    }
    EXPECT_EQ(values, row.values) << row.name;
    const int noise = std::atoi(value_in(reply, "Noise").c_str());
    EXPECT_TRUE(noise >= 8 && noise <= 16) << noise;
  }
}

TEST_F(Uplink, AsksTheToolsInOrder) {
  connected(device);
  server.receive(soap(kAction));
  EXPECT_EQ(effects(),
            (Effects{"access /tmp/scanning", "run echo 1 > /tmp/postponeSiteSurvey", "ioctl 0x8be1 apcli0",
                     "pipe iwconfig apcli0", "console iwconfig apcli0 > /tmp/repeater_conninfo\n",
                     "run iwconfig apcli0 > /tmp/repeater_conninfo", "open /tmp/repeater_conninfo r",
                     "console rm -f /tmp/repeater_conninfo\n", "run rm -f /tmp/repeater_conninfo",
                     "console iwpriv apcli0 show stainfo\n", "run iwpriv apcli0 show stainfo",
                     "pipe dmesg -c | grep -in '^..:.*$'",
                     "console MAC: 3:02:00:00:00:00:09, PHY Mode: CCK, Bandwidth: 20M, Data Rate: 11\n",
                     "console MAC: 3:02:11:22:33:44:01, PHY Mode: HTMIX, Bandwidth: 20M, Data Rate: 130\n",
                     "pipe iwpriv apcli0 stat|grep RSSI-A|sed -n 's/^.*= //p'"}));
}

// Its noise is a random number, so it is no row below.
TEST(ConnectionInfo, SurvivesEachFault) {
  survive_each_fault({.request = soap(kAction), .prepare = connected, .reads = true});
}

constexpr const char* kChannel = "iwconfig apcli0 | grep Channel | awk '{ print $2 }' | sed 's/Channel=//g'";
ActionRow band(const char* name, Device::Step prepare, const char* reply) {
  return {.name = name,
          .action = "GetWirelessClientConnectionInfo2",
          .reply = reply,
          .prepare = std::move(prepare)};
}
const ActionRow kRows[] = {
    {"down", kAction, "",
     "OK|SSID=|Frequency=0|Mode=|ChannelWidth=0|Channel=0|SignalStrength=0|Noise=0|LinkSpeedIn=0|"
     "LinkSpeedOut=0"
     "|WmmEnabled=false"},
    band("upper", prints(kChannel, "15\n"), "OK|Band=5GHz"),
    band("lower", prints(kChannel, "14\n"), "OK|Band=2.4GHz"),
    band("no channel", prints(kChannel, "off\n"), "OK|Band=2.4GHz"),
    band("channel behind the seventh character", prints(kChannel, "       161\n"), "OK|Band=2.4GHz"),
    band("no pipe", cannot_open(kChannel), "ERROR"),
};
const bool kAdded = add_rows("WirelessClientConnectionInfo", kRows);

}  // namespace
}  // namespace kd::test
