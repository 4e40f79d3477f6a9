#include "module/dispatch.hpp"

#include "base/flags.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

using Dispatch = DeviceTest;

constexpr const char* kStatus = "XML PARSE STATUS NOT OK ERROR";
constexpr const char* kInitial = "HANDLE REQUEST INITIAL ERROR";
constexpr const char* kEmpty = "CONTENT LEN == 0 XML PARSE ERROR";
constexpr const char* kNegative = "CONTENT LEN < 0 XML PARSE ERROR";

const std::string kStart = "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">";
const std::string kAction = "<IsDeviceReady xmlns=\"http://purenetworks.com/HNAP1/\"/>";
const std::string kBody = "<soap:Body>" + kAction + "</soap:Body>";
const std::string kEnd = "</soap:Envelope>";
const std::string kGood = kStart + kBody + kEnd;

std::string in_body(const std::string& text) {
  return kStart + "<soap:Body>" + text + "</soap:Body>" + kEnd;
}
std::string repeated(const std::string& text, std::size_t size) {
  std::string all;
  while (all.size() < size) all += text;
  return all;
}
std::string padded(const std::string& text, std::size_t size) {
  return text + std::string(size - text.size(), ' ');
}

TEST_F(Dispatch, SelectsTheRowByTheStartOfTheSoapAction) {
  const std::string a = EXTENDER_NAMESPACE_A, b = EXTENDER_NAMESPACE_B, access = ACCESSPOINT_NAMESPACE;
  const struct {
    std::string value;
    std::string_view row;
    bool alternate = false;
  } rows[] = {
      {"http://purenetworks.com/HNAP1/GetDeviceSettings", "GetDeviceSettings"},
      {"HTTP://PURENETWORKS.COM/hnap1/getdevicesettings", "GetDeviceSettings"},
      {"\"http://purenetworks.com/HNAP1/Reboot", "Reboot"},
      {"\"\"http://purenetworks.com/HNAP1/Reboot", ""},
      {"http://purenetworks.com/HNAP1/RebootNow", "Reboot"},
      {"http://purenetworks.com/HNAP1/Reboo", ""},
      {"http://purenetworks.com/HNAP1/", ""},
      {" http://purenetworks.com/HNAP1/Reboot", ""},
      {b + "Reboot", "Reboot", true},
      {b + "Nothing", ""},
      {std::string{HNAPEXT_NAMESPACE} + "Reboot", ""},
      {access + "Reboot", ""},
      {access + "GetAccessPointMode", "GetDeviceSettings2"},
      {"http://purenetworks.com/HNAP1/GetDeviceSettings2", "GetDeviceSettings2"},
      {"Reboot", ""},
      {std::string(1023, 'x'), ""},
  };
  for (const auto& row : rows) {
    const action_hndl_pair* found = match_soap_action(row.value);
    EXPECT_EQ(found ? found->name : "", row.row) << row.value;
    EXPECT_EQ(flags.alternate_namespace, row.alternate) << row.value;
  }
}

