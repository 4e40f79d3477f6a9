// From the request to its action: which requests are the module's, what they name, and what their bodies
// hold.
#include "module/dispatch.hpp"

#include "module/intake.hpp"
#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using Intake = DeviceTest;

constexpr const char* kStatus = "XML PARSE STATUS NOT OK ERROR";
constexpr const char* kInitial = "HANDLE REQUEST INITIAL ERROR";
constexpr const char* kEmpty = "CONTENT LEN == 0 XML PARSE ERROR";
constexpr const char* kNegative = "CONTENT LEN < 0 XML PARSE ERROR";

const std::string kStart = "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">";
const std::string kAction = "<IsDeviceReady xmlns=\"http://purenetworks.com/HNAP1/\"/>";
const std::string kBody = "<soap:Body>" + kAction + "</soap:Body>", kEnd = "</soap:Envelope>";
const std::string kGood = kStart + kBody + kEnd;

Request post(const std::string& body, std::optional<std::uint64_t> length = std::nullopt) {
  Request request = soap("IsDeviceReady");
  request.body = {{body}};
  request.length = length;
  return request;
}
std::string in_body(const std::string& text) {
  return kStart + "<soap:Body>" + text + "</soap:Body>" + kEnd;
}
std::string repeated(const std::string& text, std::size_t size) {
  std::string all;
  while (all.size() < size) all += text;
  return all;
}
std::string padded(std::string text, std::size_t size) {
  text.resize(size, ' ');
  return text;
}

TEST_F(Intake, TakesSoapRequestsAndGetsOfHnap) {
  const struct {
    http_method_t method;
    const char* uri;
    bool soap_action;
    const char* reply;  // begins so; null: left to the server
  } rows[] = {
      {HTTP_METHOD_POST, "/", true, "<page of the server>"},
      {HTTP_METHOD_POST, "/HNAP1/", false, nullptr},
      {HTTP_METHOD_GET, "/x/HNAP1?y", false, "<?xml"},
      {HTTP_METHOD_GET, "/hnap1/", false, nullptr},
      {HTTP_METHOD_GET, "/", true, "<?xml"},
      {HTTP_METHOD_GET, nullptr, false, nullptr},
      {HTTP_METHOD_HEAD, "/", true, ""},
      {HTTP_METHOD_HEAD, "/HNAP1/", false, nullptr},
  };
  for (const auto& row : rows) {
    Request request{.method = row.method, .uri = row.uri};
    if (row.soap_action) request.headers = {{"soapaction", "x"}};
    effects();
    const std::string name = std::to_string(row.method) + (row.uri ? row.uri : "-");
    EXPECT_EQ(server.receive(request), row.reply ? HANDLER_FINISHED : HANDLER_GO_ON) << name;
    EXPECT_EQ(server.sent().substr(0, 5), std::string{row.reply ? row.reply : ""}.substr(0, 5)) << name;
    EXPECT_EQ(changes(), row.reply ? Effects{kMarker} : Effects{}) << name;
    if (row.reply && *row.reply == '<' && row.method == HTTP_METHOD_GET) {
      EXPECT_EQ(value_in(server.sent(), "GetDeviceSettingsResult"), "OK");
    }
  }
}

TEST_F(Intake, WaitsForTheSiteSurvey) {
  device.files["/tmp/scanning"] = "";
  device.at(2, has_no_file("/tmp/scanning"));
  ask(soap("IsDeviceReady"));
  const std::string postponed = "console Postpone HNAP request since device under scanning\n",
                    look = "access /tmp/scanning";
  EXPECT_EQ(effects(), (Effects{look, "sleep 1", postponed, look, "sleep 1", postponed, look, kMarker,
                                "open /var/is_dev_ready r", kMarkerGone}));
}

