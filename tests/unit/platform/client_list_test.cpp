// The client list and GetConnectedDevices.
#include "platform/client_list.hpp"

#include "base/text.hpp"
#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test::client_list {

constexpr const char *kPidFile = "/var/run/kd_client_list.pid", *kListFile = "/tmp/connected_client_list";
const std::string kMac = "02:AA:00:00:00:01";

std::string repeated(unsigned count, const std::string& text, const char* separator = "") {
  std::string all;
  for (unsigned i = 0; i < count; ++i) all += (i ? separator : "") + text;
  return all;
}

TEST(ClientLine, HasSevenColumns) {
  const auto x = [](unsigned count) { return repeated(count, "x"); };
  expect_each(
      [](const std::string& line) {
        client_entry entry{};
        if (!parse_client_line(line, entry)) return std::string{};
        return std::string{entry.connect_time} + "|" + entry.mac + "|" + entry.network_address + "|" +
               entry.device_name + "|" + entry.wireless + "|" + entry.active;
      },
      "t\tm\ta\tn\tx\tEthernet\ttrue", "t|m|a|n|false|true", "t\tm\ta\tn\tx\tWireless\tno", "t|m|a|n|true|no",
      "\t\t\t\t\tWireless \t", "||||false|", "t\tm\ta\tn\tx\tWireless", "", "", "",
      "t\tm\ta\tn\tx\tw\tyes\tz", "t|m|a|n|false|yes\tz",
      x(20) + "\t" + x(18) + "\t" + x(17) + "\t" + x(256) + "\t\t\t" + x(6),
      x(19) + "|" + x(17) + "|" + x(16) + "|" + x(255) + "|false|" + x(5));
}

TEST(DeviceName, LosesControlCharactersAndTheNextOnes) {
  const std::string a253(253, 'a');
  expect_each(
      [](const std::string& raw) {
        char name[256] = {};
        raw.copy(name, raw.size());
        clean_device_name(name);
        return std::string{name};
      },
      "plain\n\x7F", "plain\n\x7F", "a\tbc", "a??c", "\x01\x02z", "??z", "\x1F ", "??", "caf\xC3\xA9",
      "caf??", "a\xFF", "a??", a253 + "\t", a253 + "??", a253 + "a\t", a253 + "a?");
}

using Clients = DeviceTest;

TEST_F(Clients, LearnNames) {
  const struct {
    std::string listed, netbios, mdns;  // "-": no such file
    std::string learned;
  } rows[] = {{"twelve chars", "thirteen-char", "-", "thirteen-ch"},
              {"long old name", "new\nsecond\n", "-", "new\n"},
              {"phone", "-", "tele\n", "tele"},
              {"phone", "", "tele", "phone"},
              {"", "new", "-", ""},
              {"x", "new", "-", ""},
              {"phone", std::string("a\0b", 3), "-", "a"}};
  for (const auto& row : rows) {
    device.files.clear();
    if (row.netbios != "-") device.files["/tmp/hostname_netbios_10.0.0.2"] = row.netbios;
    if (row.mdns != "-") device.files["/tmp/hostname_mdns_10.0.0.2"] = row.mdns;
    client_entry entry{};
    copy_text(entry.network_address, "10.0.0.2");
    copy_text(entry.device_name, row.listed);
    learn_device_name(entry);
    EXPECT_EQ(std::string{entry.device_name}, row.learned) << row.listed;
  }
  effects();
  client_entry entry{};
  copy_text(entry.network_address, "/../etc/passwd");
  learn_device_name(entry);
  EXPECT_EQ(effects(), Effects{});
}

std::string line(const std::string& name, const char* type = "Wired", const std::string& mac = kMac) {
  return "08:15\t" + mac + "\t10.0.0.2\t" + name + "\tx\t" + type + "\ttrue\n";
}
std::string client(const std::string& name, const std::string& port, const std::string& mac = kMac) {
  return "ConnectedClient{ConnectTime=08:15|MacAddress=" + mac + "|DeviceName=" + name + "|PortName=" + port +
         "|Wireless=" + (port == "LAN" ? "false" : "true") + "|Active=true}";
}
// What the console says of clients, and for the wireless ones what the driver is asked.
Effects said(const std::vector<std::pair<const char*, std::string>>& clients, const std::string& mac = kMac) {
  Effects all;
  for (const auto& [name, port] : clients) {
    if (port != "LAN") all.insert(all.begin(), "run iwpriv ra0 show stainfo");
    all.push_back("console " + std::to_string(count(all, "console") + 1) + " - 08:15, " + mac + ", " + name +
                  ", " + port + (port == "LAN" ? ", false, true\n" : ", true, true\n"));
  }
  return Effects{"kill 77 USR1", "sleep 2"} + all;
}

