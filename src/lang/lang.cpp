#include "lang/lang.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "platform/shell.hpp"

namespace kd {
namespace {

struct lang_entry {
  char tag[32];
  std::int32_t offset;  // of the translation in `csb`, or kNoTranslation
};
static_assert(sizeof(lang_entry) == 36);

constexpr std::int32_t kNoTranslation = -1;
constexpr std::size_t kLineSize = 4096;

// The one table of the process. Plain pointers: statics with destructors would need the C++ runtime library
// on 32-bit ARM.
char multiLangInit = '0';      // '1' while at least one entry is loaded
std::int32_t langCounter = 0;  // lines of the file: the table's capacity
lang_entry* currentLang = nullptr;
char* csb = nullptr;  // the translations back to back, each terminated
std::size_t csb_size = 0;
char language_cr[32] = "";

// Number of lines in a file of `bytes`; -1 when it cannot be opened.
std::int32_t count_lines(const char* path, std::size_t& bytes) {
  const os::File file{os::fopen(path, "r")};
  if (!file) return -1;
  bytes = static_cast<std::size_t>(std::max<off_t>(os::size(file.get()), 0));
  char line[kLineSize];
  std::int32_t count = 0;
  while (count < INT32_MAX && !read_piece(file.get(), line).empty()) ++count;
  return count;
}

void free_table() {
  std::free(currentLang);
  std::free(csb);
  currentLang = nullptr;
  csb = nullptr;
}

// Zeroed memory for every line and for every byte of the file.
bool allocate_table(std::size_t lines, std::size_t bytes) {
  // An empty file is no failure, so never ask for nothing.
  free_table();
  currentLang = static_cast<lang_entry*>(std::calloc(std::max<std::size_t>(lines, 1), sizeof(lang_entry)));
  csb = static_cast<char*>(std::calloc(std::max<std::size_t>(bytes, 1), 1));
  csb_size = bytes;
  if (currentLang && csb) return true;
  free_table();
  return false;
}

// Splits "tag,translation" into the entry, the translation going to the store at `used`.
//   line     without its line end; its first comma is overwritten
//   returns  false for a line that is rejected
bool load_line(char* line, lang_entry& entry, std::size_t& used) {
  char* comma = std::strchr(line, ',');
  if (!comma) {
    console_printf("lang_init: Division fail! Skip line '%s'.\n", line);
    return false;
  }
  *comma = '\0';
  const std::string_view tag = line;
  const std::string_view translation = comma + 1;
  if (tag.size() >= sizeof entry.tag) {
    console_printf("lang_init: Tag '%s' too long! Skip it!\n", line);
    return false;
  }
  const std::size_t room = csb_size - used;
  if (translation.size() >= room) return false;  // the file has grown since it was measured
  copy_text(entry.tag, tag);
  if (translation.empty()) {
    console_printf("lang_init: Tag '%s' does not found translate string.\n", line);
    entry.offset = kNoTranslation;
    return true;
  }
  copy_text({csb + used, room}, translation);
  entry.offset = static_cast<std::int32_t>(used);
  used += translation.size() + 1;
  return true;
}

// Number of entries loaded; no more than were counted, whatever the file holds by now.
std::int32_t load_table(const char* path) {
  const os::File file{os::fopen(path, "r")};
  if (!file) return 0;
  char line[kLineSize];
  std::int32_t loaded = 0;
  std::size_t used = 0;
  while (loaded < langCounter && !read_piece(file.get(), line).empty()) {
    line[std::strcspn(line, "\r\n")] = '\0';
    if (load_line(line, currentLang[loaded], used)) ++loaded;
  }
  return loaded;
}

}  // namespace

int lang_init() {
  lang_free();
  copy_text(language_cr, view_of(nvram_text("Language").get()));
  char path[64];
  std::snprintf(path, sizeof path, "/web/lang/STRINGS_%s.txt", language_cr);
  std::size_t bytes = 0;
  const std::int32_t lines = count_lines(path, bytes);
  langCounter = std::max(lines, 0);
  if (lines < 0) {
    console_printf("lang_init: File %s open fail!\n", path);
    return 0;
  }
  if (!allocate_table(static_cast<std::size_t>(lines), bytes)) {
    console_printf("lang_init: Error!! Allocate memory to multi-lang fail!\n");
    return 0;
  }
  const std::int32_t loaded = load_table(path);
  if (loaded > 0) {
    multiLangInit = '1';
  } else {
    free_table();  // nobody looks into it, and lang_free would pass it over
  }
  if (loaded != langCounter) {
    console_printf(
        "lang_init: Please check mem content and original string file, that seems lose some row content!\n");
    console_printf("           The file row counter is %d and memory content counter is %d.\n", langCounter,
                   loaded);
  }
  console_printf("lang_init: Initial multi-language success! Current language is %s.\n", language_cr);
  return 1;
}

int lang_get(const char* tag, const char** out) {
  if (!tag || !out || multiLangInit == '0' || !currentLang || !csb || langCounter < 1) return 0;
  // Over the capacity, not over what was loaded: behind rejected lines the entries are zero, so the empty tag
  // finds the first translation.
  for (const lang_entry& entry : std::span{currentLang, static_cast<std::size_t>(langCounter)}) {
    if (std::strcmp(entry.tag, tag) != 0) continue;
    if (entry.offset == kNoTranslation) return 0;
    *out = csb + entry.offset;
    return 1;
  }
  return 0;
}

void lang_free() {
  if (multiLangInit == '0') {
    console_printf("lang_free: Don't need release multi-lang mapping again.\n");
    return;
  }
  console_printf("lang_free: Start to release multi-lang mapping.\n");
  langCounter = 0;
  free_table();
  multiLangInit = '0';
  console_printf("lang_free: End of release multi-lang mapping.\n");
}

}  // namespace kd
