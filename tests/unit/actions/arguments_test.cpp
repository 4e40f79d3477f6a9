// How the arguments of an action are read, by the example of two texts. (What else an argument may have to be
// stands with its action.)
#include "support/fixture.hpp"

namespace kd::test::arguments {

using Arguments = DeviceTest;

#define NAME "<DeviceName>Den</DeviceName>"
#define WORD "<AdminPassword>secret</AdminPassword>"

TEST_F(Arguments, AreTakenOrRefused) {
  const char* const rows[][3] = {
      // what is taken; null: the action is refused
      {"in any order, text between", "\r\n\t" WORD " and\n" NAME "\n", "Den/secret"},
      {"white space is part of a text", "<DeviceName> Den\n</DeviceName>" WORD, " Den\n/secret"},
      {"as XML may write it",
       "<!-- x --><DeviceName a='1' b='2'>D<![CDATA[<&n>]]><?x y?>&amp;&#66;<b>x</b><!-- - "
       "-->en</DeviceName>" WORD,
       "D<&n>&Ben/secret"},
      {"the later one counts", "<DeviceName>Hall</DeviceName>" NAME WORD, "Den/secret"},
      {"an empty one does not", NAME "<DeviceName/><DeviceName></DeviceName>" WORD, "Den/secret"},
      {"what follows the last is not examined", NAME WORD "<Zone/><DeviceName>Hall</DeviceName>",
       "Den/secret"},
      {"another one between", NAME "<Zone/>" WORD, nullptr},
      {"a prefix makes another one", "<n:DeviceName>Den</n:DeviceName>" WORD, nullptr},
      {"so does the letter case", "<deviceName>Den</deviceName>" WORD, nullptr},
      {"and less of the name", "<Device>Den</Device>" WORD, nullptr},
      {"and more of the name", "<DeviceNames>Den</DeviceNames>" WORD, nullptr},
      {"one is missing", NAME, nullptr},
      {"none", "<!-- -->", nullptr},
  };
  for (const auto& [what, arguments, taken] : rows) {
    // The action element may have a prefix itself.
    Request request = soap("SetDeviceSettings");
    request.body = {{"<Envelope><Body><m:SetDeviceSettings xmlns='http://purenetworks.com/HNAP1/'>" +
                     std::string{arguments} + "</m:SetDeviceSettings></Body></Envelope>"}};
    effects();
    EXPECT_EQ(ask(request), reply_of("SetDeviceSettings", taken ? "OK" : "ERROR")) << what;
    EXPECT_EQ(count(effects(), "nvram commit 0"), taken != nullptr) << what;
    EXPECT_TRUE(!taken || device.store["HostName"] + "/" + device.store["Password"] == taken) << what;
    device.set("Password", "password");
  }
}

}  // namespace kd::test::arguments
