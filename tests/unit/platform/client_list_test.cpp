// The client list and GetConnectedDevices.
#include "platform/client_list.hpp"

#include "base/text.hpp"
#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

using Clients = DeviceTest;

constexpr const char* kPidFile = "/var/run/kd_client_list.pid";
constexpr const char* kListFile = "/tmp/connected_client_list";
const std::string kMac = "02:AA:00:00:00:01";

TEST(ClientLine, HasSevenColumns) {
  const auto long_line = [](std::size_t time, std::size_t mac, std::size_t address, std::size_t name,
                            std::size_t active, const char* separator, const char* mode) {
    return std::string(time, 't') + separator + std::string(mac, 'm') + separator +
           std::string(address, 'a') + separator + std::string(name, 'n') + separator + mode + separator +
           std::string(active, 'y');
  };
  const std::pair<std::string, std::string> rows[] = {
      // fields joined by "|"; empty: skipped
      {"t\tm\ta\tn\tx\tEthernet\ttrue", "t|m|a|n|false|true"},
      {"t\tm\ta\tn\tx\tWireless\tno", "t|m|a|n|true|no"},
      {"t\tm\ta\tn\tx\tWireless \tno", "t|m|a|n|false|no"},
      {"\t\t\t\t\t\t", "||||false|"},
      {"t\tm\ta\tn\tx\tWireless", ""},
      {"", ""},
      {"t\tm\ta\tn\tx\tw\tyes\tz", "t|m|a|n|false|yes\tz"},
      {long_line(30, 30, 30, 300, 9, "\t", "x\tw"), long_line(19, 17, 16, 255, 5, "|", "false")}};
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
      {"\x1F ", "??"},
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

TEST_F(Clients, LearnsNames) {
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
    device.files.clear();
    if (row.netbios != "-") device.files["/tmp/hostname_netbios_10.0.0.2"] = row.netbios;
    if (row.mdns != "-") device.files["/tmp/hostname_mdns_10.0.0.2"] = row.mdns;
    client_entry entry{};
    copy_text(entry.network_address, "10.0.0.2");
    copy_text(entry.device_name, row.listed);
    learn_device_name(entry);
    EXPECT_EQ(std::string{entry.device_name}, row.learned) << row.name;
  }
  effects();
  client_entry entry{};
  copy_text(entry.network_address, "/../etc/passwd");
  learn_device_name(entry);
  EXPECT_EQ(effects(), Effects{});
}

std::string line(const std::string& name, const std::string& type = "Wired", const std::string& mac = kMac) {
  return "08:15\t" + mac + "\t10.0.0.2\t" + name + "\tx\t" + type + "\ttrue\n";
}
std::string client(const std::string& name, const std::string& port, const std::string& wireless = "true",
                   const std::string& mac = kMac) {
  return "ConnectedClient{ConnectTime=08:15|MacAddress=" + mac + "|DeviceName=" + name + "|PortName=" + port +
         "|Wireless=" + wireless + "|Active=true}";
}
std::string said(unsigned number, const std::string& name, const std::string& port,
                 const std::string& wireless = "true", const std::string& mac = kMac) {
  return "console " + std::to_string(number) + " - 08:15, " + mac + ", " + name + ", " + port + ", " +
         wireless + ", true\n";
}