TEST(SoapAction, IsCutOutOfItsQuotes) {
  const std::string kilo(1023, 'k');
  const std::pair<std::string, std::string> rows[] = {
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
  for (const auto& [value, action] : rows) EXPECT_EQ(soap_action_of(value), action) << value.substr(0, 20);
}

TEST(SoapAction, SelectsTheRowByItsStart) {
  const std::string a = kExtenderA, b = kExtenderB, core = kCore,
                    access = "http://kelda.example/HNAPExt/AccessPoint/";
  const struct {
    std::string value;
    std::string_view row;
    bool alternate = false;
  } rows[] = {
      {core + "GetDeviceSettings", "GetDeviceSettings"},
      {"HTTP://PURENETWORKS.COM/hnap1/getdevicesettings", "GetDeviceSettings"},
      {"\"" + core + "Reboot", "Reboot"},
      {"\"\"" + core + "Reboot", ""},
      {core + "RebootNow", "Reboot"},
      {core + "Reboo", ""},
      {core, ""},
      {" " + core + "Reboot", ""},
      {a + "Reboot", "Reboot"},
      {b + "Reboot", "Reboot", true},
      {b + "Nothing", ""},
      {"http://kelda.example/HNAPExt/Reboot", ""},
      {access + "Reboot", ""},
      {access + "GetAccessPointMode", "GetDeviceSettings2"},
      {core + "GetDeviceSettings2", "GetDeviceSettings2"},
      {"Reboot", ""},
      {std::string(1023, 'x'), ""},
  };
  for (const auto& row : rows) {
    const NamedAction found = match_soap_action(row.value);
    EXPECT_EQ(found.row ? found.row->name : "", row.row) << row.value;
    EXPECT_EQ(found.alternate_namespace, row.alternate) << row.value;
  }
}

TEST_F(Intake, AnswersHostileBodies) {
  // Each pass of 20479 bytes feeds the same start again: 6826 levels each.
  const std::string levels = repeated(repeated("<a>", 20478) + "x", 3020000);
  constexpr std::uint64_t kNegativeLength = std::uint64_t{1} << 31, k4Giga = std::uint64_t{1} << 32;
  const std::string nul(1, '\0'), no_namespace = "<IsDeviceReady xmlns=\"\">";
  const struct {
    const char* name;
    std::string body;
    const char* page;  // null: answered
    std::optional<std::uint64_t> length = std::nullopt;
  } rows[] = {
      {"good", kGood, nullptr},
      {"one letter", "x", kInitial},
      {"no bracket", std::string(300, 'x'), kInitial},
      {"white space before", " \r\n\t" + kGood, nullptr},
      {"byte-order mark", "\xef\xbb\xbf" + kGood, nullptr},
      {"text before", "text " + kGood, nullptr},
      {"NUL behind", kGood + nul + "<<<", nullptr},
      {"NUL inside", kStart + "<soap:Body>" + nul + kAction + "</soap:Body>" + kEnd, kStatus},
      {"no end", kStart + kBody, kStatus},
      {"lower case and alone", "<envelope>", kStatus},
      {"no end, and no namespace that names it again", "<Envelope>" + kBody, kStatus},
      {"incomplete, but the word is there again", "<a>Envelope envelope Envelope", kInitial},
      {"mismatched", kStart + "<soap:Body><a></b></soap:Body>" + kEnd, kStatus},
      {"not XML", "<<< Envelope Envelope", kStatus},
      {"another encoding", "<?xml version=\"1.0\" encoding=\"utf-16\"?>" + kGood, kStatus},
      {"bad UTF-8", in_body(no_namespace + "\xff\xfe</IsDeviceReady>"), kStatus},
      {"entities that explode",
       "<!DOCTYPE a [<!ENTITY x \"" + std::string(5000, 'x') + "\"><!ENTITY y \"" + repeated("&x;", 3000) +
           "\"><!ENTITY z \"" + repeated("&y;", 3000) + "\">]>" +
           in_body(no_namespace + "&z;</IsDeviceReady>"),
       kStatus},
      {"an entity of itself",
       "<!DOCTYPE a [<!ENTITY x \"&x;\">]>" + in_body(no_namespace + "&x;</IsDeviceReady>"), kStatus},
      {"no body", kStart + "<x/>" + kEnd, kInitial},
      {"two actions", in_body(kAction + kAction), kInitial},
      {"on lines of their own",
       kStart + "\n <!-- -->\t<soap:Body>\n" + kAction + "\n</soap:Body>\n" + kEnd + "\n", nullptr},
      {"header and body", kStart + "<soap:Header><x/></soap:Header>" + kBody + kEnd, nullptr},
      {"header alone", kStart + "<soap:Header/>" + kEnd, kInitial},
      {"something between", kStart + "<soap:Header/><x/>" + kBody + kEnd, kInitial},
      {"two bodies", kStart + kBody + kBody + kEnd, kInitial},
      {"two bodies behind a header", kStart + "<Header/>" + kBody + kBody + kEnd, nullptr},
      {"something behind the body", kStart + kBody + "<x/>" + kEnd, nullptr},
      {"longer action", in_body("<NotIsDeviceReadyYet a=\"1\"/>"), nullptr},
      {"action in another case", in_body("<isdeviceready a=\"1\"/>"), kInitial},
      {"unknown action", in_body("<GetAccessPointMode a=\"1\"/>"), kInitial},
      {"no attribute", in_body("<IsDeviceReady/>"), kInitial},
      {"empty namespace", in_body(no_namespace + "</IsDeviceReady>"), nullptr},
      {"extender's namespaces", in_body("<IsDeviceReady xmlns=\"" + std::string{kExtenderB} + "\"/>"),
       nullptr},
      {"foreign namespace", in_body("<IsDeviceReady xmlns=\"http://purenetworks.com/hnap1/\"/>"), kInitial},
      {"foreign namespace second", in_body("<IsDeviceReady a=\"1\" xmlns=\"x\"/>"), nullptr},
      {"megabytes of text", std::string(3000000, 'x'), kInitial},
      {"a million levels", levels, kInitial},
      {"length beyond the body by megabytes", "x", kInitial, 100000000},
      {"length short of the last word", kGood, kStatus, kGood.size() - 10},
      {"length short by a bracket", kGood, nullptr, kGood.size() - 1},
      {"length 0", kGood, kEmpty, 0},
      {"length 2^32 and more", kGood, nullptr, k4Giga + kGood.size()},
      {"negative length", kGood, nullptr, kNegativeLength},
      {"negative length, text before", "text " + kGood, nullptr, kNegativeLength},
      {"negative length, NUL behind", kGood + nul + "<<<", nullptr, kNegativeLength},
      {"negative length, 20480 bytes", padded(kGood, 20480), nullptr, kNegativeLength},
      {"negative length, 20481 bytes", padded(kGood, 20481), kInitial, kNegativeLength},
      {"negative length, no bracket", "x", kInitial, k4Giga - 1},
      {"negative length, malformed", "<a></b>", kNegative, k4Giga - 1},
  };
  for (const auto& row : rows) {
    server.receive(post(row.body, row.length));
    EXPECT_EQ(server.sent(), row.page ? error_page_of(row.page) : reply_of("IsDeviceReady", "OK"))
        << row.name;
    EXPECT_EQ(server.status(), row.page ? 500 : 200) << row.name;
    server.finish();
    EXPECT_EQ(heap.leaks(), "") << row.name;
  }
}

TEST_F(Intake, RunsTheActionOfTheBody) {
  Request request = soap("Reboot");
  request.body = {{kGood}};
  EXPECT_EQ(ask(request), reply_of("IsDeviceReady", "OK"));
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
    const Effects done = effects();
    EXPECT_EQ(std::count(done.begin(), done.end(), "kill 1 TERM"), readable);
  }
}

