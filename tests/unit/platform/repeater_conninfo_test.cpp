// The uplink as the driver's tools describe it: GetWirelessClientConnectionInfo and its variant for the band.
#include "platform/repeater_conninfo.hpp"

#include <cstring>

#include "platform/station_table.hpp"
#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test::repeater_conninfo_ {

const std::string kPoint = "02:AA:22:33:44:01";

std::string parsed(const std::string& text) {
  const IwconfigLink link = parse_iwconfig(text);
  return std::string{link.ssid} + "|" + std::to_string(link.channel) + "|" + std::string{link.access_point};
}

TEST(Iwconfig, MayLackAnyMarkerAndEndAnywhere) {
  const std::string point = "Access Point: " + kPoint, all = "|6|" + kPoint;
  expect_each(parsed, iwconfig("Den", "6", kPoint), "Den" + all, iwconfig("a\"b \" c", "36", kPoint),
              "a\"b \" c|36|" + kPoint, iwconfig("a\"  b", "6", kPoint), "a" + all,
              iwconfig("Den", "1613", kPoint), "Den|161|" + kPoint, "Channel=6  " + point, all,
              "ESSID:\"Den\" Channel=6  " + point, all, "ESSID:\"Den\"  " + point, "Den|0|" + kPoint,
              "ESSID:\"Den\"  Channel=6  Access Point: 02:AA:22:33:44:0", "Den|6|",
              "Channel=1 ESSID:\"Den\"  Channel=6", "Den|6|", "ESSID:\"Den\"  Channel=off", "Den|0|");
}

TEST(StationTable, NamesTheMode) {
  const std::tuple<int, const char*, int, const char*> rows[] = {
      {6, "CCK", 11, "802.11b"},   {6, "CCK", 12, ""},         {6, "OFDM", 54, "802.11g"},
      {6, "OFDM", 55, "802.11n"},  {6, "", 56, "802.11n"},     {0, "OFDM", 6, "802.11g"},
      {14, "OFDM", 54, "802.11g"}, {15, "OFDM", 9, "802.11a"}, {36, "HTMIX", 6, "802.11n"},
      {6, "HTMIX", 1, "802.11n"},  {36, "CCK", 11, ""},        {6, "OFDMA", 1, ""}};
  for (const auto& [channel, phy_mode, rate, mode] : rows) {
    EXPECT_STREQ(station_mode(channel, phy_mode, rate), mode) << channel << phy_mode << rate;
  }
  expect_each(signal_percent, 0, 100, -50, 100, -51, 99, -65, 63, -79, 26, -80, 24, -81, 23, -85, 13, -90, 0,
              -91, 0, INT32_MIN, 0);
}

constexpr const char *kAction = "GetWirelessClientConnectionInfo", *kIwconfig = "iwconfig apcli0",
                     *kSignal = "iwpriv apcli0 stat|grep RSSI-A|sed -n 's/^.*= //p'";

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

using Uplink = DeviceTest;

TEST_F(Uplink, IsAskedForAndReported) {
  connected(device);
  server.receive(soap(kAction));
  EXPECT_EQ(count(effects(), "console "), 5) << "commands and stations";
  const int noise = std::atoi(value_in(server.sent(), "Noise").c_str());
  EXPECT_TRUE(noise >= 8 && noise <= 16) << noise;
  EXPECT_EQ(server.sent(),
            reply_of(kAction,
                     "OK|SSID=A&amp;B|Frequency=2|Mode=802.11n|ChannelWidth=20|Channel=6|SignalStrength=63"
                     "|Noise=" +
                         std::to_string(noise) + "|LinkSpeedIn=130000|LinkSpeedOut=130000|WmmEnabled=true"));
}

TEST_F(Uplink, MayBeKnownInPart) {
  const std::tuple<const char*, Device::Step, std::string> rows[] = {
      {"no table, no signal", in_turn({cannot_open(kStationsCommand), cannot_open(kSignal)}),
       "A&amp;B|2||40|0|0"},
      {"another letter case, and a short line that carries nothing over",
       prints(kStationsCommand, station("02:aa:22:33:44:01", "OFDM", "20M", "54") + "\n3:" + kPoint + " 1\n"),
       "A&amp;B|2||40|63|0"},
      {"a table line of 8000 bytes",
       prints(kStationsCommand, std::string(8000, 'x') + "\n" + station(kPoint, "OFDM", "40M", "54")),
       "A&amp;B|2|802.11g|40|63|54000"},
      {"no text, no address", cannot_open("/tmp/repeater_conninfo"), "|2||40|63|0"},
      {"channel 14, name of 40 characters", prints(kIwconfig, iwconfig(std::string(40, 's'), "14", kPoint)),
       std::string(35, 's') + "|2|802.11n|20|63|130000"},
      {"channel 15, a rate beyond all limits",
       in_turn({prints(kIwconfig, iwconfig("A", "15", kPoint)),
                prints(kStationsCommand, station(kPoint, "HTMIX", "20", "99999999999"))}),
       "A|5|802.11n|40|63|4294966296"},
  };
  for (const auto& [name, prepare, values] : rows) {
    device.broken.clear();
    connected(device);
    prepare(device);
    const std::string reply = ask(soap(kAction));
    std::string all = value_in(reply, "SSID");
    for (const char* element : {"Frequency", "Mode", "ChannelWidth", "SignalStrength", "LinkSpeedIn"}) {
      all += "|" + value_in(reply, element);
    }
    EXPECT_EQ(all, values) << name;
  }
}

// Its noise is a random number, so it is no row below.
TEST(ConnectionInfo, SurvivesEachFault) {
  // The commands are formatted, so without memory one is left out; another leaves the values as they are.
  survive_each_fault({.request = soap(kAction), .prepare = connected, .reads = true, .may_miss = "run "});
}

constexpr const char *kBand = "GetWirelessClientConnectionInfo2",
                     *kChannel = "iwconfig apcli0 | grep Channel | awk '{ print $2 }' | sed 's/Channel=//g'";
const ActionRow kRows[] = {
    {"down", kAction, "",
     "OK|SSID=|Frequency=0|Mode=|ChannelWidth=0|Channel=0|SignalStrength=0|Noise=0|LinkSpeedIn=0"
     "|LinkSpeedOut=0|WmmEnabled=false"},
    {"upper", kBand, "", "OK|Band=5GHz", {}, prints(kChannel, "15\n")},
    {"lower", kBand, "", "OK|Band=2.4GHz", {}, prints(kChannel, "14\n")},
    {"no pipe", kBand, "", "ERROR", {}, cannot_open(kChannel)},
};
const bool kAdded = add_rows("WirelessClientConnectionInfo", kRows);

}  // namespace kd::test::repeater_conninfo_
