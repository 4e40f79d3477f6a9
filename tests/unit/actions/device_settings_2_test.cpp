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

Arguments with(Arguments arguments, int at, const std::string& name, const std::string& value) {
  arguments.insert(arguments.begin() + at, {name, value});
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

ActionCase get(const char* name, const char* language, const char* locale) {
  return {name, "GetDeviceSettings2", {}, settings("AB123456789012", locale), {}, [=](Device& d) {
            put_serial_number(d, "AB123456789012");
            d.set("Language", language);
          }};
}
ActionCase set(const char* name, Arguments arguments, const char* reply,
               std::vector<std::string> changes = {}, Device::Step prepare = nullptr) {
  return {name, "SetDeviceSettings2", std::move(arguments), reply, std::move(changes), std::move(prepare)};
}

const std::vector<std::string> kNoStrings =
    stored_and({"lang_init: File /web/lang/STRINGS_CA.txt open fail!\n"});

const ActionCase kRows[] = {
    get("a language", "SA", "ar-sa"),
    get("unknown language", "XX", "en-us"),
    get("no language", "", "en-us"),
    set("stores and loads the language", kFrench, "OK",
        stored_and({"lang_init: Initial multi-language success! Current language is CA.\n"}),
        has_file("/web/lang/STRINGS_CA.txt", "Save,Enregistrer\n")),
    set("a language without strings", kFrench, "OK", kNoStrings),
    set("elements behind the last are not examined", with({kFrench.rbegin(), kFrench.rend()}, 5, "Zone", ""),
        "OK", kNoStrings),
    set("the later one counts, an empty one does not",
        with(with(with(kFrench, 0, "Locale", "en-gb"), 0, "TimeZone", "CET"), 3, "Username", ""), "OK",
        kNoStrings),
    set("another user", wanted("Admin", "CET", "true", "en-gb", "true"), kUser),
    set("no user", wanted("", "UTC", "false", "fr-ca", "false"), kUser),
    set("another time zone", wanted("admin", "utc", "true", "en-gb", "true"), kZone),
    set("summer time", wanted("admin", "UTC", "true", "en-gb", "true"), kZone,
        {"print ERROR: AutoAdjustDST doesn't equal to \"false\""}),
    set("another locale", wanted("admin", "UTC", "false", "en-gb", "false"), "ERROR"),
    set("a code is no locale", wanted("admin", "UTC", "false", "CA", "false"), "ERROR"),
    set("encryption", wanted("admin", "UTC", "false", "fr-ca", "true"), "ERROR"),
    set("one is missing", {kFrench.begin(), kFrench.end() - 1}, "ERROR"),
    set("unknown element", with(kFrench, 0, "Zone", "1"), "ERROR",
        {"print ERROR: Unknow TAG = ", "print Zone", "print \n"}),
};
INSTANTIATE_TEST_SUITE_P(DeviceSettings2, ActionTest, ::testing::ValuesIn(kRows), row_name);

using Locale = DeviceTest;

TEST_F(Locale, CodesAreStoredAsTheyAreOrAsEnglish) {
  const auto stored = [this](const char* code) {
    EXPECT_EQ(kd_hnap_set_language(nullptr, code), 0);
    return effects();
  };
  for (const char* code :
       {"EN", "CA", "DE", "DA", "ES", "FR", "IT", "NL", "PT", "SA", "SE", "RU", "PL", "TR"}) {
    EXPECT_EQ(stored(code), std::vector{std::string{"nvram set Language="} + code});
  }
  for (const char* code : {"XX", "en", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(stored(code), std::vector<std::string>{"nvram set Language=EN"});
  }
}

}  // namespace
}  // namespace kd::test