// The daemon lists these lines; the driver knows these stations.
Device::Step lists(const std::string& lines, const std::string& stations = "", const char* channel = "6\n") {
  return in_turn({has_file(kPidFile, "77\n"), has_file(kListFile, lines), prints(kStationsCommand, stations),
                  prints("iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'", channel)});
}
ActionRow row(const char* name, Device::Step prepare, const std::string& clients, Effects changes,
              bool is_asked = true) {
  if (is_asked) changes.insert(changes.begin(), {"kill 77 USR1", "sleep 2"});
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
const std::string kPhone = line("phone", "Wireless"), kPoint = station(kMac, "OFDM", "20M", "54");
constexpr const char* kShow = "run iwpriv ra0 show stainfo";

Effects said_of(unsigned count) {
  Effects all;
  for (unsigned i = 1; i <= count; ++i) all.push_back(said(i, "tv", "LAN", "false"));
  return all;
}
std::string repeated(unsigned count, const std::string& text, const char* separator) {
  std::string all;
  for (unsigned i = 0; i < count; ++i) all += (i ? separator : "") + text;
  return all;
}

const ActionRow kRows[] = {
    row("wired and wireless, stations asked for each",
        lists(line("a", "Wireless") + line("b") + line("c", "Wireless")),
        client("a", "unknow") + "|" + client("b", "LAN", "false") + "|" + client("c", "unknow"),
        {kShow, kShow, said(1, "a", "unknow"), said(2, "b", "LAN", "false"), said(3, "c", "unknow")}),
    row("nobody", lists(""), kNobody, {}),
    row("everything is encoded", lists("<t>\t<m>\t10.0.0.2\tA&B\tx\tWired\t<y>\n"),
        "ConnectedClient{ConnectTime=&lt;t&gt;|MacAddress=&lt;m&gt;|DeviceName=A&amp;B|PortName=LAN|Wireless="
        "false"
        "|Active=&lt;y&gt;}",
        {"console 1 - <t>, <m>, A&B, LAN, false, <y>\n"}),
    row("found in any letter case",
        lists("too\tfew\n" + line("phone", "Wireless", "02:aa:00:00:00:02"),
              station(kMac, "CCK", "20M", "11") + "short\n" +
                  station("02:AA:00:00:00:02", "HTMIX", "20M", "65")),
        client("phone", "WLAN 802.11n", "true", "02:aa:00:00:00:02"),
        {kShow, said(1, "phone", "WLAN 802.11n", "true", "02:aa:00:00:00:02")}),
    row("5 GHz", lists(kPhone, station(kMac, "OFDM", "20M", "300"), "36"), client("phone", "WLAN 802.11a"),
        {kShow, said(1, "phone", "WLAN 802.11a")}),
    row("not in the table, no last line end", lists(kPhone.substr(0, kPhone.size() - 1)),
        client("phone", "unknow"), {kShow, said(1, "phone", "unknow")}),
    row("a mode that nobody knows", lists(kPhone, station(kMac, "CCK", "20M", "12")),
        client("phone", "unknow"), {kShow, said(1, "phone", "unknow")}),
    row("no address matches nothing", lists(line("phone", "Wireless", ""), kPoint),
        client("phone", "unknow", "true", ""), {kShow, said(1, "phone", "unknow", "true", "")}),
    row("a name that was learned, made printable",
        in_turn({lists(line("a\1bc")), has_file("/tmp/hostname_mdns_10.0.0.2", "A\1B")}),
        client("A??", "LAN", "false"), {said(1, "a\1bc", "LAN", "false")}),
    row("a line of 8000 bytes is one client", lists(std::string(8000, 'x') + line("no") + line("tv")),
        client("tv", "LAN", "false"), said_of(1)),
    row("40 clients", lists(repeated(40, line("tv"), "")), repeated(40, client("tv", "LAN", "false"), "|"),
        said_of(40)),
    row("list that cannot be opened", in_turn({lists(""), cannot_open(kListFile)}), kNobody, {}),
    row("no pid file", has_file(kListFile, line("tv")), kNobody, {}, false),
    row("pid file without a number", in_turn({lists(""), has_file(kPidFile, "rubbish")}), kNobody,
        {"sleep 2"}, false),
    row("pid below 0", in_turn({lists(""), has_file(kPidFile, "-1\n")}), kNobody, {"sleep 2"}, false),
    row("the list comes late",
        in_turn({has_file(kPidFile, "77\n"), [](Device& d) { d.at(5, has_file(kListFile, "")); }}), kNobody,
        {"kill 77 USR1", "sleep 2", "kill 77 USR1", "sleep 2"}),
};
const bool kAdded = add_rows("ConnectedDevices", kRows);

// Six tries at first; a file that vanishes later is tried five times more.
TEST_F(Clients, CountsItsTriesAtThePidFile) {
  const auto tries = [this] {
    ClientList list;
    EXPECT_EQ(kd_hnap_get_client_list(list), -1);
    EXPECT_EQ(list.head, nullptr);
    const Effects done = effects();
    return std::count(done.begin(), done.end(), std::string{"open "} + kPidFile + " r");
  };
  EXPECT_EQ(tries(), 6);
  device.files[kPidFile] = "77\n";
  device.at(1, has_no_file(kPidFile));
  EXPECT_EQ(tries(), 1 + 5);
}

}  // namespace
}  // namespace kd::test
