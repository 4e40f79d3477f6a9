// StartWPS, StopWPS, GetWPSStatus: complete, but in the table only on request.
#include "platform/wps.hpp"

#include <cstring>

#include "platform/radio.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

using Effects = std::vector<std::string>;

void prepare_access_point(Device& device) {
  device.set("apClient", "0");
  device.files["/var/run/wpsctl.pid"] = "77\n";
  device.files["/var/wps_progress"] = "10\n";
  device.files["/var/wps_status"] = "3\n";
}

ActionCase handled(const char* name, const char* action, action_handler handler, Arguments arguments,
                   std::string reply, Effects changes, Device::Step prepare) {
  ActionCase made{
      name, action, std::move(arguments), std::move(reply), std::move(changes), std::move(prepare)};
  made.reply_namespace = EXTENDER_NAMESPACE_A;
  made.handler = handler;
  return made;
}
ActionCase start(const char* name, Arguments arguments, const char* reply, Effects changes = {},
                 Device::Step more = prepare_access_point) {
  return handled(name, "StartWPS", start_wps, std::move(arguments), reply, std::move(changes),
                 in_turn({prepare_access_point, std::move(more)}));
}

Arguments session(const std::string& method, const std::string& pin, const std::string& bssid = "") {
  return {{"Method", method}, {"PIN", pin}, {"BSSID", bssid}};
}

const ActionCase kStart[] = {
    start("by button", session("PBC", ""), "OK", {"kill 77 USR2"}),
    start("by PIN", session("PIN", "12345670"), "OK", {"write /var/run_wps_pin 12345670", "kill 77 USR2"}),
    start("the button needs no good PIN", session("PBC", "x"), "OK", {"kill 77 USR2"}),
    start("waits until it is no longer idle", session("PBC", ""), "OK",
          {"kill 77 USR2", "sleep 1", "sleep 1"},
          [](Device& d) {
            d.files["/var/wps_status"] = "1";
            d.at(2, has_file("/var/wps_status", "3"));
          }),
    start("waits no longer than five looks", session("PBC", ""), "OK",
          {"kill 77 USR2", "sleep 1", "sleep 1", "sleep 1", "sleep 1"},
          [](Device& d) { d.files.erase("/var/wps_progress"); }),
    start("a mode without a name is an access point", session("PBC", ""), "OK", {"kill 77 USR2"},
          has_stored({{"apClient", "1"}, {"ethConvert", "1"}})),
    start("no control process", session("PBC", ""), "OK", {},
          [](Device& d) { d.files.erase("/var/run/wpsctl.pid"); }),
    start("never to process 0 or to a group", session("PBC", ""), "OK", {},
          has_file("/var/run/wpsctl.pid", "-1\n")),
    start("no method", session("", "12345670"), "ERROR"),
    start("a repeat without a method", {{"Method", "PBC"}, {"Method", ""}, {"PIN", ""}, {"BSSID", ""}},
          "ERROR"),
    start("unknown method", session("pbc", ""), "ERROR"),
    start("no PIN", session("PIN", ""), "ERROR"),
    start("PIN of 7 digits", session("PIN", "1234567"), "ERROR"),
    start("letter in the PIN", session("PIN", "0000000x"), "ERROR"),
    start("full stop in the PIN", session("PIN", "0000000."), "ERROR"),
    start("wrong checksum", session("PIN", "12345671"), "ERROR"),
    start("PIN of 9 digits counts from its end", session("PIN", "912345670"), "OK",
          {"write /var/run_wps_pin 912345670", "kill 77 USR2"}),
    start("PIN of 20 digits is 4294967295", session("PIN", "12345670123456701234"), "ERROR"),
    start("letters behind eight digits", session("PIN", "12345670kd"), "OK",
          {"write /var/run_wps_pin 12345670kd", "kill 77 USR2"}),
    start("BSSID", session("PBC", "", "00:11:22:33:44:55"), "ERROR"),
    start("no BSSID element", {{"Method", "PBC"}, {"PIN", ""}}, "ERROR"),
    start("unknown element", {{"Method", "PBC"}, {"Pin", ""}, {"PIN", ""}, {"BSSID", ""}}, "ERROR"),
};
INSTANTIATE_TEST_SUITE_P(StartWps, ActionTest, ::testing::ValuesIn(kStart), row_name);