TEST_F(Dispatch, AnswersHostileBodies) {
  // Each pass of 20479 bytes feeds the same start again: 6826 levels each.
  const std::string levels = repeated(repeated("<a>", 20478) + "x", 3020000);
  constexpr std::uint64_t kGiga = std::uint64_t{1} << 31;
  const struct {
    const char* name;
    std::string body;
    const char* page;  // null: answered
    std::optional<std::uint64_t> length = std::nullopt;
  } rows[] = {
      {"good", kGood, nullptr},
      {"empty", "", kEmpty},
      {"one letter", "x", kInitial},
      {"no bracket", std::string(300, 'x'), kInitial},
      {"white space before", " \r\n\t" + kGood, nullptr},
      {"byte-order mark", "\xef\xbb\xbf" + kGood, nullptr},
      {"text before", "text " + kGood, nullptr},
      {"NUL behind", kGood + std::string("\0<<<", 4), nullptr},
      {"NUL inside", kStart + std::string("<soap:Body>\0", 12) + kAction + "</soap:Body>" + kEnd, kStatus},
      {"no end", kStart + kBody, kStatus},
      {"lower case and alone", "<envelope>", kStatus},
      {"no end, and no namespace that names it again", "<Envelope>" + kBody, kStatus},
      {"incomplete, but the word is there again", "<a>Envelope envelope Envelope", kInitial},
      {"mismatched", kStart + "<soap:Body><a></b></soap:Body>" + kEnd, kStatus},
      {"not XML", "<<< Envelope Envelope", kStatus},
      {"another encoding", "<?xml version=\"1.0\" encoding=\"utf-16\"?>" + kGood, kStatus},
      {"bad UTF-8", in_body("<IsDeviceReady xmlns=\"\">\xff\xfe</IsDeviceReady>"), kStatus},
      {"entities that explode",
       "<!DOCTYPE a [<!ENTITY x \"" + std::string(5000, 'x') + "\"><!ENTITY y \"" + repeated("&x;", 3000) +
           "\"><!ENTITY z \"" + repeated("&y;", 3000) + "\">]>" +
           in_body("<IsDeviceReady xmlns=\"\">&z;</IsDeviceReady>"),
       kStatus},
      {"an entity of itself",
       "<!DOCTYPE a [<!ENTITY x \"&x;\">]>" + in_body("<IsDeviceReady xmlns=\"\">&x;</IsDeviceReady>"),
       kStatus},
      {"no body", kStart + "<x/>" + kEnd, kInitial},
      {"two actions", in_body(kAction + kAction), kInitial},
      {"header and body", kStart + "<soap:Header><x/></soap:Header>" + kBody + kEnd, nullptr},
      {"something between", kStart + "<soap:Header/><x/>" + kBody + kEnd, kInitial},
      {"two bodies", kStart + kBody + kBody + kEnd, kInitial},
      {"two bodies behind a header", kStart + "<Header/>" + kBody + kBody + kEnd, nullptr},
      {"something behind the body", kStart + kBody + "<x/>" + kEnd, nullptr},
      {"prefixed action", in_body("<m:IsDeviceReady xmlns:m=\"http://purenetworks.com/HNAP1/\"/>"), nullptr},
      {"longer action", in_body("<NotIsDeviceReadyYet a=\"1\"/>"), nullptr},
      {"action in another case", in_body("<isdeviceready a=\"1\"/>"), kInitial},
      {"unknown action", in_body("<GetAccessPointMode a=\"1\"/>"), kInitial},
      {"no attribute", in_body("<IsDeviceReady/>"), kInitial},
      {"empty namespace", in_body("<IsDeviceReady xmlns=\"\"/>"), nullptr},
      {"foreign namespace", in_body("<IsDeviceReady xmlns=\"http://purenetworks.com/hnap1/\"/>"), kInitial},
      {"foreign namespace second", in_body("<IsDeviceReady a=\"1\" xmlns=\"x\"/>"), nullptr},
      {"20479 bytes", padded(kGood, 20479), nullptr},
      {"20480 bytes: the first one again", padded(kGood, 20480), nullptr},
      {"60000 bytes: the start again", padded(kGood, 60000), kStatus},
      {"60000 bytes of nothing", std::string(60000, ' '), kInitial},
      {"megabytes of text", std::string(3000000, 'x'), kInitial},
      {"a million levels", levels, kInitial},
      {"length beyond the body by megabytes", "x", kInitial, 100000000},
      {"length short of the last word", kGood, kStatus, kGood.size() - 10},
      {"length short by a bracket", kGood, nullptr, kGood.size() - 1},
      {"length 0", kGood, kEmpty, 0},
      {"length 2^32 and more", kGood, nullptr, 2 * kGiga + kGood.size()},
      {"negative length", kGood, nullptr, kGiga},
      {"negative length, 20480 bytes", padded(kGood, 20480), nullptr, kGiga},
      {"negative length, 20481 bytes", padded(kGood, 20481), kInitial, kGiga},
      {"negative length, malformed", "<a></b>", kNegative, kGiga},
  };
  for (const auto& row : rows) {
    host::Request request = soap_request("IsDeviceReady");
    request.body = row.body;
    request.content_length = row.length;
    EXPECT_TRUE(send(request));
    EXPECT_TRUE(request.finished) << row.name;
    EXPECT_EQ(request.status, row.page ? 500 : 200) << row.name;
    EXPECT_EQ(request.reply,
              row.page ? error_page_of(row.page)
                       : whole_reply("IsDeviceReady", "<IsDeviceReadyResult>OK</IsDeviceReadyResult>\n",
                                     HNAP1_NAMESPACE))
        << row.name;
    EXPECT_EQ(heap.leaks(), "") << row.name;
    EXPECT_FALSE(flags.hnap_error_flag) << row.name;
  }
}

