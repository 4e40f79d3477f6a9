#include "actions/locale.hpp"

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "lang/lang.hpp"
#include "platform/nvram_config.hpp"

namespace kd {

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

int kd_hnap_set_language(const char* code) {
  if (!locale_of_language(code)) {
    KD_LOG_MODULE("Unknow Language %s. set to default language EN !!!", code ? code : "");
    code = kLocales[0].language;
  }
  return kd_set_nvram_config("Language", code);
}

int kd_hnap_init_language() {
  return lang_init();
}

}  // namespace kd
