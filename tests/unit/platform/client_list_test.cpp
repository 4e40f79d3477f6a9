// The client list and GetConnectedDevices.
#include "platform/client_list.hpp"

#include "support/cases.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

constexpr const char* kPidFile = "/var/run/kd_client_list.pid";
constexpr const char* kListFile = "/tmp/connected_client_list";
constexpr const char* kChannelCommand =
    "iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'";

std::string client_line(const std::string& name, const std::string& type = "Wired",
                        const std::string& mac = "02:AA:00:00:00:01", const std::string& active = "true") {
  return "08:15\t" + mac + "\t10.0.0.2\t" + name + "\tx\t" + type + "\t" + active + "\n";
}

TEST(ClientLine, HasSevenColumns) {
  const std::pair<std::string, std::string> rows[] = {
      // fields joined by "|"; empty: skipped
      {"t\tm\ta\tn\tx\tEthernet\ttrue", "t|m|a|n|false|true"},
      {"t\tm\ta\tn\tx\tWireless\tno", "t|m|a|n|true|no"},
      {"t\tm\ta\tn\tx\tWireless \tno", "t|m|a|n|false|no"},
      {"\t\t\t\t\t\t", "||||false|"},
      {"t\tm\ta\tn\tx\tWireless", ""},
      {"", ""},
      {"t\tm\ta\tn\tx\tw\tyes\tz", "t|m|a|n|false|yes\tz"},
      {std::string(30, 't') + "\t" + std::string(30, 'm') + "\t" + std::string(30, 'a') + "\t" +
           std::string(300, 'n') + "\tx\tw\t" + std::string(9, 'y'),
       std::string(19, 't') + "|" + std::string(17, 'm') + "|" + std::string(16, 'a') + "|" +
           std::string(255, 'n') + "|false|yyyyy"}};
  for (const auto& [line, fields] : rows) {
    client_entry entry{};
    const bool taken = parse_client_line(line, entry);
    EXPECT_EQ(taken ? std::string{entry.connect_time} + "|" + entry.mac + "|" + entry.network_address + "|" +
                          entry.device_name + "|" + entry.wireless + "|" + entry.active
                    : "",
              fields);
  }
}

TEST(DeviceName, ControlCharactersTakeTheNextAlong) {
  const std::pair<std::string, std::string> rows[] = {
      {"plain", "plain"},
      {"a\tbc", "a??c"},
      {"line\nend\n", "line\nend\n"},
      {"\x01\x02z", "??z"},
      {"caf\xC3\xA9", "caf??"},
      {"\x7F", "\x7F"},
      {"a\xFF", "a??"},
      {std::string(253, 'a') + "\t", std::string(253, 'a') + "??"},
      {std::string(254, 'a') + "\t", std::string(254, 'a') + "?"}};
  for (const auto& [raw, clean] : rows) {
    char name[256] = {};
    raw.copy(name, raw.size());
    clean_device_name(name);
    EXPECT_EQ(std::string{name}, clean) << raw;
  }
}

