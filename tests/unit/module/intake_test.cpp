#include "module/intake.hpp"

#include "module/mod_kd_hnap.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

using Intake = DeviceTest;

const std::string kMarker = "run echo 1 > /tmp/postponeSiteSurvey";

TEST_F(Intake, TakesSoapRequestsAndGetsOfHnap) {
  using host::Method;
  const struct {
    const char* name;
    Method method;
    std::optional<std::string> uri;
    bool soap_action, wanted;
  } rows[] = {
      {"POST to the root with a SOAPAction", Method::post, "/", true, true},
      {"POST to HNAP without", Method::post, "/HNAP1/", false, false},
      {"GET of HNAP", Method::get, "/x/HNAP1?y", false, true},
      {"GET of hnap", Method::get, "/hnap1/", false, false},
      {"GET with a SOAPAction", Method::get, "/", true, true},
      {"GET without a URI", Method::get, std::nullopt, false, false},
      {"PUT with a SOAPAction", Method::other, "/", true, true},
  };
  for (const auto& row : rows) {
    host::Request request;
    request.method = row.method;
    request.uri = row.uri;
    if (row.soap_action) set_header(request, "soapaction", "x");
    EXPECT_EQ(wants(request), row.wanted) << row.name;
  }
  EXPECT_EQ(effects(), std::vector<std::string>{}) << "deciding has no effect";
}

TEST_F(Intake, CutsTheActionOutOfItsQuotes) {
  const std::string kilo(1023, 'k');
  const struct {
    std::string value, action;
  } rows[] = {
      {"", ""},
      {"\"", ""},
      {"\"\"", ""},
      {kilo, kilo},
      {"a\"", ""},
      {"\"a/b\"", "a/b"},
      {"\"a/b", "a/b"},
      {"x\"a/b\"y", "a/b"},
      {"\"a\"b\"c", "a\"b"},
      {kilo + "x", kilo},
      {"\"" + kilo + "x\"", kilo},
      {std::string(5000, 'p') + "\"" + kilo + "\"" + std::string(1000, 's'), kilo},
      {std::string(7000, '"'), std::string(1022, '"')},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(soap_action_of(row.value), row.action) << row.value.substr(0, 20);
    host::Request host;
    set_header(host, "SOAPAction", row.value);
    hnap_request request;
    request.host = &host;
    EXPECT_TRUE(kd_hnap_get_soap_method(request));
    EXPECT_EQ(request.soap_action.get(), row.action);
  }
}

TEST_F(Intake, WaitsForTheSiteSurvey) {
  device.files["/tmp/scanning"] = "";
  device.at(2, [](Device& d) { d.files.erase("/tmp/scanning"); });
  host::Request request;
  request.method = host::Method::get;
  EXPECT_TRUE(send(request));
  const std::string postponed = "console Postpone HNAP request since device under scanning\n";
  std::vector<std::string> done = effects();
  done.resize(std::min<std::size_t>(done.size(), 8));
  EXPECT_EQ(done, (std::vector<std::string>{"access /tmp/scanning", "sleep 1", postponed, "access /tmp/scanning",
                                            "sleep 1", postponed, "access /tmp/scanning", kMarker}));
}

TEST_F(Intake, LeavesOtherMethodsToTheServer) {
  host::Request request = soap_request("Reboot");
  request.method = host::Method::other;
  EXPECT_TRUE(send(request));
  EXPECT_EQ(request.status, 0);
  EXPECT_FALSE(request.finished || request.refused);
  EXPECT_EQ(request.reply, "");
  EXPECT_EQ(device.changes(), std::vector<std::string>{kMarker});
}

TEST_F(Intake, AnswersAnyGetWithTheSettings) {
  for (const bool with_action : {false, true}) {
    host::Request request = soap_request("Reboot");
    request.method = host::Method::get;
    if (!with_action) request.headers.clear();
    EXPECT_TRUE(send(request));
    EXPECT_EQ(request.status, 200);
    EXPECT_EQ(reply_value(request.reply, "GetDeviceSettingsResult"), "OK");
    EXPECT_EQ(effects(), (std::vector<std::string>{"access /tmp/scanning", kMarker, "pipe cat /var/boardid",
                                                   "pipe cat /var/boardid"}));
  }
}

TEST_F(Intake, StartsWithBothSectionsAndAClearResult) {
  device.store["LastSetWirelessClientResult"] = "1";
  start();
  EXPECT_EQ(effects(), (std::vector<std::string>{"nvram init 0", "nvram init 1",
                                                 "run nvram_set 2860 LastSetWirelessClientResult 0"}));
  EXPECT_EQ(device.store["LastSetWirelessClientResult"], "0");
}

}  // namespace
}  // namespace kd::test