std::string status(const std::string& text) {
  return "<GetWPSStatusResult>OK</GetWPSStatusResult>\n<Status>" + text + "</Status>\n";
}
const ActionCase kOthers[] = {
    handled("cleans up", "StopWPS", stop_wps, {}, "OK",
            {"kill 77 TERM", "run wpsctl &", "sleep 1", "run rm -f /var/wps_*", "run rm -f /var/run_wps_pin",
             "run rm -f /var/gui_wps_waiting"},
            prepare_access_point),
    handled("a session", "GetWPSStatus", get_wps_status, {}, status("SEARCHING"), {}, prepare_access_point),
    handled("nothing to tell", "GetWPSStatus", get_wps_status, {}, status(""), {},
            in_turn({prepare_access_point, has_file("/var/wps_status", "2")})),
};
INSTANTIATE_TEST_SUITE_P(Wps, ActionTest, ::testing::ValuesIn(kOthers), row_name);

TEST(Wps, StatusTexts) {
  const std::string idle = "IDLE", searching = "SEARCHING", registering = "REGISTERING",
                    walk = "ERROR_WALK_TIMEOUT", timeout = "ERROR_SESSION_TIMEOUT",
                    overlap = "ERROR_SESSION_OVERLOAP", pin = "ERROR_INVALID_PIN", none = "(none)";
  const struct {
    int first, last;  // status codes
    int last_status, progress;
    bool pin_session;
    std::string text;
  } rows[] = {
      {-5, 1, 10, 100, true, idle},       {3, 3, 0, 99, true, searching},
      {3, 3, 0, 100, false, walk},        {35, 35, 0, 0, false, searching},
      {35, 35, 0, 100, false, walk},      {4, 30, 0, 100, true, registering},
      {36, 38, 0, 0, false, registering}, {39, 39, 0, 100, false, "CONNECTING"},
      {257, 257, 0, 0, false, overlap},   {265, 265, 0, 100, true, overlap},
      {34, 34, 0, 0, false, "CONNECTED"}, {31, 33, 0, 0, false, timeout},
      {259, 264, 0, 0, false, timeout},   {40, 256, 4, 100, true, idle},
      {266, 300, 0, 0, false, idle},      {2, 2, 4, 21, true, timeout},
      {2, 2, 38, 100, true, timeout},     {2, 2, 30, 20, true, pin},
      {2, 2, 3, 21, true, pin},           {2, 2, 31, 50, true, pin},
      {2, 2, 0, 100, true, walk},         {2, 2, 0, 50, false, none},
      {258, 258, 4, 100, true, walk},     {258, 258, 4, 50, true, none},
  };
  for (const auto& row : rows) {
    for (int status = row.first; status <= row.last; ++status) {
      const char* text = wps_status_text(status, row.last_status, row.progress, row.pin_session);
      EXPECT_EQ(text ? text : none, row.text)
          << status << " after " << row.last_status << ", " << row.progress;
    }
  }
}

using WpsDevice = DeviceTest;

TEST_F(WpsDevice, OnlyAnAccessPointStarts) {
  for (const char* key : {"apClient", "ethConvert"}) {  // an extender, a bridge
    prepare_access_point(device);
    device.set("ethConvert", "0");
    device.set(key, "1");
    kd_hnap_start_wps(nullptr, "PIN", "12345670");
    EXPECT_EQ(device.changes(), Effects{}) << key;
  }
}

TEST_F(WpsDevice, ReadsBeforeItActs) {
  prepare_access_point(device);
  kd_hnap_start_wps(nullptr, "PIN", "12345670");
  EXPECT_EQ(effects(), (Effects{"open /var/run/wpsctl.pid r", "open /var/run_wps_pin w",
                                "write /var/run_wps_pin 12345670", "kill 77 USR2", "open /var/wps_status r",
                                "open /var/wps_last_status r", "access /var/wps_progress",
                                "open /var/wps_progress r", "access /var/run_wps_pin"}));
  kd_hnap_stop_wps(nullptr);
  const Effects done = effects();
  EXPECT_EQ((Effects{done.begin(), done.begin() + 3}),
            (Effects{"open /var/run/wpsctl.pid r", "open /var/run/kd_wps_led.pid r", "kill 77 TERM"}));
}

