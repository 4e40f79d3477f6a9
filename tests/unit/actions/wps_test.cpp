// StartWPS, StopWPS, GetWPSStatus, and the restart of WPS behind changes of the wireless settings.
#include "platform/wps.hpp"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <cstring>

#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using WpsRestart = DeviceTest;

void is_access_point(Device& device) {
  device.set("apClient", "0");
  device.files["/var/run/wpsctl.pid"] = "77\n";
  device.files["/var/run/kd_wps_led.pid"] = "78\n";
  device.files["/var/wps_progress"] = "10\n";
  device.files["/var/wps_status"] = "3\n";
}
ActionRow row(const char* name, const char* action, const std::string& arguments, const char* reply,
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
ActionRow start(const char* name, const std::string& method, const std::string& pin, const std::string& reply,
                Effects changes = {}, Device::Step prepare = nullptr, const std::string& bssid = "") {
  return row(name, "StartWPS", "Method=" + method + "|PIN=" + pin + "|BSSID=" + bssid, reply.c_str(),
             std::move(changes), std::move(prepare));
}
Effects session(const std::string& pin) {
  return {"write /var/run_wps_pin " + pin, "kill 77 USR2"};
}

const Effects kButton = {"kill 77 USR2"};
const ActionRow kRows[] = {
    start("by PIN", "PIN", "12345670", "OK", session("12345670")),
    start("by button", "PBC", "", "OK", kButton),
    start("the button needs no good PIN", "PBC", "x", "OK", kButton),
    start("waits until it is no longer idle", "PBC", "", "OK", {"kill 77 USR2", "sleep 1", "sleep 1"},
          in_turn({has_file("/var/wps_status", "1"),
                   [](Device& d) { d.at(2, has_file("/var/wps_status", "3")); }})),
    start("waits no longer than five looks", "PBC", "", "OK",
          {"kill 77 USR2", "sleep 1", "sleep 1", "sleep 1", "sleep 1"}, has_no_file("/var/wps_progress")),
    start("not on an extender", "PIN", "12345670", "OK", {}, has_stored({{"apClient", "1"}})),
    start("not on a bridge", "PIN", "12345670", "OK", {}, has_stored({{"ethConvert", "1"}})),
    start("a mode without a name is an access point", "PBC", "", "OK", kButton,
          has_stored({{"apClient", "1"}, {"ethConvert", "1"}})),
    start("so is another operation mode", "PBC", "", "OK", kButton,
          has_stored({{"OperationMode", "1"}, {"apClient", "1"}})),
    start("no control process", "PBC", "", "OK", {}, has_no_file("/var/run/wpsctl.pid")),
    start("never to process 0 or to a group", "PBC", "", "OK", {}, has_file("/var/run/wpsctl.pid", "-1\n")),
    start("no method", "", "12345670", "ERROR"),
    start("unknown method", "pbc", "", "ERROR"),
    start("no PIN", "PIN", "", "ERROR"),
    start("PIN of 7 digits", "PIN", "1234567", "ERROR"),
    start("letter in the PIN", "PIN", "0000000x", "ERROR"),
    start("full stop in the PIN", "PIN", "0000000.", "ERROR"),
    start("wrong checksum", "PIN", "12345671", "ERROR"),
    start("checksum over all weights", "PIN", "99999995", "OK", session("99999995")),
    start("PIN of 9 digits counts from its end", "PIN", "912345670", "OK", session("912345670")),
    start("PIN of 20 digits is 4294967295", "PIN", "12345670123456701234", "ERROR"),
    start("letters behind eight digits", "PIN", "12345670kd", "OK", session("12345670kd")),
    start("BSSID", "PBC", "", "ERROR", {}, nullptr, "00:11:22:33:44:55"),
    row("cleans up", "StopWPS", "", "OK",
        {"kill 77 TERM", "run wpsctl &", "sleep 1", "run rm -f /var/wps_*", "run rm -f /var/run_wps_pin",
         "run rm -f /var/gui_wps_waiting"}),
    row("a session", "GetWPSStatus", "", "OK|Status=SEARCHING", {}),
    row("no session", "GetWPSStatus", "", "OK|Status=IDLE", {}, has_no_file("/var/wps_progress")),
    row("no status", "GetWPSStatus", "", "OK|Status=IDLE", {}, has_no_file("/var/wps_status")),
    row("nothing to tell", "GetWPSStatus", "", "OK|Status=", {}, has_file("/var/wps_status", "2")),
    row("the wrong PIN", "GetWPSStatus", "", "OK|Status=ERROR_INVALID_PIN", {},
        in_turn({has_file("/var/wps_status", "2"), has_file("/var/run_wps_pin", "1")})),
    row("what came before counts", "GetWPSStatus", "", "OK|Status=ERROR_SESSION_TIMEOUT", {},
        in_turn({has_file("/var/wps_status", "2"), has_file("/var/wps_last_status", "4"),
                 has_file("/var/wps_progress", "21")})),
    row("the first 128 bytes of a file", "GetWPSStatus", "", "OK|Status=SEARCHING", {},
        has_file("/var/wps_status", std::string(126, ' ') + "350")),
    row("progress that cannot be opened", "GetWPSStatus", "", "OK|Status=SEARCHING", {},
        in_turn({has_file("/var/wps_progress", "100"), cannot_open("/var/wps_progress")})),
};
const bool kAdded = add_rows("Wps", kRows);

TEST(Wps, StatusTexts) {
  const std::string timeout = "ERROR_SESSION_TIMEOUT", walk = "ERROR_WALK_TIMEOUT", none = "(none)";
  const struct {
    int first, last;  // status codes
    int last_status, progress;
    bool pin_session;
    std::string text;
  } rows[] = {
      {-5, 1, 10, 100, true, "IDLE"},
      {3, 3, 0, 99, true, "SEARCHING"},
      {3, 3, 0, 100, false, walk},
      {35, 35, 0, 0, false, "SEARCHING"},
      {35, 35, 0, 100, false, walk},
      {4, 30, 0, 100, true, "REGISTERING"},
      {36, 38, 0, 0, false, "REGISTERING"},
      {39, 39, 0, 100, false, "CONNECTING"},
      {34, 34, 0, 0, false, "CONNECTED"},
      {257, 257, 0, 0, false, "ERROR_SESSION_OVERLOAP"},
      {31, 33, 0, 0, false, timeout},
      {265, 265, 0, 100, true, "ERROR_SESSION_OVERLOAP"},
      {259, 264, 0, 0, false, timeout},
      {40, 256, 4, 100, true, "IDLE"},
      {266, 300, 0, 0, false, "IDLE"},
      {2, 2, 4, 21, true, timeout},
      {2, 2, 38, 100, true, timeout},
      {2, 2, 30, 20, true, "ERROR_INVALID_PIN"},
      {2, 2, 3, 21, true, "ERROR_INVALID_PIN"},
      {2, 2, 31, 50, true, "ERROR_INVALID_PIN"},
      {2, 2, 35, 21, true, "ERROR_INVALID_PIN"},
      {2, 2, 36, 21, true, timeout},
      {2, 2, 0, 100, true, walk},
      {2, 2, 0, 50, false, none},
      {258, 258, 4, 100, true, walk},
      {258, 258, 4, 50, true, none},
  };
  for (const auto& row : rows) {
    for (int status = row.first; status <= row.last; ++status) {
      const char* text = wps_status_text(status, row.last_status, row.progress, row.pin_session);
      EXPECT_EQ(text ? text : none, row.text)
          << status << " after " << row.last_status << ", " << row.progress;
    }
  }
}

const Effects kNoRoute{"run route delete 239.255.255.250 1>/dev/null 2>&1"};
const Effects kStarted{"run iwpriv ra0 set WscConfMode=7",
                       "run route add -host 239.255.255.250 dev br0 1>/dev/null 2>&1",
                       "run wscd -m 1 -a 192.168.10.254 -i ra0 &"};

TEST_F(WpsRestart, RestartsWpsAsStored) {
  const struct {
    const char* name;
    const char *mode, *option, *configured;
    Effects rest;
    bool address = true;
  } rows[] = {
      {"on", "0", "1", "1", kStarted},
      {"on, gateway", "1", "7", "1", kStarted},
      {"not yet configured",
       "0",
       "1",
       "0",
       {kStarted[0], "run iwpriv ra0 set WscConfStatus=1", kStarted[1], kStarted[2]}},
      {"off", "0", "0", "1", kNoRoute},
      {"empty", "0", "", "1", kNoRoute},
      {"compared as text", "0", "x", "1", kStarted},
      {"another mode", "3", "1", "1", {}},
      {"no address", "0", "1", "1", {"print WPSRestart error, can't get lan ip."}, false},
  };
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
    Effects expected = {"run kill -9 `cat /var/run/wscd.pid.ra0`",
                        "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1"};
    expected.insert(expected.end(), row.rest.begin(), row.rest.end());
    Effects done = changes();
    std::erase_if(done, [](const std::string& line) { return line.starts_with("console "); });
    EXPECT_EQ(done, expected) << row.name;
  }
}

}  // namespace
}  // namespace kd::test
