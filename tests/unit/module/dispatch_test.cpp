// From the request to its action: which requests are the module's, what they name, and what their bodies
// hold.
#include "module/dispatch.hpp"

#include "module/intake.hpp"
#include "support/action_rows.hpp"

namespace kd::test::dispatch {

constexpr const char *kAnswered = "", *kStatus = "XML PARSE STATUS NOT OK ERROR",
                     *kInitial = "HANDLE REQUEST INITIAL ERROR";

#define START "<soap:Envelope xmlns:soap='http://schemas.xmlsoap.org/soap/envelope/'>"
#define ACTION "<IsDeviceReady xmlns='http://purenetworks.com/HNAP1/'/>"
#define BODY "<soap:Body>" ACTION "</soap:Body>"
#define END "</soap:Envelope>"
const std::string kGood = START BODY END, kNul(1, '\0');

Request post(const std::string& body, std::optional<std::uint64_t> length = std::nullopt) {
  Request request = soap("IsDeviceReady");
  request.body = {{body}};
  request.length = length;
  return request;
}
std::string in_body(const std::string& text) {
  return START "<soap:Body>" + text + "</soap:Body>" END;
}
std::string repeated(const std::string& text, std::size_t size) {
  std::string all;
  while (all.size() < size) all += text;
  return all;
}

using Intake = DeviceTest;

TEST_F(Intake, TakesSoapRequestsAndGetsOfHnap) {
  // null: left to the server
  const auto check = [&](http_method_t method, const char* uri, bool has_action, const char* reply_start) {
    Request request{.method = method, .uri = uri};
    if (has_action) request.headers = {{"soapaction", "x"}};
    effects();
    EXPECT_EQ(server.receive(request), reply_start ? HANDLER_FINISHED : HANDLER_GO_ON) << method << uri;
    EXPECT_EQ(server.sent().substr(0, 5), reply_start ? reply_start : "") << method << uri;
    EXPECT_EQ(changes(), reply_start ? Effects{kMarker} : Effects{}) << method << uri;
  };
  check(HTTP_METHOD_POST, "/", true, "<page");
  check(HTTP_METHOD_POST, "/HNAP1/", false, nullptr);
  check(HTTP_METHOD_HEAD, "/", true, "");
  check(HTTP_METHOD_HEAD, "/HNAP1/", false, nullptr);
  check(HTTP_METHOD_GET, "/hnap1/", false, nullptr);
  check(HTTP_METHOD_GET, nullptr, false, nullptr);
  check(HTTP_METHOD_GET, "/", true, "<?xml");
  check(HTTP_METHOD_GET, "/x/HNAP1?y", false, "<?xml");
  EXPECT_EQ(value_in(server.sent(), "GetDeviceSettingsResult"), "OK");
}

TEST_F(Intake, WaitsForTheSiteSurvey) {
  device.files["/tmp/scanning"] = "";
  device.at(2, has_no_file("/tmp/scanning"));
  ask(soap("IsDeviceReady"));
  const Effects wait = {"access /tmp/scanning", "sleep 1",
                        "console Postpone HNAP request since device under scanning\n"};
  EXPECT_EQ(effects(), (wait + wait + Effects{wait[0], kMarker, "open /var/is_dev_ready r", kMarkerGone}));
}

TEST(SoapAction, IsCutOutOfItsQuotes) {
  const std::string kilo(1023, 'k'), before(5000, 'p'), quotes(7000, '"');
  expect_each([](const std::string& value) { return soap_action_of(value); }, "", "", "\"", "", "\"\"", "",
              kilo, kilo, "a\"", "", "\"a/b\"", "a/b", "\"a/b", "a/b", "x\"a/b\"y", "a/b", "\"a\"b\"c",
              "a\"b", kilo + "x", kilo, "\"" + kilo + "x\"", kilo, before + "\"" + kilo + "\"" + before, kilo,
              quotes, std::string(1022, '"'));
}

TEST(SoapAction, SelectsTheRowByItsStart) {
  const std::string a = kExtenderA, b = kExtenderB, core = kCore,
                    access = "http://kelda.example/HNAPExt/AccessPoint/";
  expect_each(
      [](const std::string& value) {
        const NamedAction found = match_soap_action(value);
        return (found.row ? std::string{found.row->name} : "") + (found.alternate_namespace ? "!" : "");
      },
      core + "GetDeviceSettings", "GetDeviceSettings", "HTTP://PURENETWORKS.COM/hnap1/getdevicesettings",
      "GetDeviceSettings", "\"" + core + "Reboot", "Reboot", "\"\"" + core + "Reboot", "", core + "RebootNow",
      "Reboot", core + "Reboo", "", core, "", " " + core + "Reboot", "", a + "Reboot", "Reboot", b + "Reboot",
      "Reboot!", b + "Nothing", "", "http://kelda.example/HNAPExt/Reboot", "", access + "Reboot", "",
      access + "GetAccessPointMode", "GetDeviceSettings2", core + "GetDeviceSettings2", "GetDeviceSettings2",
      "Reboot", "", "", "");
}

TEST_F(Intake, AnswersHostileBodies) {
  const auto check = [&](const char* name, const char* page, const std::string& body,
                         std::optional<std::uint64_t> length = std::nullopt) {
    server.receive(post(body, length));
    EXPECT_EQ(server.sent(), *page ? error_page_of(page) : reply_of("IsDeviceReady", "OK")) << name;
    EXPECT_EQ(server.status(), *page ? 500 : 200) << name;
    server.finish();
    EXPECT_EQ(heap.leaks(), "") << name;
  };
  check("one letter", kInitial, "x");
  check("white space before", kAnswered, " \r\n\t" + kGood);
  check("byte-order mark", kAnswered, "\xef\xbb\xbf" + kGood);
  check("text before", kAnswered, "text " + kGood);
  check("NUL behind", kAnswered, kGood + kNul + "<<<");
  check("NUL inside", kStatus, START "<soap:Body>" + kNul + ACTION "</soap:Body>" END);
  check("no end", kStatus, START BODY);
  check("lower case and alone", kStatus, "<envelope>");
  check("no end, and no namespace that names it again", kStatus, "<Envelope>" BODY);
  check("incomplete, but the word is there again", kInitial, "<a>Envelope envelope Envelope");
  check("not XML", kStatus, "<<< Envelope Envelope");
  check("another encoding", kStatus, "<?xml version=\"1.0\" encoding=\"utf-16\"?>" + kGood);
  check("bad UTF-8", kStatus, in_body("<IsDeviceReady xmlns=''>\xff\xfe</IsDeviceReady>"));
  const std::string entity(5000, 'x'), more = "\"><!ENTITY ";
  check("entities that explode", kStatus,
        "<!DOCTYPE a [<!ENTITY x \"" + entity + more + "y \"" + repeated("&x;", 3000) + more + "z \"" +
            repeated("&y;", 3000) + "\">]>" + in_body("<IsDeviceReady xmlns=''>&z;</IsDeviceReady>"));
  check("an entity of itself", kStatus,
        "<!DOCTYPE a [<!ENTITY x \"&x;\">]>" + in_body("<IsDeviceReady xmlns=''>&x;</IsDeviceReady>"));
  check("no body", kInitial, START "<x/>" END);
  check("two actions", kInitial, in_body(ACTION ACTION));
  check("lines", kAnswered, START "\n <!-- -->\t<soap:Body>\n" ACTION "\n</soap:Body>\n" END "\n");
  check("header and body", kAnswered, START "<soap:Header><x/></soap:Header>" BODY END);
  check("header alone", kInitial, START "<soap:Header/>" END);
  check("something between", kInitial, START "<soap:Header/><x/>" BODY END);
  check("two bodies", kInitial, START BODY BODY END);
  check("two bodies behind a header", kAnswered, START "<Header/>" BODY BODY END);
  check("something behind the body", kAnswered, START BODY "<x/>" END);
  check("longer action", kAnswered, in_body("<NotIsDeviceReadyYet a='1'/>"));
  check("action in another case", kInitial, in_body("<isdeviceready a='1'/>"));
  check("no attribute", kInitial, in_body("<IsDeviceReady/>"));
  check("empty namespace", kAnswered, in_body("<IsDeviceReady xmlns=''/>"));
  for (const char* known : {kExtenderA, kExtenderB, "http://kelda.example/HNAPExt/",
                            "http://kelda.example/HNAPExt/AccessPoint/"}) {
    check(known, kAnswered, in_body("<IsDeviceReady xmlns='" + std::string{known} + "'/>"));
  }
  check("foreign namespace", kInitial, in_body("<IsDeviceReady xmlns='http://purenetworks.com/hnap1/'/>"));
  check("foreign namespace second", kAnswered, in_body("<IsDeviceReady a='1' xmlns='x'/>"));
  check("megabytes of text", kInitial, std::string(3000000, 'x'));
  // Each pass of 20479 bytes feeds the same start again: 6826 levels each.
  check("a million levels", kInitial, repeated(repeated("<a>", 20478) + "x", 3020000));
  check("length beyond the body by megabytes", kInitial, "x", 100000000);
  check("length short of the last word", kStatus, kGood, kGood.size() - 10);
  check("length short by a bracket", kAnswered, kGood, kGood.size() - 1);
  check("length 0", "CONTENT LEN == 0 XML PARSE ERROR", kGood, 0);
  constexpr std::uint64_t kNegative = std::uint64_t{1} << 31, k4Giga = std::uint64_t{1} << 32;
  const std::string blanks(20480 - kGood.size(), ' ');
  check("length 2^32 and more", kAnswered, kGood, k4Giga + kGood.size());
  check("negative length, NUL behind", kAnswered, kGood + kNul + "<<<", kNegative);
  check("negative length, 20480 bytes", kAnswered, kGood + blanks, kNegative);
  check("negative length, 20481 bytes", kInitial, kGood + blanks + " ", kNegative);
  check("negative length, no bracket", kInitial, "x", k4Giga - 1);
  check("negative length, malformed", "CONTENT LEN < 0 XML PARSE ERROR", "<a></b>", k4Giga - 1);
}

TEST_F(Intake, RunsTheActionOfTheBody) {
  EXPECT_EQ(ask(with_header(post(kGood), "SOAPAction", std::string{kCore} + "Reboot")),
            reply_of("IsDeviceReady", "OK"));
  EXPECT_EQ(changes(), (Effects{kMarker, kMarkerGone}));
  EXPECT_EQ(ask(soap("GetAccessPointMode", "", "http://kelda.example/HNAPExt/AccessPoint/")),
            error_page_of(kInitial));
}

// The order to restart stands until the device is gone; what arrives meanwhile repeats it, if it can be read.
TEST_F(Intake, RepeatsAPendingRestart) {
  ask(soap("Reboot"));
  for (const bool readable : {true, false}) {
    effects();
    ask(post(readable ? kGood : "<a></b>"));
    EXPECT_EQ(count(effects(), "kill 1 TERM"), readable);
  }
}

TEST_F(Intake, AnswersAnUnknownActionWithAFault) {
  const std::pair<const char*, const char*> rows[] = {
      {"\"X/FooBar\"", "X/F"}, {"ab", "ab"}, {"\"<&\"", "<&"}, {"\"\"", ""}};
  for (const auto& [value, shown] : rows) {
    server.receive(with_header(post(kGood), "SOAPAction", value));
    EXPECT_EQ(server.status(), 500);
    EXPECT_EQ(server.sent(), fault_of(shown));
    EXPECT_EQ(ask(with_header(post("<a></b>"), "SOAPAction", value)), error_page_of(kStatus))
        << "malformed counts for more";
  }
}

// Requests that no table row of an action stands for, with every allocation and effect failing in turn.
TEST(Dispatch, SurvivesEachFault) {
  const auto check = [](const char* name, const Request& request, Device::Step prepare = nullptr) {
    SCOPED_TRACE(name);
    survive_each_fault(
        {.request = request, .prepare = std::move(prepare), .may_miss = "run rm /var/tmp/upload"});
  };
  const Request reboot = soap("Reboot");
  const std::string whole = reboot.body.front().bytes;
  Request get = reboot, head = reboot, spooled = reboot;
  get.method = HTTP_METHOD_GET;
  head.method = HTTP_METHOD_HEAD;
  spooled.body = {{whole.substr(0, 50)}, {whole.substr(50), Piece::spooled, "/var/tmp/upload"}};
  check("GET", get);
  check("HEAD", head);
  check("wrong password", with_header(reboot, "Authorization", "Basic YWRtaW46eA=="));
  check("no base64", with_header(reboot, "Authorization", "Basic *"));
  check("unknown action", with_header(reboot, "SOAPAction", "\"X/FooBar\""));
  check("malformed", post(START "<a x='1' y='2'>t</b>" BODY END));
  check("deep", post(repeated("<a b='c'>t", 500)));
  check("negative length", post(kGood, std::uint64_t{1} << 31));
  check("spooled", spooled);
  check("during a scan", reboot, [](Device& d) {
    d.files["/tmp/scanning"] = "";
    d.at(2, has_no_file("/tmp/scanning"));
  });
}

}  // namespace kd::test::dispatch
