// GetDeviceSettings2, SetDeviceSettings2: serial number, time zone and the web interface's language.
#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "lang/lang.hpp"
#include "platform/identity.hpp"
#include "platform/os.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

constexpr const char* kTimeZone = "UTC";
constexpr const char* kOff = "false";

// The store keeps a two-letter code of the web interface's language, the protocol speaks of locales.
struct LocaleRow {
  const char* name;
  const char* language;
};

// In the order in which clients are told; the first is the default. Three names have no region.
constexpr LocaleRow kLocales[] = {
    {"en-us", "EN"}, {"da-dk", "DA"}, {"de-de", "DE"}, {"ru", "RU"},    {"sv-se", "SE"},
    {"es-es", "ES"}, {"it-it", "IT"}, {"fr-fr", "FR"}, {"nl-nl", "NL"}, {"pt-pt", "PT"},
    {"fr-ca", "CA"}, {"pl", "PL"},    {"tr", "TR"},    {"ar-sa", "SA"},
};

// Null for a language or a locale that is not in the table.
const char* locale_of_language(const char* language) {
  for (const LocaleRow& row : kLocales) {
    if (view_of(language) == row.language) return row.name;
  }
  return nullptr;
}

const char* language_of_locale(const char* locale) {
  for (const LocaleRow& row : kLocales) {
    if (view_of(locale) == row.name) return row.language;
  }
  return nullptr;
}

// Stores a language code without committing it; "EN" in place of an unknown one.
int kd_hnap_set_language(const char* code) {
  return kd_set_nvram_config("Language", locale_of_language(code) ? code : kLocales[0].language);
}

// Loads the strings of the stored language; non-zero on success.
int kd_hnap_init_language() {
  return lang_init();
}

struct Settings {
  const char* username = "";
  const char* time_zone = "";
  const char* auto_adjust_dst = "";
  const char* locale = "";
  const char* ssl = "";
};

// What the device cannot do has an error of its own; the first cause counts.
//   returns  null when nothing stands against the settings
const char* unsupported(const hnap_request& request, const Settings& wanted) {
  const char* authenticated = request.auth_user ? request.auth_user.get() : "";
  KD_LOG_MODULE("username in http header: %s, username in soap body: %s\n", authenticated, wanted.username);
  if (view_of(wanted.username) != authenticated) return "ERROR_USERNAME_NOT_SUPPORTED";
  if (view_of(wanted.time_zone) != kTimeZone) return "ERROR_TIMEZONE_NOT_SUPPORTED";
  if (view_of(wanted.auto_adjust_dst) != kOff) {
    os::print("ERROR: AutoAdjustDST doesn't equal to \"false\"");
    return "ERROR_TIMEZONE_NOT_SUPPORTED";  // there is no code of its own
  }
  return nullptr;
}

void use_language(const char* code) {
  kd_hnap_set_language(code);
  kd_hnap_commit_config();
  [[maybe_unused]] const bool loaded = kd_hnap_init_language() != 0;
  KD_LOG_MODULE("%s", loaded ? "management: multi-lang init success." : "management: multi-lang init fail.");
}

}  // namespace

ReplyText get_device_settings_2(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetDeviceSettings2", Namespace::core};
  reply.result("OK");
  char serial_number[kSerialNumberSize];
  kd_hnap_get_serial_number(serial_number);
  reply.leaf("SerialNumber", serial_number);
  reply.leaf("TimeZone", kTimeZone);
  reply.leaf("AutoAdjustDST", kOff);

  ConfigValue code{};
  kd_hnap_get_config(ConfigIndex::language, code);
  const char* locale = locale_of_language(code);
  if (!locale) {
    KD_LOG_MODULE("Unknown Language. Use default value \"en-us\" !!!");
    locale = kLocales[0].name;
  }
  reply.leaf("Locale", locale);
  reply.open("SupportedLocales");
  for (const LocaleRow& row : kLocales) reply.leaf("string", row.name);
  reply.close();
  reply.leaf("SSL", kOff);
  return reply.finish();
}

ReplyText set_device_settings_2(hnap_request& request, const xml_element* action) {
  Reply reply{request, "SetDeviceSettings2", Namespace::core};
  Settings wanted;
  Argument arguments[] = {{"Username", accept_text, &wanted.username},
                          {"TimeZone", accept_text, &wanted.time_zone},
                          {"AutoAdjustDST", accept_text, &wanted.auto_adjust_dst},
                          {"Locale", accept_text, &wanted.locale},
                          {"SSL", accept_text, &wanted.ssl}};
  const ArgumentFault fault = read_arguments(action, arguments);
  if (fault) {
    if (fault.unknown_name) {
      for (const char* part : {"ERROR: Unknow TAG = ", fault.unknown_name, "\n"}) os::print(part);
    }
    return reply.error(fault.text);
  }
  if (const char* error = unsupported(request, wanted)) return reply.error(error);

  const char* code = language_of_locale(wanted.locale);
  if (!code || view_of(wanted.ssl) != kOff) {
    // The message names the locale also when encryption was asked for.
    KD_LOG_MODULE("The locale %s doesn't be supported\n", wanted.locale);
    return reply.only("ERROR");
  }
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing
  use_language(code);
  return reply.finish();
}

}  // namespace kd
