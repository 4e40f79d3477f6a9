// What people write for the virtual extender, and what clients send it: hostile, cut and wrong texts.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "common/faults.hpp"
#include "launcher/exchange.hpp"
#include "radio/formats.hpp"
#include "radio/model.hpp"
#include "radio/scenes.hpp"

namespace kd::test {
namespace {

using std::string_literals::operator""s;

struct Line {
  const char* file;
  std::string text;
  const char* complaint;  // a part of the first problem; empty: none
};

TEST(ExtenderTexts, EachWrongLineIsNamedAndNoOther) {
  const Line lines[] = {
      {"neighbours", "ssid=A # \"comment\"", ""},
      {"neighbours", "ssid = \"a # b\" channel= 1", ""},
      {"neighbours", "ssid=\"\\x41\\\\\\\"\"", ""},
      {"neighbours", "ssid=" + std::string(32, '\xFF'), ""},
      {"neighbours", "ssid=A key=" + std::string(64, 'f'), ""},
      {"neighbours", "ssid=A security=WEP key=ABCDEF0123", ""},
      {"neighbours", "ssid=\"A\"channel=1", "a blank is missing"},
      {"neighbours", "ssid=\\x4", "a backslash"},
      {"neighbours", "ssid=\\x00", "a backslash"},
      {"neighbours", "ssid=A\0B"s, "a NUL byte"},
      {"neighbours", "=A", "is no field"},
      {"neighbours", "ssid=A channel=99999999999999999999", "channel must be"},
      {"neighbours", "ssid=A channel=+6", "channel must be"},
      {"neighbours", "ssid=A signal=0x10", "signal must be"},
      {"neighbours", "ssid=A bssid=02-00-00-00-00-01", "bssid must be"},
      {"neighbours", "ssid=A key=" + std::string(63, '\x80'), "nobody can join"},
      {"neighbours", "ssid=A key=" + std::string(65, 'f'), "nobody can join"},
      {"clients", "mac=02:00:00:00:00:01 ip=1.2.3.4 name=\"a\\x09b\"", "name must be"},
      {"clients", "mac=02:00:00:00:00:01 ip=1.2.3.4.5", "ip must be"},
      {"clients", "mac=02:00:00:00:00:01 time=2014-04-19 12:00:00", "is no field"},
      {"link", "rssi=1", "rssi must be"},
      {"link", "bssid=\"\" channel=0", ""},
      {"eeprom", "01D3 004B # serial", ""},
      {"eeprom", "1D3 004B", "four hexadecimal digits"},
      {"faults", "fault=cut at=in bytes=1", ""},
      {"faults", "fault=late ms=600001", "1 to 600000"},
      {"faults", "ms=1", "say fault="},
      {"other", "", "no file of the radio"},
  };
  for (const Line& line : lines) {
    SCOPED_TRACE(std::string(line.file) + ": " + line.text);
    const std::vector<Problem> problems = radio::check_file(line.file, "\n" + line.text + "\n#\n");
    const bool wrong = *line.complaint != '\0';
    ASSERT_EQ(problems.size(), wrong ? 1U : 0U);
    if (!wrong) continue;
    EXPECT_NE(problems[0].text.find(line.complaint), std::string::npos) << problems[0].text;
    EXPECT_EQ(problems[0].line, std::string(line.file) == "other" ? 0U : 2U);
  }
}

TEST(ExtenderTexts, AWrongLineLeavesTheOthersInForce) {
  const auto networks = radio::parse_networks("ssid=A\nssid=B channel=x\nssid=\"C\nssid=D channel=3");
  ASSERT_EQ(networks.size(), 2U);
  EXPECT_EQ(networks[0].ssid + networks[1].ssid, "AD");
  EXPECT_EQ(radio::parse_link("state=1\nrate=fast\nchannel=9").channel, 9);
  EXPECT_EQ(parse_faults("fault=late\nfault=empty").size(), 1U);
}

struct Exchange {
  const char* name;
  std::string request;
  std::string told;  // action and arguments
};

constexpr std::string_view kHead = "POST /HNAP1/ HTTP/1.1\r\nsoapaction: \"http://x/HNAP1/SetX\"\r\n\r\n";

TEST(ExtenderTexts, RequestsAreToldWithoutTheirSecrets) {
  const std::string head(kHead);
  const Exchange rows[] = {
      {"secrets",
       "<a:Body><SetX><Key>k&amp;</Key><AdminPassword>p</AdminPassword><SSID>a&lt;</SSID></SetX></a:Body>",
       "SetX Key=*** AdminPassword=*** SSID=a<"},
      {"empty and nested", "<Body><SetX><A/><B><C>1</C></B><D></D></SetX>", "SetX A= B=<C>1</C> D="},
      {"a secret that is cut off", "<Body><SetX><Key>secr", "SetX Key=***"},
      {"a long one", "<Body><SetX><Image>" + std::string(300, 'x') + "</Image></SetX>",
       "SetX Image=(300 bytes)"},
      {"a comment, a declaration", "<?xml?><!-- <Body> --><Body><SetX><A>1</A>", "SetX A=1"},
      {"rubbish", "<<>></><Body", "SetX"},
      {"nothing", "", "SetX"},
  };
  for (const Exchange& row : rows) {
    const SeenRequest request = read_request(head + row.request);
    std::string told = request.action;
    for (const auto& [name, value] : request.arguments) told += " " + name + "=" + value;
    EXPECT_EQ(told, row.told) << row.name;
  }
  EXPECT_EQ(read_request("GET /a b HTTP/1.0\n\n").path, "/a");
  EXPECT_EQ(read_request("").action, "");
  const SeenReply reply = read_reply("HTTP/1.1 200 OK\r\n\r\n<X><SetXResult>ERROR</SetXResult>");
  EXPECT_EQ(reply.result + std::to_string(reply.status), "ERROR200");
  EXPECT_EQ(read_reply("HTTP/1.1 401").status, 401);
}

TEST(ExtenderTexts, ScenesChangeTheNetworkThatTheyName) {
  const auto all = [](const char* faults) {
    auto networks = radio::parse_networks("ssid=A key=12345678 channel=6 signal=80\nssid=B");
    radio::apply_scenes(parse_faults(faults), networks);
    std::string text;
    for (const radio::Network& n : networks) {
      text += n.ssid + " " + std::to_string(n.channel) + " " + std::to_string(n.rssi) + " " + n.security +
              " " + n.key + ";";
    }
    return text;
  };
  EXPECT_EQ(all("fault=upstream-gone ssid=A"), "B 6 -66 NONE ;");
  EXPECT_EQ(all("fault=radar ssid=A channel=36"), "A 36 -58 WPA2PSK/AES 12345678;B 6 -66 NONE ;");
  EXPECT_EQ(all("fault=new-key ssid=A"), "A 6 -58 WPA2PSK/AES ;B 6 -66 NONE ;");
  EXPECT_EQ(all("fault=weak-signal rssi=-88"), "A 6 -88 WPA2PSK/AES 12345678;B 6 -88 NONE ;");
  EXPECT_EQ(all("fault=twin ssid=B channel=1"), "A 6 -58 WPA2PSK/AES 12345678;B 6 -66 NONE ;B 1 -66 NONE ;");
  EXPECT_EQ(all("fault=wpa3-only ssid=A"), "A 6 -58 WPA3PSK/AES 12345678;B 6 -66 NONE ;");
}

}  // namespace
}  // namespace kd::test