TEST_F(Intake, AnswersAnUnknownActionWithAFault) {
  const std::pair<const char*, const char*> rows[] = {
      {"\"X/FooBar\"", "X/F"}, {"ab", "ab"}, {"\"<&\"", "<&"}, {"\"\"", ""}};
  for (const auto& [value, shown] : rows) {
    server.receive(with_header(post(kGood), "SOAPAction", value));
    EXPECT_EQ(server.status(), 500);
    EXPECT_EQ(server.sent(), fault_of(shown));
    EXPECT_EQ(server.sent().size(), 337 + std::string_view{shown}.size() + 73);
    EXPECT_EQ(ask(with_header(post("<a></b>"), "SOAPAction", value)), error_page_of(kStatus))
        << "malformed counts for more";
  }
}

// Requests that no table row of an action stands for, with every allocation and effect failing in turn.
TEST(Dispatch, SurvivesEachFault) {
  const Request reboot = soap("Reboot");
  const std::string whole = reboot.body.front().bytes;
  Request get = reboot, head = reboot, malformed = reboot, deep = reboot, negative = reboot, spooled = reboot;
  get.method = HTTP_METHOD_GET;
  head.method = HTTP_METHOD_HEAD;
  malformed.body = {{kStart + "<a x='1' y='2'>t</b>" + kBody + kEnd}};
  deep.body = {{repeated("<a b='c'>t", 500)}};
  negative.length = std::uint64_t{1} << 31;
  spooled.body = {{whole.substr(0, 50)}, {whole.substr(50), Piece::spooled, "/var/tmp/upload"}};
  const auto scanning = [](Device& d) {
    d.files["/tmp/scanning"] = "";
    d.at(2, has_no_file("/tmp/scanning"));
  };
  const struct {
    const char* name;
    Request request;
    Device::Step prepare = nullptr;
    const char* may_miss = "(nothing)";
  } rows[] = {
      {"GET", get},
      {"HEAD", head},
      {"wrong password", with_header(reboot, "Authorization", "Basic YWRtaW46eA==")},
      {"no base64", with_header(reboot, "Authorization", "Basic *")},
      {"unknown action", with_header(reboot, "SOAPAction", "\"X/FooBar\"")},
      {"malformed", malformed},
      {"deep", deep},
      {"negative length", negative},
      {"spooled", spooled, nullptr, "run rm /var/tmp/upload"},
      {"during a scan", reboot, scanning},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    survive_each_fault({.request = row.request, .prepare = row.prepare, .may_miss = row.may_miss});
  }
}

}  // namespace
}  // namespace kd::test
