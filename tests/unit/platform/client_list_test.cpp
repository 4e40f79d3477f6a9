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

struct LineRow {
  const char* name;
  std::string line;
  std::string entry;  // fields joined by "|"; empty: skipped
};
const LineRow kLines[] = {
    {"wired", "t\tm\ta\tn\tx\tEthernet\ttrue", "t|m|a|n|false|true"},
    {"wireless", "t\tm\ta\tn\tx\tWireless\tno", "t|m|a|n|true|no"},
    {"wireless exactly", "t\tm\ta\tn\tx\tWireless \tno", "t|m|a|n|false|no"},
    {"empty columns", "\t\t\t\t\t\t", "||||false|"},
    {"five tabs", "t\tm\ta\tn\tx\tWireless", ""},
    {"nothing", "", ""},
    {"a seventh tab", "t\tm\ta\tn\tx\tw\tyes\tz", "t|m|a|n|false|yes\tz"},
    {"long columns are cut",
     std::string(30, 't') + "\t" + std::string(30, 'm') + "\t" + std::string(30, 'a') + "\t" +
         std::string(300, 'n') + "\tx\tw\t" + std::string(9, 'y'),
     std::string(19, 't') + "|" + std::string(17, 'm') + "|" + std::string(16, 'a') + "|" +
         std::string(255, 'n') + "|false|yyyyy"},
};
TEST(ClientLine, HasSevenColumns) {
  for (const LineRow& row : kLines) {
    SCOPED_TRACE(row.name);
    client_entry entry{};
    const bool taken = parse_client_line(row.line, entry);
    EXPECT_EQ(taken ? std::string{entry.connect_time} + "|" + entry.mac + "|" + entry.network_address + "|" +
                          entry.device_name + "|" + entry.wireless + "|" + entry.active
                    : "",
              row.entry);
  }
}

TEST(DeviceName, ControlCharactersTakeTheNextAlong) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"a\tbc", "a??c"},
      {"line\nend\n", "line\nend\n"},
      {"a\t", "a??"},
      {"\x01\x02z", "??z"},
      {"caf\xC3\xA9", "caf??"},
      {"\x7F", "\x7F"},
      {"a\xFF", "a??"},
      {"\t\n", "??"},
      {std::string(253, 'a') + "\t", std::string(253, 'a') + "??"},
      {std::string(254, 'a') + "\t", std::string(254, 'a') + "?"}};
  for (const auto& [raw, clean] : rows) {
    char name[256] = {};
    raw.copy(name, raw.size());
    clean_device_name(name);
    EXPECT_EQ(std::string{name}, clean) << raw;
  }
}

