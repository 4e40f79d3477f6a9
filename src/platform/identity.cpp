#include "platform/identity.hpp"

#include <cstdio>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/radio.hpp"

namespace kd {
namespace {

struct Model {
  const char* name;
  const char* revision;
  const char* firmware_version;
};

constexpr Model kFirstModel = {"NX220", "Ver 2", "3.1.07, build 2, Apr 19, 2014"};
constexpr Model kSecondModel = {"NX410W", "ver 1", "1.4.02, build 2, Apr 19, 2014"};
constexpr const char* kSecondModelBoard = "027215";
constexpr const char* kBoardIdCommand = "cat /var/boardid";

int write_constant(ConfigValue& out, const char* text) {
  copy_text(out, text);
  return 0;
}

const Model& model_by_first_word() {
  const os::Pipe pipe{os::popen(kBoardIdCommand)};
  if (!pipe) return kFirstModel;
  char text[256];
  char word[16] = "";
  // The word may stand behind blank lines.
  while (word[0] == '\0' && !read_piece(pipe.get(), text).empty()) std::sscanf(text, "%15s", word);
  return view_of(word) == kSecondModelBoard ? kSecondModel : kFirstModel;
}

int kd_get_language(ConfigValue& out) {
  kd_get_nvram_config("Language", out);
  return 0;
}

constexpr struct {
  ConfigIndex index;
  int (*read)(ConfigValue& out);
} kReaders[] = {
    {ConfigIndex::device_name, kd_get_device_name},
    {ConfigIndex::vendor_name, kd_get_vendor_name},
    {ConfigIndex::model_name, kd_get_model_name},
    {ConfigIndex::model_description, kd_get_model_desc},
    {ConfigIndex::model_revision, kd_get_model_reversion},
    {ConfigIndex::firmware_version, kd_get_firmware_version},
    {ConfigIndex::presentation_url, kd_get_presentation_url},
    {ConfigIndex::status_url, kd_get_status_url},
    {ConfigIndex::language, kd_get_language},
};

}  // namespace

int kd_get_vendor_name(ConfigValue& out) {
  return write_constant(out, "Corvane LLC");
}

int kd_get_model_desc(ConfigValue& out) {
  return write_constant(out, "Switchable Wireless-N Signal Extender");
}

int kd_get_presentation_url(ConfigValue& out) {
  return write_constant(out, "/wireless/wireless_basic.shtml");
}

int kd_get_status_url(ConfigValue& out) {
  return write_constant(out, "/status/device_status.shtml");
}

int kd_get_device_name(ConfigValue& out) {
  kd_get_nvram_config("HostName", out);
  return 0;
}

int kd_get_model_name(ConfigValue& out) {
  char line[99];
  if (!read_first_line_of_command(kBoardIdCommand, line)) {
    os::print("File NULL");
    return 1;
  }
  return write_constant(out, view_of(line) == kSecondModelBoard ? kSecondModel.name : kFirstModel.name);
}

int kd_get_model_reversion(ConfigValue& out) {
  return write_constant(out, model_by_first_word().revision);
}

int kd_get_firmware_version(ConfigValue& out) {
  return write_constant(out, model_by_first_word().firmware_version);
}

int kd_get_device_type() {
  const int operation_mode = nvram_number("OperationMode");
  const int eth_convert = nvram_number("ethConvert");
  const int ap_client = nvram_number("apClient");
  if (operation_mode == 1) return 2;
  if (operation_mode != 0) return 0;
  if (eth_convert == 1) return 1;
  return ap_client == 1 ? 3 : 0;
}

int kd_hnap_get_serial_number(char (&out)[kSerialNumberSize]) {
  // The offsets advance by one byte, not by one word: each character is the low byte of the word that starts
  // at its own offset.
  constexpr unsigned kFirstOffset = 0x1D3;
  constexpr unsigned kLength = kSerialNumberSize - 1;
  for (unsigned i = 0; i < kLength; ++i) {
    char offset[8];
    std::snprintf(offset, sizeof offset, "%04X", kFirstOffset + i);
    if (i > 0) os::usleep(1000);
    out[i] = static_cast<char>(getEEPROM(offset) & 0xFF);
  }
  out[kLength] = '\0';
  KD_LOG_MODULE("Serias Number: %s", out);
  return 0;
}

int kd_hnap_get_frimware_version_date(VersionField& version_out, VersionField& date_out) {
  return split_firmware_version(model_by_first_word().firmware_version, version_out, date_out);
}

int split_firmware_version(const char* text, VersionField& version_out, VersionField& date_out) {
  const std::string_view whole = view_of(text);
  const std::size_t first = whole.find(',');
  if (first == std::string_view::npos) return -1;
  const std::size_t second = whole.find(',', first + 1);
  if (second == std::string_view::npos) return -1;
  copy_text(version_out, head(whole, second));
  std::string_view date = tail(whole, second + 1);
  while (!date.empty() && date.front() == ' ') date.remove_prefix(1);
  copy_text(date_out, date);

  bool month_first = false;
  for (char& c : date_out) {
    if (c == '\0') break;
    if (c != '-' && c != ',') continue;
    month_first = c == ',';  // the last separator decides
    c = ' ';
  }
  VersionField words[3] = {};
  if (std::sscanf(date_out, "%127s %127s %127s", words[0], words[1], words[2]) != 3) return -1;
  VersionField& month = month_first ? words[0] : words[1];
  const VersionField& day = month_first ? words[1] : words[0];
  kd_hnap_translate_month_string(month);

  // The zero goes before the day as it stands, so "09" becomes "009".
  const int number = text_to_int(day);
  date_out[0] = '\0';
  for (const std::string_view part : {view_of(words[2]), std::string_view{"-"}, view_of(month),
                                      std::string_view{number >= 1 && number <= 9 ? "-0" : "-"}, view_of(day),
                                      std::string_view{"T00:00:00"}}) {
    append_text(date_out, part);
  }
  return 0;
}

int kd_hnap_translate_month_string(char* text) {
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  int number = 1;
  for (const char* month : kMonths) {
    if (equal_ignoring_case(view_of(text), month)) {
      text[0] = static_cast<char>('0' + number / 10);
      text[1] = static_cast<char>('0' + number % 10);
      text[2] = '\0';
      return 0;
    }
    ++number;
  }
  return -1;
}

int kd_hnap_get_config(ConfigIndex index, ConfigValue& dst) {
  if (index == ConfigIndex::device_type) return kd_get_device_type();
  for (const auto& reader : kReaders) {
    if (reader.index == index) reader.read(dst);
  }
  return 0;
}

int kd_hnap_set_config(ConfigIndex index, const char* value) {
  if (index == ConfigIndex::device_name) kd_set_nvram_config("HostName", value);
  if (index == ConfigIndex::password) kd_set_nvram_config("Password", value);
  return 0;
}

}  // namespace kd
