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
  device.files["/var/run/kd_wps_led.pid"] = "78\n";
  device.files["/var/wps_progress"] = "10\n";
  device.files["/var/wps_status"] = "3\n";
}
ActionRow row(const char* name, const char* action, const std::string& arguments, const std::string& reply,
              Effects changes, Device::Step prepare = nullptr) {
  if (!prepare) prepare = [](Device&) {};
  return {.name = name,
          .action = action,
          .arguments = arguments,
          .reply = reply,
          .changes = std::move(changes),
          .prepare = in_turn({is_access_point, std::move(prepare)}),
          .answered_in = kExtenderA,
          .reads = true};
}
ActionRow refused(const char* name, const std::string& method, const std::string& pin,
                  const std::string& bssid = "") {
  return row(name, "StartWPS", "Method=" + method + "|PIN=" + pin + "|BSSID=" + bssid, "ERROR", {});
}
ActionRow by_button(const char* name, Effects changes, Device::Step prepare = nullptr) {
  return row(name, "StartWPS", "Method=PBC|PIN=x|BSSID=", "OK", std::move(changes), std::move(prepare));
}
ActionRow by_pin(const char* name, const std::string& pin, Device::Step prepare = nullptr) {
  Effects changes = {"write /var/run_wps_pin " + pin, "kill 77 USR2"};
  return row(name, "StartWPS", "Method=PIN|PIN=" + pin + "|BSSID=", "OK", prepare ? Effects{} : changes,
             prepare);
}
ActionRow status(const char* name, const std::string& text, Device::Step prepare = nullptr) {
  return row(name, "GetWPSStatus", "", "OK|Status=" + text, {}, std::move(prepare));
}

const Effects kSignal = {"kill 77 USR2"};
const ActionRow kRows[] = {
    by_pin("by PIN", "12345670"),
    by_pin("checksum over all weights", "99999995"),
    by_pin("PIN of 9 digits counts from its end", "912345670"),
    by_pin("letters behind eight digits", "12345670kd"),
    by_pin("not on an extender", "12345670", has_stored({{"apClient", "1"}})),
    by_pin("not on a bridge", "12345670", has_stored({{"ethConvert", "1"}})),
    by_button("by button", kSignal),
    by_button("waits until it is no longer idle", kSignal + Effects{"sleep 1", "sleep 1"},
              in_turn({has_file("/var/wps_status", "1"),
                       [](Device& d) { d.at(2, has_file("/var/wps_status", "3")); }})),
    by_button("looks five times", kSignal + Effects(4, "sleep 1"), has_no_file("/var/wps_progress")),
    by_button("a mode without a name", kSignal, has_stored({{"apClient", "1"}, {"ethConvert", "1"}})),
    by_button("another operation mode", kSignal, has_stored({{"OperationMode", "1"}, {"apClient", "1"}})),
    by_button("no control process", {}, has_no_file("/var/run/wpsctl.pid")),
    by_button("never to process 0 or to a group", {}, has_file("/var/run/wpsctl.pid", "-1\n")),
    refused("no method", "", "12345670"),
    refused("unknown method", "pbc", ""),
    refused("PIN of 7 digits", "PIN", "1234567"),
    refused("letter in the PIN", "PIN", "0000000x"),
    refused("full stop in the PIN", "PIN", "0000000."),
    refused("wrong checksum", "PIN", "12345671"),
    refused("PIN of 20 digits is 4294967295", "PIN", "12345670123456701234"),
    refused("BSSID", "PBC", "", "00:11:22:33:44:55"),
    row("cleans up", "StopWPS", "", "OK",
        {"kill 77 TERM", "run wpsctl &", "sleep 1", "run rm -f /var/wps_*", "run rm -f /var/run_wps_pin",
         "run rm -f /var/gui_wps_waiting"}),
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

// One letter for each text.
std::string letters(int first, int last, int last_status, int progress, bool is_pin_session) {
  const std::map<std::string, char> kLetters = {{"IDLE", 'i'},
                                                {"SEARCHING", 's'},
                                                {"REGISTERING", 'r'},
                                                {"CONNECTING", 'c'},
                                                {"CONNECTED", 'C'},
                                                {"ERROR_WALK_TIMEOUT", 'W'},
                                                {"ERROR_SESSION_TIMEOUT", 'T'},
                                                {"ERROR_SESSION_OVERLOAP", 'O'},
                                                {"ERROR_INVALID_PIN", 'P'}};
  std::string all;
  for (int status = first; status <= last; ++status) {
    const char* text = wps_status_text(status, last_status, progress, is_pin_session);
    all += text ? kLetters.at(text) : '-';
  }
  return all;
}

TEST(WpsStatus, HasItsText) {
  const std::string registering(27, 'r');
  EXPECT_EQ(letters(-1, 41, 0, 99, false), "iii-s" + registering + "TTTCsrrrcii");
  EXPECT_EQ(letters(-1, 41, 0, 100, false), "iiiWW" + registering + "TTTCWrrrcii");
  EXPECT_EQ(letters(255, 267, 4, 50, true), "iiO-TTTTTTOii");
  EXPECT_EQ(letters(258, 258, 4, 100, true), "W");
  const std::tuple<int, int, const char*> rows[] = {{4, 21, "T"},  {38, 100, "T"}, {30, 20, "P"},
                                                    {3, 21, "P"},  {31, 50, "P"},  {35, 21, "P"},
                                                    {36, 21, "T"}, {0, 100, "W"}};
  for (const auto& [before, progress, text] : rows)
    EXPECT_EQ(letters(2, 2, before, progress, true), text) << before;
}

using WpsRestart = DeviceTest;

TEST_F(WpsRestart, FollowsTheStore) {
  const Effects off = {"run route delete 239.255.255.250 1>/dev/null 2>&1"};
  const Effects on = {"console iwpriv ra0 set WscConfMode=7\n", "run iwpriv ra0 set WscConfMode=7",
                      "run route add -host 239.255.255.250 dev br0 1>/dev/null 2>&1",
                      "console wscd -m 1 -a 192.168.10.254 -i ra0 &\n",
                      "run wscd -m 1 -a 192.168.10.254 -i ra0 &"};
  Effects unconfigured = on;
  unconfigured.insert(unconfigured.begin() + 2, "run iwpriv ra0 set WscConfStatus=1");
  const struct {
    const char *mode, *option, *configured;
    Effects rest;
    bool address = true;
  } rows[] = {
      {"0", "1", "1", on},           {"1", "7", "1", on},
      {"0", "1", "0", unconfigured}, {"0", "0", "1", off},
      {"0", "", "1", off},           {"0", "x", "1", on},
      {"3", "1", "1", {}},           {"0", "1", "1", {"print WPSRestart error, can't get lan ip."}, false}};
  for (const auto& row : rows) {
    has_stored({{"OperationMode", row.mode},
                {"WscModeOption", row.option},
                {"WscConfigured", row.configured}})(device);
    device.driver = [&](DriverRequest& request) {
      sockaddr_in address{};
      address.sin_addr.s_addr = htonl(0xC0A80AFE);
      std::memcpy(&static_cast<ifreq*>(request.argument)->ifr_addr, &address, sizeof address);
      return row.address && request.number == SIOCGIFADDR && request.ifname == "br0";
    };
    kd_restart_wps();
    EXPECT_EQ(changes(), (Effects{"run kill -9 `cat /var/run/wscd.pid.ra0`",
                                  "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1"}) +
                             row.rest)
        << row.mode << row.option << row.configured;
  }
}

}  // namespace kd::test::wps
