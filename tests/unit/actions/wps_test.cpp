// StartWPS, StopWPS, GetWPSStatus, and the restart of WPS behind changes of the wireless settings.
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
              Effects changes, Device::Step prepare) {
  return {.name = name,
          .action = action,
          .arguments = arguments,
          .reply = reply,
          .changes = std::move(changes),
          .prepare = in_turn({is_access_point, std::move(prepare)}),
          .answered_in = kExtenderA,
          .reads = true};
}
ActionRow refused(const char* name, const std::string& arguments) {
  return row(name, "StartWPS", arguments, "ERROR", {}, has_stored({}));
}
ActionRow by_button(const char* name, Effects changes, Device::Step prepare = has_stored({})) {
  return row(name, "StartWPS", "Method=PBC|PIN=x|BSSID=", "OK", std::move(changes), std::move(prepare));
}
ActionRow by_pin(const char* name, const std::string& pin) {
  return row(name, "StartWPS", "Method=PIN|PIN=" + pin + "|BSSID=", "OK",
             {"write /var/run_wps_pin " + pin, "kill 77 USR2"}, has_stored({}));
}
ActionRow status(const char* name, const std::string& text, Device::Step prepare = has_stored({})) {
  return row(name, "GetWPSStatus", "", "OK|Status=" + text, {}, std::move(prepare));
}

const Effects kSignal = {"kill 77 USR2"};
const ActionRow kRows[] = {
    by_pin("by PIN", "12345670"),
    by_pin("checksum over all weights", "99999995"),
    by_pin("PIN of 10 digits counts from its end", "3212345670"),
    by_pin("letters behind eight digits", "12345670kd"),
    by_button("by button", kSignal),
    by_button("not on an extender", {}, has_stored({{"apClient", "1"}})),
    by_button("not on a bridge", {}, has_stored({{"ethConvert", "1"}})),
    by_button("a mode without a name", kSignal, has_stored({{"apClient", "1"}, {"ethConvert", "1"}})),
    by_button("another operation mode", kSignal, has_stored({{"OperationMode", "1"}, {"apClient", "1"}})),
    by_button("waits until it is no longer idle", kSignal + Effects{"sleep 1", "sleep 1"},
              in_turn({has_file("/var/wps_status", "1"),
                       [](Device& d) { d.at(2, has_file("/var/wps_status", "3")); }})),
    by_button("looks five times", kSignal + Effects(4, "sleep 1"), has_no_file("/var/wps_progress")),
    by_button("no control process", {}, has_no_file("/var/run/wpsctl.pid")),
    by_button("never to process 0 or to a group", {}, has_file("/var/run/wpsctl.pid", "-1\n")),
    refused("no method", "Method=|PIN=12345670|BSSID="),
    refused("unknown method", "Method=pbc|PIN=|BSSID="),
    refused("PIN of 7 digits", "Method=PIN|PIN=1234567|BSSID="),
    refused("letter in the PIN", "Method=PIN|PIN=0000000x|BSSID="),
    refused("full stop in the PIN", "Method=PIN|PIN=0000000.|BSSID="),
    refused("wrong checksum", "Method=PIN|PIN=12345671|BSSID="),
    refused("PIN of 20 digits is 4294967295", "Method=PIN|PIN=12345670123456701234|BSSID="),
    refused("BSSID", "Method=PBC|PIN=|BSSID=00:11:22:33:44:55"),
    row("cleans up", "StopWPS", "", "OK",
        {"kill 77 TERM", "run wpsctl &", "sleep 1", "run rm -f /var/wps_*", "run rm -f /var/run_wps_pin",
         "run rm -f /var/gui_wps_waiting"},
        has_stored({})),
    status("a session", "SEARCHING"),
    status("no session", "IDLE", has_no_file("/var/wps_progress")),
    status("no status", "IDLE", has_no_file("/var/wps_status")),
    status("nothing to tell", "", has_file("/var/wps_status", "2")),
    status("the wrong PIN", "ERROR_INVALID_PIN",
           in_turn({has_file("/var/wps_status", "2"), has_file("/var/run_wps_pin", "1")})),
    status("what came before counts", "ERROR_SESSION_TIMEOUT",
           in_turn({has_file("/var/wps_status", "2"), has_file("/var/wps_last_status", "4"),
                    has_file("/var/wps_progress", "21")})),
    status("the first 128 bytes of a file", "SEARCHING",
           has_file("/var/wps_status", std::string(126, ' ') + "350")),
    status("progress that cannot be opened", "SEARCHING",
           in_turn({has_file("/var/wps_progress", "100"), cannot_open("/var/wps_progress")})),
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
                       *kPin = "ERROR_INVALID_PIN";
  const std::tuple<int, int, int, const char*> rows[] = {
      {3, 0, 100, kWalk}, {35, 0, 100, kWalk}, {258, 4, 100, kWalk},      {2, 0, 100, kWalk},
      {2, 4, 21, kTime},  {2, 4, 20, kPin},    {2, 3, 21, kPin},          {2, 30, 21, kTime},
      {2, 31, 21, kPin},  {2, 35, 21, kPin},   {2, 36, 21, kTime},        {2, 38, 100, kTime},
      {2, 39, 21, kPin},  {31, 0, 100, kTime}, {39, 0, 100, "CONNECTING"}};
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
  check("1", "7", "1", pinned + on);
  check("0", "x", "1", pinned + on);
  check("0", "1", "0", pinned + Effects{"run iwpriv ra0 set WscConfStatus=1"} + on);
  check("0", "0", "1", off);
  check("0", "", "1", off);
  check("3", "1", "1", {});
  device.broken = {"socket"};
  check("0", "1", "1", no_address);
}

}  // namespace kd::test::wps