TEST_F(Dispatch, RunsTheActionOfTheBody) {
  host::Request request = soap_request("Reboot");
  request.body = kGood;
  send(request);
  EXPECT_EQ(reply_value(request.reply, "IsDeviceReadyResult"), "OK");
  EXPECT_FALSE(flags.hnap_reboot_flag);

  host::Request access_point = soap_request("GetAccessPointMode", {}, ACCESSPOINT_NAMESPACE);
  send(access_point);
  EXPECT_EQ(access_point.reply, error_page_of(kInitial));
}

// The order to restart stands until the device is gone; what arrives meanwhile repeats it, if it can be read.
TEST_F(Dispatch, RepeatsAPendingRestart) {
  for (const bool readable : {true, false}) {
    flags.hnap_reboot_flag = true;
    host::Request request = soap_request("IsDeviceReady");
    if (!readable) request.body = "<a></b>";
    effects();
    send(request);
    const auto done = effects();
    EXPECT_EQ(std::count(done.begin(), done.end(), "kill 1 TERM"), readable);
  }
  flags.hnap_reboot_flag = false;
}

TEST_F(Dispatch, AnswersAnUnknownActionWithAFault) {
  const struct {
    const char *name, *value, *shown;
  } rows[] = {{"quoted", "\"X/FooBar\"", "X/F"}, {"short", "ab", "ab"}, {"empty", "\"\"", ""}};
  for (const auto& row : rows) {
    host::Request request = soap_request("IsDeviceReady");
    set_header(request, "SOAPAction", row.value);
    send(request);
    EXPECT_EQ(request.status, 500) << row.name;
    EXPECT_EQ(request.reply, fault_of(row.shown)) << row.name;
    request.body = "<a></b>";
    request.reply.clear();
    send(request);
    EXPECT_EQ(request.reply, error_page_of(kStatus)) << "a malformed body counts for more";
  }
}

// Requests that no table row of an action stands for, with every allocation and effect failing in turn.
host::Request changed(void (*change)(host::Request&)) {
  host::Request request = soap_request("Reboot");
  change(request);
  return request;
}

TEST(DispatchSweep, SurvivesEachFault) {
  const struct {
    const char* name;
    void (*change)(host::Request&);
    void (*prepare)(Device&) = nullptr;
  } rows[] = {
      {"GET", [](host::Request& r) { r.method = host::Method::get; }},
      {"PUT", [](host::Request& r) { r.method = host::Method::other; }},
      {"wrong password",
       [](host::Request& r) { set_header(r, "Authorization", "Basic " + base64("admin:x")); }},
      {"no base64", [](host::Request& r) { set_header(r, "Authorization", "Basic *"); }},
      {"unknown action", [](host::Request& r) { set_header(r, "SOAPAction", "\"X/FooBar\""); }},
      {"malformed", [](host::Request& r) { r.body = kStart + "<a x='1' y='2'>t</b>" + kBody + kEnd; }},
      {"deep", [](host::Request& r) { r.body = repeated("<a b='c'>t", 500); }},
      {"negative length", [](host::Request& r) { r.content_length = std::uint64_t{1} << 31; }},
      {"during a scan", [](host::Request&) {},
       [](Device& d) {
         d.files["/tmp/scanning"] = "";
         d.at(2, [](Device& later) { later.files.erase("/tmp/scanning"); });
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    survive_each_fault({changed(row.change), row.prepare});
  }
}

}  // namespace
}  // namespace kd::test
