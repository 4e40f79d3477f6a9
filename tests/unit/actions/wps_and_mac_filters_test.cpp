// StartWPS, StopWPS, GetWPSStatus, the restart of WPS behind changes of the wireless settings, and the
// actions that cause one: GetMACFilters2, SetMACFilters2.
#include "platform/wps.hpp"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <cstring>

#include "support/action_rows.hpp"

namespace kd::test::wps {

void is_access_point(Device& device) {
  device.set("apClient", "0");
  device.files["/var/run/wpsctl.pid"] = "77\n";
  device.files["/var/wps_progress"] = "10\n";
  device.files["/var/wps_status"] = "3\n";
}
ActionRow row(const char* name, const char* action, const std::string& arguments, const std::string& reply,
              Effects changes = {}, Device::Step prepare = has_stored({})) {
  ActionRow row{
      name, action, arguments, reply, std::move(changes), in_turn({is_access_point, std::move(prepare)})};
  row.answered_in = kExtenderA;
  row.reads = true;
  return row;
}
ActionRow start(const char* name, const std::string& arguments, Effects changes,
                Device::Step prepare = has_stored({})) {
  return row(name, "StartWPS", arguments + "|BSSID=", "OK", std::move(changes), std::move(prepare));
}
Device::Step has_status(const std::string& status) {
  return has_file("/var/wps_status", status);
}

const Effects kSignal = {"kill 77 USR2"};
constexpr const char *kPin = "Method=PIN|PIN=12345670", *kButton = "Method=PBC|PIN=x";
const ActionRow kRows[] = {
    start("by PIN", kPin, lines("write /var/run_wps_pin 12345670") + kSignal),
    start("the last eight of 10 digits count", "Method=PIN|PIN=3212345670kd",
          lines("write /var/run_wps_pin 3212345670kd") + kSignal),
    start("by button", kButton, kSignal),
    start("not on an extender", kPin, {}, has_stored({{"apClient", "1"}})),
    start("not on a bridge", kPin, {}, has_stored({{"ethConvert", "1"}})),
    start("a mode without a name", kButton, kSignal, has_stored({{"apClient", "1"}, {"ethConvert", "1"}})),
    start("another operation mode", kButton, kSignal,
          has_stored({{"OperationMode", "1"}, {"apClient", "1"}})),
    start("waits until it is no longer idle", kButton, kSignal + Effects{"sleep 1", "sleep 1"},
          in_turn({has_status("1"), [](Device& d) { d.at(2, has_status("3")); }})),
    start("looks five times", kButton, kSignal + Effects(4, "sleep 1"), has_no_file("/var/wps_progress")),
    start("no control process", kButton, {}, has_no_file("/var/run/wpsctl.pid")),
    start("never to process 0 or to a group", kButton, {}, has_file("/var/run/wpsctl.pid", "-1\n")),
    row("unknown method", "StartWPS", "Method=pbc|PIN=|BSSID=", "ERROR"),
    row("PIN of 7 digits", "StartWPS", "Method=PIN|PIN=1234567|BSSID=", "ERROR"),
    row("letter in the PIN", "StartWPS", "Method=PIN|PIN=0000000x|BSSID=", "ERROR"),
    row("wrong checksum", "StartWPS", "Method=PIN|PIN=12345671|BSSID=", "ERROR"),
    row("PIN of 4294967295", "StartWPS", "Method=PIN|PIN=12345670123456701234|BSSID=", "ERROR"),
    row("BSSID", "StartWPS", "Method=PBC|PIN=|BSSID=00:11:22:33:44:55", "ERROR"),
    row("cleans up", "StopWPS", "", "OK",
        {"kill 77 TERM", "run wpsctl &", "sleep 1", "run rm -f /var/wps_*", "run rm -f /var/run_wps_pin",
         "run rm -f /var/gui_wps_waiting"}),
    row("a session", "GetWPSStatus", "", "OK|Status=SEARCHING"),
    row("no session", "GetWPSStatus", "", "OK|Status=IDLE", {}, has_no_file("/var/wps_progress")),
    row("nothing to tell", "GetWPSStatus", "", "OK|Status=", {}, has_status("2")),
    row("the wrong PIN", "GetWPSStatus", "", "OK|Status=ERROR_INVALID_PIN", {},
        in_turn({has_status("2"), has_file("/var/run_wps_pin", "1")})),
    row("what came before counts", "GetWPSStatus", "", "OK|Status=ERROR_SESSION_TIMEOUT", {},
        in_turn(
            {has_status("2"), has_file("/var/wps_last_status", "4"), has_file("/var/wps_progress", "21")})),
    row("the first 128 bytes of a file", "GetWPSStatus", "", "OK|Status=SEARCHING", {},
        has_status(std::string(126, ' ') + "350")),
};
const bool kAdded = add_rows("Wps", kRows);

std::string text_of(int status, int last_status, int progress) {
  const char* text = wps_status_text(status, last_status, progress, true);
  return text ? text : "(nothing)";
}

TEST(WpsStatus, HasItsText) {
  std::string all, last;  // each text behind the first status that has it
  for (int status = -1; status <= 300; ++status) {
    const std::string text = text_of(status, 4, 99);
    if (text != last) all += std::to_string(status) + " " + text + ", ";
    last = text;
  }
  EXPECT_EQ(all,
            "-1 IDLE, 2 ERROR_SESSION_TIMEOUT, 3 SEARCHING, 4 REGISTERING, 31 ERROR_SESSION_TIMEOUT, "
            "34 CONNECTED, 35 SEARCHING, 36 REGISTERING, 39 CONNECTING, 40 IDLE, 257 ERROR_SESSION_OVERLOAP, "
            "258 (nothing), 259 ERROR_SESSION_TIMEOUT, 265 ERROR_SESSION_OVERLOAP, 266 IDLE, ");
  constexpr const char *kTime = "ERROR_SESSION_TIMEOUT", *kWalk = "ERROR_WALK_TIMEOUT",
                       *kWrong = "ERROR_INVALID_PIN";
  const std::tuple<int, int, int, const char*> rows[] = {
      {3, 0, 100, kWalk},  {35, 0, 100, kWalk}, {258, 4, 100, kWalk}, {2, 0, 100, kWalk},
      {2, 4, 21, kTime},   {2, 4, 20, kWrong},  {2, 3, 21, kWrong},   {2, 31, 21, kWrong},
      {2, 35, 21, kWrong}, {2, 38, 100, kTime}, {31, 0, 100, kTime},  {39, 0, 100, "CONNECTING"}};
  for (const auto& [status, before, progress, text] : rows) {
    EXPECT_EQ(text_of(status, before, progress), text)
        << status << " behind " << before << " at " << progress;
  }
}

using WpsRestart = DeviceTest;

TEST_F(WpsRestart, FollowsTheStore) {
  const Effects pinned = {"console iwpriv ra0 set WscConfMode=7\n", "run iwpriv ra0 set WscConfMode=7"},
                on = {"run route add -host 239.255.255.250 dev br0 1>/dev/null 2>&1",
                      "console wscd -m 1 -a 192.168.10.254 -i ra0 &\n",
                      "run wscd -m 1 -a 192.168.10.254 -i ra0 &"},
                off = {"run route delete 239.255.255.250 1>/dev/null 2>&1"},
                no_address = {"print WPSRestart error, can't get lan ip."};
  const auto check = [&](const char* mode, const char* option, const char* configured, const Effects& rest) {
    has_stored({{"OperationMode", mode}, {"WscModeOption", option}, {"WscConfigured", configured}})(device);
    kd_restart_wps();
    EXPECT_EQ(changes(), lines("run kill -9 `cat /var/run/wscd.pid.ra0`",
                               "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1") +
                             rest)
        << mode << option << configured;
  };
  check("0", "1", "1", no_address);
  device.driver = [](DriverRequest& request) {
    sockaddr_in address{};
    address.sin_addr.s_addr = htonl(0xC0A80AFE);
    std::memcpy(&static_cast<ifreq*>(request.argument)->ifr_addr, &address, sizeof address);
    return request.number == SIOCGIFADDR && request.ifname == "br0";
  };
  check("0", "1", "1", pinned + on);
  check("0", "x", "1", pinned + on);
  check("0", "1", "0", pinned + Effects{"run iwpriv ra0 set WscConfStatus=1"} + on);
  check("0", "0", "1", off);
  check("3", "1", "1", {});
}

const std::string kLower = "00:23:45:67:89:ab", kUpper = "00:23:45:67:89:AB", kOther = "02:00:00:00:00:01";

// So many addresses, each in its frame and with a separator between them.
std::string addresses(unsigned count, const std::string& before, const std::string& behind,
                      const char* separator) {
  std::string list;
  for (unsigned i = 0; i < count; ++i) {
    list += (i ? separator : "") + before + "00:23:45:67:89:" + std::to_string(10 + i) + behind;
  }
  return list;
}
std::string info(const std::string& mac) {
  return "MACInfo{MacAddress=" + mac + "|DeviceName=Anna's phone}";
}
std::string infos(unsigned count) {
  return addresses(count, "MACInfo{MacAddress=", "|DeviceName=}", "|");
}

const Effects kRestarted = lines(
    "nvram commit 0", "run ifconfig ra0 down", "run ralink_init make_wireless_config rt2860",
    "run ifconfig ra0 up", "run kill -9 `cat /var/run/wscd.pid.ra0`",
    "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1", "run route delete 239.255.255.250 1>/dev/null 2>&1");
ActionRow set(const char* name, const std::string& enabled, const char* allow, const std::string& list,
              const char* policy = nullptr, const std::string& stored = "") {
  ActionRow row{name, "SetMACFilters2",
                "Enabled=" + enabled + "|IsAllowList=" + allow + "|MACList{" + list + "}",
                policy ? "OK" : "ERROR"};
  row.may_miss = "run route";  // a mode that cannot be read switches WPS off
  if (!policy) return row;
  row.changes = {std::string{"nvram set AccessPolicy0="} + policy};
  if (*policy != '0') row.changes.push_back("nvram set AccessControlList0=" + stored);
  row.changes = row.changes + kRestarted;
  return row;
}
const ActionRow kSet[] = {
    set("allow list", "true", "true", info(kLower) + "|" + info(kOther), "1", kLower + ";" + kOther),
    set("deny list", "true", "false", info(kLower), "2", kLower),
    set("off leaves the list", "false", "true", info(kLower), "0"),
    set("empty list", "true", "true", "", "1"),
    set("32 addresses", "true", "true", infos(32), "1", addresses(32, "", "", ";")),
    set("a lower-case repeat", "true", "true", info(kLower) + "|" + info(kLower), "1", kLower + ";" + kLower),
    set("the later list", "true|MACList{" + infos(32) + "}|MACList{" + info(kLower) + "}", "true", "", "1",
        kLower),
    set("33 addresses", "true", "true", infos(33)),
    set("repeat of an upper-case address", "true", "true", info(kUpper) + "|" + info(kLower)),
    set("dash at the end", "true", "true", info("00:23:45:67:89-ab")),
    set("multicast", "true", "true", info("03:00:00:00:00:01")),
    set("not hexadecimal", "true", "true", info("00:23:45:67:89:ag")),
    set("the second has no address", "true", "true", info(kLower) + "|" + info("")),
    set("another element in place of the name", "true", "true", "MACInfo{MacAddress=" + kLower + "|Name=}"),
    set("no name", "true", "true", "MACInfo{MacAddress=" + kLower + "}"),
    set("neither true nor false", "TRUE", "true", ""),
};
const bool kSetAdded = add_rows("SetMacFilters", kSet);

ActionRow get(const char* policy, const char* name, const std::string& list, const char* enabled,
              const char* allow, const std::string& listed) {
  ActionRow row{name, "GetMACFilters2", "",
                std::string{"OK|Enabled="} + enabled + "|IsAllowList=" + allow + "|MACList{" + listed + "}"};
  row.prepare = has_stored({{"AccessPolicy0", policy}, {"AccessControlList0", list}});
  row.reads = true;
  return row;
}
const std::string kOne = "MACInfo{MacAddress=" + kOther + "|DeviceName=}";
const ActionRow kGet[] = {
    get("1", "allow list with gaps", kOther + ";;00:23:45;" + kOther + ";03:00:00:00:00:01;", "true", "true",
        kOne + "|" + kOne),
    get("2", "deny list", kOther, "true", "false", kOne),
    get("0", "off, the list stays", kOther, "false", "false", kOne),
    get("3", "unknown policy", "", "false", "false", ""),
    get("2", "no more than 32", addresses(50, "", "", ";"), "true", "false", infos(32)),
};
const bool kGetAdded = add_rows("GetMacFilters", kGet);

}  // namespace kd::test::wps
