// GetDeviceSettings2, SetDeviceSettings2.
#include "actions/locale.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

std::string settings(const std::string& serial, const std::string& locale) {
  std::string locales;
  for (const char* each : {"en-us", "da-dk", "de-de", "ru", "sv-se", "es-es", "it-it", "fr-fr", "nl-nl",
                           "pt-pt", "fr-ca", "pl", "tr", "ar-sa"}) {
    locales += "<string>" + std::string{each} + "</string>\n";
  }
  return "<GetDeviceSettings2Result>OK</GetDeviceSettings2Result>\n<SerialNumber>" + serial +
         "</SerialNumber>\n<TimeZone>UTC</TimeZone>\n<AutoAdjustDST>false</AutoAdjustDST>\n<Locale>" +
         locale + "</Locale>\n<SupportedLocales>\n" + locales + "</SupportedLocales>\n<SSL>false</SSL>\n";
}

Arguments wanted(const std::string& user, const std::string& zone, const std::string& dst,
                 const std::string& locale, const std::string& ssl) {
  return {{"Username", user}, {"TimeZone", zone}, {"AutoAdjustDST", dst}, {"Locale", locale}, {"SSL", ssl}};
}

Arguments with(Arguments arguments, const std::string& name, const std::string& value) {
  arguments.insert(arguments.begin(), {name, value});
  return arguments;
}

const Arguments kFrench = wanted("admin", "UTC", "false", "fr-ca", "false");
const std::vector<std::string> kStored{"nvram set Language=CA", "nvram commit 0"};

std::vector<std::string> stored_and(const std::vector<std::string>& console) {
  std::vector<std::string> all = kStored;
  all.push_back("console lang_free: Don't need release multi-lang mapping again.\n");
  for (const std::string& line : console) all.push_back("console " + line);
  return all;
}

constexpr const char* kUser = "ERROR_USERNAME_NOT_SUPPORTED";
constexpr const char* kZone = "ERROR_TIMEZONE_NOT_SUPPORTED";

const ActionCase kRows[] = {
    {"a language",
     "GetDeviceSettings2",
     {},
     settings("AB123456789012", "ar-sa"),
     {},
     [](Device& d) {
       put_serial_number(d, "AB123456789012");
       d.set("Language", "SA");
     }},
    {"unknown language",
     "GetDeviceSettings2",
     {},
     settings("AB123456789012", "en-us"),
     {},
     [](Device& d) {
       put_serial_number(d, "AB123456789012");
       d.set("Language", "XX");
     }},
    {"no language",
     "GetDeviceSettings2",
     {},
     settings("AB123456789012", "en-us"),
     {},
     [](Device& d) { put_serial_number(d, "AB123456789012"); }},
    {"stores and loads the language", "SetDeviceSettings2", kFrench, "OK",
     stored_and({"lang_init: Initial multi-language success! Current language is CA.\n"}),
     [](Device& d) { d.files["/web/lang/STRINGS_CA.txt"] = "Save,Enregistrer\n"; }},
    {"a language without strings", "SetDeviceSettings2", kFrench, "OK",
     stored_and({"lang_init: File /web/lang/STRINGS_CA.txt open fail!\n"})},
    {"elements behind the last are not examined",
     "SetDeviceSettings2",
     {{"SSL", "false"},
      {"Locale", "fr-ca"},
      {"AutoAdjustDST", "false"},
      {"TimeZone", "UTC"},
      {"Username", "admin"},
      {"Username", "nobody"},
      {"Zone", ""}},
     "OK",
     stored_and({"lang_init: File /web/lang/STRINGS_CA.txt open fail!\n"})},
    {"the later one counts, an empty one does not", "SetDeviceSettings2",
     with(with(with(kFrench, "Locale", "en-gb"), "TimeZone", "CET"), "Username", ""), "OK",
     stored_and({"lang_init: File /web/lang/STRINGS_CA.txt open fail!\n"})},
    {"another user", "SetDeviceSettings2", wanted("Admin", "CET", "true", "en-gb", "true"), kUser},
    {"no user", "SetDeviceSettings2", wanted("", "UTC", "false", "fr-ca", "false"), kUser},
    {"another time zone", "SetDeviceSettings2", wanted("admin", "utc", "true", "en-gb", "true"), kZone},
    {"summer time",
     "SetDeviceSettings2",
     wanted("admin", "UTC", "true", "en-gb", "true"),
     kZone,
     {"print ERROR: AutoAdjustDST doesn't equal to \"false\""}},
    {"another locale", "SetDeviceSettings2", wanted("admin", "UTC", "false", "en-gb", "false"), "ERROR"},
    {"a code is no locale", "SetDeviceSettings2", wanted("admin", "UTC", "false", "CA", "false"), "ERROR"},
    {"no locale", "SetDeviceSettings2", wanted("admin", "UTC", "false", "", "false"), "ERROR"},
    {"encryption", "SetDeviceSettings2", wanted("admin", "UTC", "false", "fr-ca", "true"), "ERROR"},
    {"one is missing", "SetDeviceSettings2", {kFrench.begin(), kFrench.end() - 1}, "ERROR"},
    {"nothing", "SetDeviceSettings2", {}, "ERROR"},
    {"unknown element",
     "SetDeviceSettings2",
     with(kFrench, "Zone", "1"),
     "ERROR",
     {"print ERROR: Unknow TAG = ", "print Zone", "print \n"}},
};
INSTANTIATE_TEST_SUITE_P(DeviceSettings2, ActionTest, ::testing::ValuesIn(kRows), row_name);

using Locale = DeviceTest;

TEST_F(Locale, CodesAreStoredAsTheyAreOrAsEnglish) {
  const struct {
    const char* code;
    const char* stored;
  } rows[] = {{"EN", "EN"}, {"CA", "CA"}, {"DE", "DE"}, {"DA", "DA"}, {"ES", "ES"}, {"FR", "FR"},
              {"IT", "IT"}, {"NL", "NL"}, {"PT", "PT"}, {"SA", "SA"}, {"SE", "SE"}, {"RU", "RU"},
              {"PL", "PL"}, {"TR", "TR"}, {"XX", "EN"}, {"en", "EN"}, {"", "EN"},   {nullptr, "EN"}};
  for (const auto& row : rows) {
    EXPECT_EQ(kd_hnap_set_language(nullptr, row.code), 0);
    EXPECT_EQ(effects(), std::vector{std::string{"nvram set Language="} + row.stored});
  }
}

}  // namespace
}  // namespace kd::test
