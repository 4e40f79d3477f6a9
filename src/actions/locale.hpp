// The languages of the web interface. The store keeps a two-letter code, the protocol speaks of locales.
#pragma once

namespace kd {

struct LocaleRow {
  const char* name;
  const char* language;
};

// In the order in which clients are told; the first is the default. Three names have no region.
inline constexpr LocaleRow kLocales[] = {
    {"en-us", "EN"}, {"da-dk", "DA"}, {"de-de", "DE"}, {"ru", "RU"},    {"sv-se", "SE"},
    {"es-es", "ES"}, {"it-it", "IT"}, {"fr-fr", "FR"}, {"nl-nl", "NL"}, {"pt-pt", "PT"},
    {"fr-ca", "CA"}, {"pl", "PL"},    {"tr", "TR"},    {"ar-sa", "SA"},
};

// Null for a language or a locale that is not in the table.
const char* locale_of_language(const char* language);
const char* language_of_locale(const char* locale);

// Stores a language code without committing it; "EN" in place of an unknown one. Returns the store's result.
int kd_hnap_set_language(const char* code);

// Loads the strings of the stored language; non-zero on success.
int kd_hnap_init_language();

}  // namespace kd