TEST_F(WpsDevice, MissingFilesCountAsZero) {
  wps_status status = "old";
  kd_hnap_get_wps_status(nullptr, status);
  EXPECT_STREQ(status, "IDLE");

  device.files["/var/wps_progress"] = "100";
  kd_hnap_get_wps_status(nullptr, status);
  EXPECT_STREQ(status, "IDLE");  // status code 0

  // There, but not to be opened: no progress.
  device.files["/var/wps_status"] = std::string(126, ' ') + "350";  // the first 128 bytes count
  device.broken.insert("/var/wps_progress");
  kd_hnap_get_wps_status(nullptr, status);
  EXPECT_STREQ(status, "SEARCHING");
}

TEST(Wps, PinChecksum) {
  for (const char* pin : {"12345670", "99999995", "10000007", "01000009", "00000017", "912345670", ""}) {
    EXPECT_EQ(kd_validate_pin_checksum(pin), 1) << pin;
  }
  EXPECT_EQ(kd_validate_pin_checksum("12345671"), 0);
  EXPECT_EQ(kd_validate_pin_checksum("4294967295"), 0);
}

const Effects kStopped{"run kill -9 `cat /var/run/wscd.pid.ra0`",
                       "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1"};
const Effects kNoRoute{"run route delete 239.255.255.250 1>/dev/null 2>&1"};
const Effects kStarted{"console iwpriv ra0 set WscConfMode=7\n", "run iwpriv ra0 set WscConfMode=7",
                       "run route add -host 239.255.255.250 dev br0 1>/dev/null 2>&1",
                       "console wscd -m 1 -a 192.168.10.254 -i ra0 &\n",
                       "run wscd -m 1 -a 192.168.10.254 -i ra0 &"};

TEST_F(WpsDevice, RestartsAsStored) {
  Effects configured = kStarted;
  configured.insert(configured.begin() + 2, "run iwpriv ra0 set WscConfStatus=1");
  const struct {
    const char* name;
    const char *mode, *option, *configured;
    bool address;
    Effects rest;
  } rows[] = {
      {"on", "0", "1", "1", true, kStarted},
      {"on, gateway", "1", "7", "1", true, kStarted},
      {"not yet configured", "0", "1", "0", true, configured},
      {"off", "0", "0", "1", true, kNoRoute},
      {"empty", "0", "", "1", true, kNoRoute},
      {"compared as text", "0", "x", "1", true, kStarted},
      {"another mode", "3", "1", "1", true, {}},
      {"no address", "0", "1", "1", false, {"print WPSRestart error, can't get lan ip."}},
  };
  for (const auto& row : rows) {
    device.library.clear();
    has_stored({{"OperationMode", row.mode},
                {"WscModeOption", row.option},
                {"WscConfigured", row.configured}})(device);
    device.driver = nullptr;
    if (row.address) has_lan_address(device);
    device.journal.clear();
    kd_restart_wps();
    Effects expected = kStopped;
    expected.insert(expected.end(), row.rest.begin(), row.rest.end());
    EXPECT_EQ(device.changes(), expected) << row.name;
  }
}

TEST_F(WpsDevice, DriverStatus) {
  device.driver = [](DriverRequest& request) {
    if (request.number != 35822 || request.flags != 1873 || request.length != 4) return false;
    const std::uint32_t status = 0x80000022;
    std::memcpy(request.data, &status, sizeof status);
    return request.ifname == "ra0";
  };
  EXPECT_EQ(kd_get_wsc_status(nullptr, "ra0"), 0x80000022u);
  EXPECT_EQ(kd_get_wsc_status(nullptr, "ra1"), 0u);
  device.broken.insert("socket");
  EXPECT_EQ(kd_get_wsc_status(nullptr, "ra0"), 0u);
}

}  // namespace
}  // namespace kd::test