TEST_F(DeviceTest, LearnsNames) {
  const struct {
    const char* name;
    std::string listed, netbios, mdns;  // "-": no such file
    std::string learned;
  } rows[] = {
      {"one character less than the old one", "twelve chars", "thirteen-char", "-", "thirteen-ch"},
      {"the first line, with its end", "long old name", "new\nsecond\n", "-", "new\n"},
      {"the second file", "phone", "-", "tele\n", "tele"},
      {"the first file ends the search", "phone", "", "tele", "phone"},
      {"no name is never replaced", "", "new", "-", ""},
      {"one character becomes none", "x", "new", "-", ""},
      {"a nul byte ends it", "phone", std::string("a\0b", 3), "-", "a"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    device.files.clear();
    if (row.netbios != "-") device.files["/tmp/hostname_netbios_10.0.0.2"] = row.netbios;
    if (row.mdns != "-") device.files["/tmp/hostname_mdns_10.0.0.2"] = row.mdns;
    client_entry entry{};
    copy_text(entry.network_address, "10.0.0.2");
    copy_text(entry.device_name, row.listed);
    learn_device_name(entry);
    EXPECT_EQ(std::string{entry.device_name}, row.learned);
  }
  effects();
  client_entry entry{};
  copy_text(entry.network_address, "/../etc/passwd");
  learn_device_name(entry);
  EXPECT_TRUE(effects().empty());
}

void prepare_daemon(Device& device) {
  device.files[kPidFile] = "77\n";
  device.files[kListFile] = "";
  device.outputs[kChannelCommand] = "6\n";
}

const std::vector<std::string> kAsked = {"kill 77 USR1", "sleep 2"};

std::string client(const std::string& name, const std::string& port, const std::string& wireless,
                   const std::string& mac = "02:AA:00:00:00:01") {
  return "<ConnectedClient>\n<ConnectTime>08:15</ConnectTime>\n<MacAddress>" + mac +
         "</MacAddress>\n<DeviceName>" + name + "</DeviceName>\n<PortName>" + port +
         "</PortName>\n<Wireless>" + wireless + "</Wireless>\n<Active>true</Active>\n</ConnectedClient>\n";
}
std::string clients(const std::string& all) {
  return "<GetConnectedDevicesResult>OK</GetConnectedDevicesResult>\n<ConnectedClients>\n" + all +
         "</ConnectedClients>\n";
}
const std::string kNobody = clients(
    "<ConnectedClient>\n<ConnectTime></ConnectTime>\n<MacAddress></MacAddress>\n<DeviceName></DeviceName>\n"
    "<PortName></PortName>\n<Wireless></Wireless>\n<Active></Active>\n</ConnectedClient>\n");

ActionCase row(const char* name, std::string reply, std::vector<std::string> changes, Device::Step prepare) {
  ActionCase made{name, "GetConnectedDevices", {}, std::move(reply), std::move(changes), std::move(prepare)};
  made.varies = true;
  return made;
}

// The console's line for each client, behind the question.
std::vector<std::string> said(const std::string& client, bool wireless = false) {
  std::vector<std::string> all = kAsked;
  if (wireless) all.push_back("run iwpriv ra0 show stainfo");
  all.push_back("console 1 - 08:15, " + client + (wireless ? ", true, true\n" : ", false, true\n"));
  return all;
}

Device::Step lists(const std::string& lines, const std::string& stations = "", const char* channel = "6\n") {
  return in_turn({prepare_daemon, has_file(kListFile, lines), prints(kStationsCommand, stations),
                  prints(kChannelCommand, channel)});
}
const std::string kMac = "02:AA:00:00:00:01", kPhone = client_line("phone", "Wireless");

const ActionCase
    kRows[] =
        {
            row("nobody", kNobody, kAsked, prepare_daemon),
            row("wired, encoded", clients(client("A&amp;B", "LAN", "false")), said(kMac + ", A&B, LAN"),
                lists(client_line("A&B"))),
            row("wireless, found in any letter case",
                clients(client("phone", "WLAN 802.11n", "true", "02:aa:00:00:00:02")),
                said("02:aa:00:00:00:02, phone, WLAN 802.11n", true),
                lists("too\tfew\n" + client_line("phone", "Wireless", "02:aa:00:00:00:02"),
                      station(kMac, "CCK", "20M", "11") + "short\n" +
                          station("02:AA:00:00:00:02", "HTMIX", "20M", "65"))),
            row("5 GHz", clients(client("phone", "WLAN 802.11a", "true")),
                said(kMac + ", phone, WLAN 802.11a", true),
                lists(kPhone, station(kMac, "OFDM", "20M", "300"), "36")),
            row("not in the table, no last line end", clients(client("phone", "unknow", "true")),
                said(kMac + ", phone, unknow", true), lists(kPhone.substr(0, kPhone.size() - 1))),
            row("a mode that nobody knows", clients(client("phone", "unknow", "true")),
                said(kMac + ", phone, unknow", true), lists(kPhone, station(kMac, "CCK", "20M", "12"))),
            row("no address matches nothing", clients(client("phone", "unknow", "true", "")),
                said(", phone, unknow", true),
                lists(client_line("phone", "Wireless", ""), station(kMac, "OFDM", "20M", "54"))),
            row("control characters", clients(client("a??c", "LAN", "false")), said(kMac + ", a\1bc, LAN"),
                lists(client_line("a\1bc"))),
            row("a line of 8000 bytes is one client", clients(client("tv", "LAN", "false")),
                said(kMac + ", tv, LAN"),
                lists(std::string(8000, 'x') + client_line("no") + client_line("tv"))),
            row("stations asked for each wireless client",
                clients(client("a", "unknow", "true") + client("b", "LAN", "false") +
                        client("c", "unknow", "true")),
                {"kill 77 USR1", "sleep 2", "run iwpriv ra0 show stainfo", "run iwpriv ra0 show stainfo",
                 "console 1 - 08:15, " + kMac + ", a, unknow, true, true\n",
                 "console 2 - 08:15, " + kMac + ", b, LAN, false, true\n",
                 "console 3 - 08:15, " + kMac + ", c, unknow, true, true\n"},
                lists(client_line("a", "Wireless") + client_line("b") + client_line("c", "Wireless"))),
            row("list that cannot be opened", kNobody,
                kAsked, in_turn({prepare_daemon, cannot_open(kListFile)})),
            row("no pid file", kNobody, {}, has_file(kListFile, client_line("tv"))),
            row("pid file without a number", kNobody, {"sleep 2"},
                in_turn({prepare_daemon, has_file(kPidFile, "rubbish")})),
            row("pid below 0", kNobody, {"sleep 2"}, in_turn({prepare_daemon, has_file(kPidFile, "-1\n")})),
            row("the list comes late", kNobody,
                {"kill 77 USR1", "sleep 2", "kill 77 USR1", "sleep 2", "kill 77 USR1", "sleep 2"},
                [](Device& d) {
                  d.files[kPidFile] = "77\n";
                  d.at(5, has_file(kListFile, ""));
                }),
};
INSTANTIATE_TEST_SUITE_P(ConnectedDevices, ActionTest, ::testing::ValuesIn(kRows), row_name);

std::ptrdiff_t opens_of(const std::vector<std::string>& effects, const std::string& path) {
  return std::count(effects.begin(), effects.end(), "open " + path + " r");
}

// Six tries at first; a file that vanishes later is tried five times more.
TEST_F(DeviceTest, CountsItsTriesAtThePidFile) {
  client_list list;
  EXPECT_EQ(kd_hnap_get_client_list(nullptr, list), -1);
  EXPECT_EQ(opens_of(effects(), kPidFile), 6);
  device.files[kPidFile] = "77\n";
  device.at(1, [](Device& later) { later.files.erase(kPidFile); });
  EXPECT_EQ(kd_hnap_get_client_list(nullptr, list), -1);
  EXPECT_EQ(opens_of(effects(), kPidFile), 1 + 5);
  EXPECT_EQ(list.head, nullptr);
}

}  // namespace
}  // namespace kd::test