// The daemon lists these lines; the driver knows these stations.
Device::Step lists(const std::string& lines, const std::string& stations = "", const char* channel = "6\n") {
  return in_turn({has_file(kPidFile, "77\n"), has_file(kListFile, lines), prints(kStationsCommand, stations),
                  prints("iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'", channel)});
}
ActionRow row(const char* name, Device::Step prepare, const std::string& clients, Effects changes) {
  return {.name = name,
          .action = "GetConnectedDevices",
          .reply = "OK|ConnectedClients{" + clients + "}",
          .changes = std::move(changes),
          .prepare = std::move(prepare),
          .reads = true,
          .may_miss = "run iwpriv ra0 show stainfo"};
}
const std::string kNobody =
    "ConnectedClient{ConnectTime=|MacAddress=|DeviceName=|PortName=|Wireless=|Active=}";
const std::string kPhone = line("phone", "Wireless"), kLowerMac = "02:aa:00:00:00:02";

const ActionRow kRows[] = {
    row("wired and wireless", lists(line("a", "Wireless") + line("b") + line("c", "Wireless")),
        client("a", "unknow") + "|" + client("b", "LAN") + "|" + client("c", "unknow"),
        said({{"a", "unknow"}, {"b", "LAN"}, {"c", "unknow"}})),
    row("everything is encoded", lists("<t>\t<m>\t10.0.0.2\tA&B\tx\tWired\t<y>\n"),
        "ConnectedClient{ConnectTime=&lt;t&gt;|MacAddress=&lt;m&gt;|DeviceName=A&amp;B|PortName=LAN|Wireless="
        "false"
        "|Active=&lt;y&gt;}",
        said({}) + Effects{"console 1 - <t>, <m>, A&B, LAN, false, <y>\n"}),
    row("found in any letter case",
        lists("too\tfew\n" + line("phone", "Wireless", kLowerMac),
              station(kMac, "CCK", "20M", "11") + "short\n" +
                  station("02:AA:00:00:00:02", "HTMIX", "20M", "65")),
        client("phone", "WLAN 802.11n", kLowerMac), said({{"phone", "WLAN 802.11n"}}, kLowerMac)),
    row("5 GHz", lists(kPhone, station(kMac, "OFDM", "20M", "300"), "36"), client("phone", "WLAN 802.11a"),
        said({{"phone", "WLAN 802.11a"}})),
    row("no last line end", lists(kPhone.substr(0, kPhone.size() - 1)), client("phone", "unknow"),
        said({{"phone", "unknow"}})),
    row("a mode that nobody knows", lists(kPhone, station(kMac, "CCK", "20M", "12")),
        client("phone", "unknow"), said({{"phone", "unknow"}})),
    row("no address matches nothing",
        lists(line("phone", "Wireless", ""), station(kMac, "OFDM", "20M", "54")),
        client("phone", "unknow", ""), said({{"phone", "unknow"}}, "")),
    row("a name that was learned, made printable",
        in_turn({lists(line("a\1bc")), has_file("/tmp/hostname_mdns_10.0.0.2", "A\1B")}),
        client("A??", "LAN"), said({{"a\1bc", "LAN"}})),
    row("a line of 8000 bytes is one client", lists(repeated(8000, "x") + line("no") + line("tv")),
        client("tv", "LAN"), said({{"tv", "LAN"}})),
    row("40 clients", lists(repeated(40, line("tv"))), repeated(40, client("tv", "LAN"), "|"),
        said(std::vector<std::pair<const char*, std::string>>(40, {"tv", "LAN"}))),
    row("list that cannot be opened", in_turn({lists(""), cannot_open(kListFile)}), kNobody, said({})),
    row("no pid file", has_file(kListFile, line("tv")), kNobody, {}),
    row("pid below 0", in_turn({lists(""), has_file(kPidFile, "-1\n")}), kNobody, {"sleep 2"}),
    row("no number", in_turn({lists(""), has_file(kPidFile, "rubbish")}), kNobody, {"sleep 2"}),
    row("the list comes late",
        in_turn({has_file(kPidFile, "77\n"), [](Device& d) { d.at(3, has_file(kListFile, "")); }}), kNobody,
        said({}) + said({})),
};
const bool kAdded = add_rows("ConnectedDevices", kRows);

// Six tries at first; a file that vanishes later is tried five times more.
TEST_F(Clients, NeedAPidFile) {
  const auto tries = [this] {
    ClientList list;
    EXPECT_EQ(kd_hnap_get_client_list(list), -1);
    EXPECT_EQ(list.head, nullptr);
    return count(effects(), "open /var/run/kd_client_list.pid r");
  };
  EXPECT_EQ(tries(), 6);
  device.files[kPidFile] = "77\n";
  device.at(1, has_no_file(kPidFile));
  EXPECT_EQ(tries(), 1 + 5);
}

}  // namespace kd::test::client_list
