// How the arguments of an action are read, by the example of two texts. (What else an argument may have to be
// stands with its action.)
#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using Arguments = DeviceTest;

TEST_F(Arguments, ReadsArguments) {
  const std::string name = "<DeviceName>Den</DeviceName>", word = "<AdminPassword>secret</AdminPassword>";
  const struct {
    const char* what;
    std::string arguments, taken;  // "ERROR": refused
  } rows[] = {
      {"in one line", name + word, "Den/secret"},
      {"in any order", word + name, "Den/secret"},
      {"on lines of their own", "\r\n\t" + name + "\n  " + word + "\n", "Den/secret"},
      {"text between", "and " + name + " or " + word, "Den/secret"},
      {"white space is part of a text", "<DeviceName> Den\n</DeviceName>" + word, " Den\n/secret"},
      {"comments and instructions",
       "<!-- x -->" + name + "<?x y?><AdminPassword>sec<!-- - -->ret</AdminPassword>", "Den/secret"},
      {"CDATA", "<DeviceName>D<![CDATA[<&n>]]></DeviceName>" + word, "D<&n>/secret"},
      {"entities", "<DeviceName>A&amp;&#66;&#x43;</DeviceName><AdminPassword>&lt;x&gt;</AdminPassword>",
       "A&BC/<x>"},
      {"an element inside", "<DeviceName>D<b>x</b>en</DeviceName>" + word, "Den/secret"},
      {"attributes", "<DeviceName a='1' b='2'>Den</DeviceName>" + word, "Den/secret"},
      {"the later one counts", "<DeviceName>Hall</DeviceName>" + name + word, "Den/secret"},
      {"an empty one does not", name + "<DeviceName/><DeviceName></DeviceName>" + word, "Den/secret"},
      {"what follows the last is not examined", name + word + "<Zone/><DeviceName>Hall</DeviceName>",
       "Den/secret"},
      {"another one first", "<Zone/>" + name + word, "ERROR"},
      {"another one between", name + "<Zone/>" + word, "ERROR"},
      {"a prefix makes another one", "<n:DeviceName>Den</n:DeviceName>" + word, "ERROR"},
      {"so does the letter case", "<deviceName>Den</deviceName>" + word, "ERROR"},
      {"and more of the name", "<DeviceNames>Den</DeviceNames>" + word, "ERROR"},
      {"one is missing", name, "ERROR"},
      {"none", "", "ERROR"},
  };
  const std::string brief = "SetDeviceSettings", ready = "IsDeviceReady";
  for (const auto& row : rows) {
    effects();
    const std::string reply = ask(soap(brief, row.arguments.empty() ? "" : "<!-- -->" + row.arguments));
    const bool taken = row.taken != "ERROR";
    EXPECT_EQ(reply, reply_of(brief, taken ? "OK" : "ERROR")) << row.what;
    const Effects done = effects();
    EXPECT_EQ(std::count(done.begin(), done.end(), "nvram commit 0"), taken) << row.what;
    if (taken) {
      EXPECT_EQ(device.store["HostName"] + "/" + device.store["Password"], row.taken) << row.what;
    }
    device.set("Password", "password");
  }
  // The action element itself may have a prefix.
  Request request = soap(brief);
  const std::string start =
      "<e:Envelope xmlns:e='x'><e:Body><m:SetDeviceSettings xmlns:m='http://purenetworks.com/HNAP1/'>";
  request.body = {{start + name + word + "</m:SetDeviceSettings></e:Body></e:Envelope>"}};
  EXPECT_EQ(ask(request), reply_of(brief, "OK"));
}

}  // namespace
}  // namespace kd::test