struct LearnRow {
  const char* name;
  std::string listed, netbios, mdns;  // "-": no such file
  std::string learned;
};
const LearnRow kLearned[] = {
    {"neither", "phone", "-", "-", "phone"},
    {"one character less than the old one", "twelve chars", "thirteen-char", "-", "thirteen-ch"},
    {"a shorter one keeps its line end", "long old name", "new\n", "-", "new\n"},
    {"the first line", "long old name", "new\nsecond\n", "-", "new\n"},
    {"the second file", "phone", "-", "tele\n", "tele"},
    {"the first file ends the search", "phone", "", "tele", "phone"},
    {"no name is never replaced", "", "new", "-", ""},
    {"one character becomes none", "x", "new", "-", ""},
    {"a nul byte ends it", "phone", std::string("a\0b", 3), "-", "a"},
};
TEST_F(DeviceTest, LearnsNames) {
  for (const LearnRow& row : kLearned) {
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

ActionCase row(const char* name, std::string reply, std::vector<std::string> changes,
               void (*prepare)(Device&)) {
  return {.name = name,
          .action = "GetConnectedDevices",
          .reply = std::move(reply),
          .changes = std::move(changes),
          .prepare = prepare,
          .varies = true};
}

std::vector<std::string> asked_and(std::vector<std::string> more) {
  more.insert(more.begin(), kAsked.begin(), kAsked.end());
  return more;
}

const ActionCase kRows[] = {
    row("nobody", kNobody, kAsked, prepare_daemon),
    row("wired, encoded", clients(client("A&amp;B", "LAN", "false")),
        asked_and({"console 1 - 08:15, 02:AA:00:00:00:01, A&B, LAN, false, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = client_line("A&B");
        }),
    row("wireless, found in any letter case",
        clients(client("phone", "WLAN 802.11n", "true", "02:aa:00:00:00:02")),
        asked_and({"run iwpriv ra0 show stainfo",
                   "console 1 - 08:15, 02:aa:00:00:00:02, phone, WLAN 802.11n, true, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = "too\tfew\n" + client_line("phone", "Wireless", "02:aa:00:00:00:02");
          d.outputs[kStationsCommand] = station("02:AA:00:00:00:01", "CCK", "20M", "11") + "short\n" +
                                        station("02:AA:00:00:00:02", "HTMIX", "20M", "65");
        }),
    row("5 GHz", clients(client("phone", "WLAN 802.11a", "true")),
        asked_and({"run iwpriv ra0 show stainfo",
                   "console 1 - 08:15, 02:AA:00:00:00:01, phone, WLAN 802.11a, true, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.outputs[kChannelCommand] = "36";
          d.files[kListFile] = client_line("phone", "Wireless");
          d.outputs[kStationsCommand] = station("02:AA:00:00:00:01", "OFDM", "20M", "300");
        }),
    row("not in the table, no last line end", clients(client("phone", "unknow", "true")),
        asked_and({"run iwpriv ra0 show stainfo",
                   "console 1 - 08:15, 02:AA:00:00:00:01, phone, unknow, true, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = client_line("phone", "Wireless");
          d.files[kListFile].pop_back();
        }),
    row("a mode that nobody knows", clients(client("phone", "unknow", "true")),
        asked_and({"run iwpriv ra0 show stainfo",
                   "console 1 - 08:15, 02:AA:00:00:00:01, phone, unknow, true, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = client_line("phone", "Wireless");
          d.outputs[kStationsCommand] = station("02:AA:00:00:00:01", "CCK", "20M", "12");
        }),
    row("no address matches nothing", clients(client("phone", "unknow", "true", "")),
        asked_and({"run iwpriv ra0 show stainfo", "console 1 - 08:15, , phone, unknow, true, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = client_line("phone", "Wireless", "");
          d.outputs[kStationsCommand] = station("02:AA:00:00:00:01", "OFDM", "20M", "54");
        }),
    row("control characters", clients(client("a??c", "LAN", "false")),
        asked_and({"console 1 - 08:15, 02:AA:00:00:00:01, a\x01"
                   "bc, LAN, false, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = client_line(
              "a\x01"
              "bc");
        }),
    row("a line of 8000 bytes is one client", clients(client("tv", "LAN", "false")),
        asked_and({"console 1 - 08:15, 02:AA:00:00:00:01, tv, LAN, false, true\n"}),
        [](Device& d) {
          prepare_daemon(d);
          d.files[kListFile] = std::string(8000, 'x') + client_line("no") + client_line("tv");
        }),
    row("list that cannot be opened", kNobody, kAsked,
        [](Device& d) {
          prepare_daemon(d);
          d.broken.insert(kListFile);
        }),
    row("no pid file", kNobody, {}, [](Device& d) { d.files[kListFile] = client_line("tv"); }),
    row("pid file without a number", kNobody, {"sleep 2"},
        [](Device& d) {
          prepare_daemon(d);
          d.files[kPidFile] = "rubbish";
        }),
    row("pid below 0", kNobody, {"sleep 2"},
        [](Device& d) {
          prepare_daemon(d);
          d.files[kPidFile] = "-1\n";
        }),
    row("the list comes late", kNobody,
        {"kill 77 USR1", "sleep 2", "kill 77 USR1", "sleep 2", "kill 77 USR1", "sleep 2"},
        [](Device& d) {
          prepare_daemon(d);
          d.files.erase(kListFile);
          d.at(5, [](Device& later) { later.files[kListFile] = ""; });
        }),
    row("the daemon goes while the list is missing", kNobody, kAsked,
        [](Device& d) {
          prepare_daemon(d);
          d.files.erase(kListFile);
          d.at(1, [](Device& later) { later.files.erase(kPidFile); });
        }),
};
INSTANTIATE_TEST_SUITE_P(ConnectedDevices, ActionTest, ::testing::ValuesIn(kRows), row_name);

TEST_F(DeviceTest, AsksForTheStationsOfEachWirelessClient) {
  prepare_daemon(device);
  device.files[kListFile] = client_line("a", "Wireless") + client_line("b") + client_line("c", "Wireless");
  host::Request request = soap_request("GetConnectedDevices");
  send(request);
  const std::vector<std::string> expected = {"kill 77 USR1",
                                             "sleep 2",
                                             "run iwpriv ra0 show stainfo",
                                             "run iwpriv ra0 show stainfo",
                                             "console 1 - 08:15, 02:AA:00:00:00:01, a, unknow, true, true\n",
                                             "console 2 - 08:15, 02:AA:00:00:00:01, b, LAN, false, true\n",
                                             "console 3 - 08:15, 02:AA:00:00:00:01, c, unknow, true, true\n"};
  std::vector<std::string> changes = device.changes();
  changes.erase(changes.begin());  // the survey marker
  EXPECT_EQ(changes, expected);
  EXPECT_LT(request.reply.find(">a<"), request.reply.find(">b<"));
  EXPECT_LT(request.reply.find(">b<"), request.reply.find(">c<"));
}

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
