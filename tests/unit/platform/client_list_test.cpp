// The client list and GetConnectedDevices.
#include "platform/client_list.hpp"

#include "support/action_rows.hpp"
#include "support/radio_reports.hpp"

namespace kd::test::client_list {

constexpr const char *kPidFile = "/var/run/kd_client_list.pid", *kListFile = "/tmp/connected_client_list",
                     *kNetbios = "/tmp/hostname_netbios_10.0.0.2", *kMdns = "/tmp/hostname_mdns_10.0.0.2";
const std::string kMac = "02:AA:00:00:00:01";

std::string repeated(int count, const std::string& text = "x") {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
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
      "plain\n\x7F", "plain\n\x7F", "\x1F c", "??c", "caf\xC3\xA9", "caf??", a253 + "a\t", a253 + "a?");
}

std::string line(const std::string& name, const char* type = "Wired", const std::string& mac = kMac) {
  return "08:15\t" + mac + "\t10.0.0.2\t" + name + "\tx\t" + type + "\ttrue\n";
}
// The daemon lists these lines; the driver knows these stations.
Device::Step lists(const std::string& lines, const std::string& stations = "", const char* channel = "6\n") {
  return in_turn({has_file(kPidFile, "77\n"), has_file(kListFile, lines), prints(kStationsCommand, stations),
                  prints("iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'", channel)});
}
ActionRow row(const char* name, Device::Step prepare, Effects changes,
              const std::string& clients =
                  "ConnectedClient{ConnectTime=|MacAddress=|DeviceName=|PortName=|Wireless=|Active=}") {
  const std::string reply = "OK|ConnectedClients{" + clients + "}";
  ActionRow row{name, "GetConnectedDevices", "", reply, std::move(changes), std::move(prepare)};
  row.reads = true;
  row.may_miss = "run iwpriv ra0 show stainfo";
  return row;
}
const Effects kAsked = {"kill 77 USR1", "sleep 2"};

const ActionRow kRows[] = {
    row("wired and wireless, encoded",
        lists("<t>\t<m>\t10.0.0.3\tA&B\tx\tWired\t<y>\n" + line("phone", "Wireless"),
              station(kMac, "OFDM", "20M", "54")),
        kAsked + lines("run iwpriv ra0 show stainfo", "console 1 - <t>, <m>, A&B, LAN, false, <y>\n",
                       "console 2 - 08:15, " + kMac + ", phone, WLAN 802.11g, true, true\n"),
        "ConnectedClient{ConnectTime=&lt;t&gt;|MacAddress=&lt;m&gt;|DeviceName=A&amp;B|PortName=LAN"
        "|Wireless=false|Active=&lt;y&gt;}|ConnectedClient{ConnectTime=08:15|MacAddress=" +
            kMac + "|DeviceName=phone|PortName=WLAN 802.11g|Wireless=true|Active=true}"),
    row("columns that are too long, and too few",
        in_turn({lists(repeated(20) + "\t" + repeated(18) + "\t" + repeated(17) +
                       "\tname\t\tWireless \tfalse\ttrue\n1\t2\t3\t4\t5\tWireless"),
                 has_file("/tmp/hostname_mdns_" + repeated(16), "else")}),
        kAsked + Effects{"console 1 - " + repeated(19) + ", " + repeated(17) + ", name, LAN, false, false\n"},
        "ConnectedClient{ConnectTime=" + repeated(19) + "|MacAddress=" + repeated(17) +
            "|DeviceName=els|PortName=LAN|Wireless=false|Active=false}"),
    row("list that cannot be opened", in_turn({lists(line("tv")), cannot_open(kListFile)}), kAsked),
    row("no pid file", has_file(kListFile, line("tv")), {}),
    row("pid below 0", in_turn({lists(""), has_file(kPidFile, "-1\n")}), {"sleep 2"}),
    row("the list comes late",
        in_turn({has_file(kPidFile, "77\n"), [](Device& d) { d.at(3, has_file(kListFile, "")); }}),
        kAsked + kAsked),
};
const bool kAdded = add_rows("ConnectedDevices", kRows);

using Clients = DeviceTest;

TEST_F(Clients, HaveANameAndAPort) {
  const std::string phone = line("phone", "Wireless"), lower_mac = "02:aa:00:00:00:02";
  const std::tuple<const char*, Device::Step, std::string> rows[] = {
      {"found in any letter case",
       lists(line("phone", "Wireless", lower_mac), station(kMac, "CCK", "20M", "11") + "short\n" +
                                                       station("02:AA:00:00:00:02", "HTMIX", "20M", "65")),
       "phone:WLAN 802.11n "},
      {"5 GHz", lists(phone, station(kMac, "OFDM", "20M", "300"), "36"), "phone:WLAN 802.11a "},
      {"not in the table", lists(phone + line("tv") + phone), "phone:unknow tv:LAN phone:unknow "},
      {"no address matches nothing", lists(line("phone", "Wireless", ""), station(kMac, "OFDM", "20M", "54")),
       "phone:unknow "},
      {"a line of 8000 bytes is one client", lists(repeated(8000) + line("no") + line("tv")), "tv:LAN "},
      {"40 clients", lists(repeated(40, line("tv"))), repeated(40, "tv:LAN ")},
      {"learned, as far as it fits, made printable",
       in_turn({lists(line("twelve chars")), has_file(kNetbios, "\1teen-character")}), "??een-chara:LAN "},
      {"of two names", in_turn({lists(line("phone")), has_file(kNetbios, "old"), has_file(kMdns, "new")}),
       "old:LAN "},
      {"up to a NUL", in_turn({lists(line("phone")), has_file(kMdns, {"a\0b", 3})}), "a:LAN "},
      {"in the room of an empty name", in_turn({lists(line("")), has_file(kMdns, "new")}), ":LAN "},
      {"not elsewhere",
       in_turn({lists("t\tm\t/../x\tphone\tx\tWired\ttrue\n"), has_file("/tmp/hostname_mdns_/../x", "no")}),
       "phone:LAN "},
  };
  for (const auto& [name, prepare, clients] : rows) {
    device.files.clear();
    device.broken.clear();
    prepare(device);
    const std::string reply = ask(soap("GetConnectedDevices"));
    std::string all;
    for (std::string_view rest = reply; rest.find("<DeviceName>") != rest.npos; rest.remove_prefix(1)) {
      rest.remove_prefix(rest.find("<DeviceName>"));
      all += value_in(rest, "DeviceName") + ":" + value_in(rest, "PortName") + " ";
    }
    EXPECT_EQ(all, clients) << name;
  }
}

// Six tries at first; a file that vanishes later is tried five times more.
TEST_F(Clients, NeedAPidFile) {
  ClientList list;
  EXPECT_EQ(kd_hnap_get_client_list(list), -1);
  EXPECT_EQ(count(effects(), "open /var/run/kd_client_list.pid r"), 6);
  device.files[kPidFile] = "77\n";
  device.at(1, has_no_file(kPidFile));
  EXPECT_EQ(kd_hnap_get_client_list(list), -1);
  EXPECT_EQ(count(effects(), "open /var/run/kd_client_list.pid r"), 1 + 5);
}

}  // namespace kd::test::client_list
