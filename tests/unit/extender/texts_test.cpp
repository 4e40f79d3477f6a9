// What people write for the virtual extender, and what clients send it: hostile, cut and wrong texts.
#include <gtest/gtest.h>

#include <sstream>

#include "common/faults.hpp"
#include "launcher/exchange.hpp"
#include "radio/formats.hpp"
#include "radio/model.hpp"

namespace kd::test {
namespace {

using namespace std::string_literals;

// A file, a part of the complaint about each line behind it (none: nothing is wrong), and these lines.
constexpr std::string_view kLines = R"(
neighbours||ssid=A # "comment"|ssid = "a # b" channel= 1|ssid="\x41\\\""|ssid=A security=WEP key=ABCDEF0123
neighbours|a blank is missing|ssid="A"channel=1
neighbours|the closing double quote|ssid="A
neighbours|a backslash|ssid=\x4|ssid=\x00|ssid=A\n
neighbours|is no field|=A
neighbours|1 to 32 bytes|ssid=123456789012345678901234567890123|ssid=""
neighbours|channel must be|ssid=A channel=99999999999999999999|ssid=A channel=+6|ssid=A channel=37
neighbours|does not exist on channel 44|ssid=A channel=44 mode=11b/g
neighbours|0 to 100|ssid=A signal=0x10|ssid=A signal=101
neighbours|rssi must be|ssid=A rssi=abc|ssid=A rssi=-50dBm
neighbours|yes or no|ssid=A hidden=maybe
neighbours|one of|ssid=A type=Infra|ssid=A security=WPA4
neighbours|bssid must be|ssid=A bssid=02-00-00-00-00-01|ssid=A bssid=02:00:00:00:00|ssid=A bssid=02:00:00:00:00:0G
neighbours|one station|ssid=A bssid=01:00:00:00:00:01|ssid=A bssid=00:00:00:00:00:00
neighbours|nobody can join|ssid=A key=1234567|ssid=A security=WEP key=123456|ssid=A key=äöüäöü
neighbours|has no key|ssid=A security=NONE key=12345678
clients|name must be|mac=02:00:00:00:00:01 name="a\x09b"
clients|ip must be|mac=02:00:00:00:00:01 ip=1.2.3.4.5|mac=02:00:00:00:00:01 ip=1.2.3
clients|is no field|mac=02:00:00:00:00:01 time=2014-04-19 12:00:00
clients|time must be|mac=02:00:00:00:00:01 time=2014-04-19T24:00:00|mac=02:00:00:00:00:01 time=2014-02-29T00:00:00
stations|one of|mac=02:00:00:00:00:01 phy=11n|mac=02:00:00:00:00:01 bandwidth=80M
link||bssid="" channel=0
link|must be a number|rssi=1|state=up
eeprom||01D3 004B # serial
eeprom|four hexadecimal digits|1D3 004B|01D3 4
faults||fault=cut at=in bytes=1
faults|must be a number|fault=late ms=600001|fault=late ms=0|fault=empty share=0
faults|say |ms=1|fault=late|fault=cut|fault=radar ssid=A
faults|no field is named|fault=late ms=5 at=in
faults|one of request, before, in, after|fault=cut at=end
raw/survey||anything
)";

void expect_complaint(const std::string& file, const std::string& line, const std::string& complaint) {
  SCOPED_TRACE(file + ": " + line);
  const std::vector<Problem> problems = radio::check_file(file, "\n" + line + "\n#\n");
  ASSERT_EQ(problems.size(), complaint.empty() ? 0U : 1U);
  if (problems.empty()) return;
  EXPECT_NE(problems[0].text.find(complaint), std::string::npos) << problems[0].text;
  EXPECT_EQ(problems[0].line, 2U);
}

TEST(ExtenderTexts, EachWrongLineIsNamedAndNoOther) {
  for_each_line(kLines, [](std::string_view text) {
    std::istringstream row{std::string(text)};
    std::string file, complaint, line;
    std::getline(std::getline(row, file, '|'), complaint, '|');
    while (std::getline(row, line, '|')) expect_complaint(file, line, complaint);
  });
  expect_complaint("neighbours", "ssid=" + std::string(32, '\xFF'), "");
  expect_complaint("neighbours", "ssid=A key=" + std::string(64, 'f'), "");
  expect_complaint("neighbours", "ssid=A key=" + std::string(65, 'f'), "nobody can join");
  expect_complaint("neighbours", "ssid=A\0B"s, "a NUL byte");
  EXPECT_EQ(radio::check_file("other", "").at(0).line, 0U);
}

TEST(ExtenderTexts, AWrongLineLeavesTheOthersInForce) {
  const auto networks = radio::parse_networks("ssid=A\nssid=B channel=x\nssid=\"C\nssid=A\nssid=D channel=3");
  ASSERT_EQ(networks.size(), 2U);
  EXPECT_EQ(networks[0].ssid + networks[1].ssid, "AD");
  EXPECT_EQ(radio::parse_link("state=1\nrate=fast\nchannel=9").channel, 9);
  EXPECT_EQ(parse_faults("fault=late\nfault=empty\nfault=empty").size(), 1U);
}

TEST(ExtenderTexts, RequestsAreToldWithoutTheirSecrets) {
  const std::pair<std::string, const char*> rows[] = {
      {"<a:Body><SetX><Key>k&amp;</Key><AdminPassword>p</AdminPassword><SSID>a&lt;</SSID></SetX></a:Body>",
       "SetX Key=*** AdminPassword=*** SSID=a<"},
      {"<Body><SetX><A/><B><C>1</C></B><D></D></SetX>", "SetX A= B=<C>1</C> D="},
      {"<Body><SetX><Key>secr", "SetX Key=***"},
      {"<Body><SetX><Image>" + std::string(300, 'x') + "</Image></SetX>", "SetX Image=(300 bytes)"},
      {"<?xml?><!-- <Body> --><Body><SetX><A>1</A>", "SetX A=1"},
      {"<<>></><Body", "SetX"},
      {"", "SetX"},
  };
  for (const auto& [body, expected] : rows) {
    const SeenRequest request =
        read_request("POST / HTTP/1.1\r\nsoapaction: \"http://x/HNAP1/SetX\"\r\n\r\n" + body);
    std::string told = request.action;
    for (const auto& [name, value] : request.arguments) told += " " + name + "=" + value;
    EXPECT_EQ(told, expected) << body;
  }
  EXPECT_EQ(read_request("GET /a b HTTP/1.0\n\n").path + read_request("").action, "/a");
  const SeenReply reply = read_reply("HTTP/1.1 200 OK\r\n\r\n<X><SetXResult>ERROR</SetXResult>");
  EXPECT_EQ(reply.result + std::to_string(reply.status + read_reply("HTTP/1.1 401").status), "ERROR601");
}

}  // namespace
}  // namespace kd::test
