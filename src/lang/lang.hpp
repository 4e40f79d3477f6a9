// The strings of the web interface in its current language: tags and their translations, loaded from
// "/web/lang/STRINGS_<code>.txt". Diagnostics go to the console.
#pragma once

namespace kd {

// Loads the table of the language in the stored "Language", in place of the one that was loaded.
//   returns  1 when the file was read, even if lines of it were rejected; 0 on failure
int lang_init();

// The translation of a tag, in the table's own memory.
//   returns  1, or 0 with `out` untouched: no table, unknown tag, or no translation
int lang_get(const char* tag, const char** out);

void lang_free();

}  // namespace kd
