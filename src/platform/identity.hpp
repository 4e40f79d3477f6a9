// What the device is. One binary serves two hardware models, told apart by "/var/boardid". Unless said
// otherwise a getter writes a terminated text and returns 0.
#pragma once

#include "platform/nvram_config.hpp"

namespace kd {

int kd_get_vendor_name(ConfigValue& out);
int kd_get_model_desc(ConfigValue& out);
int kd_get_presentation_url(ConfigValue& out);
int kd_get_status_url(ConfigValue& out);
int kd_get_device_name(ConfigValue& out);

// Compares the first line of the board id file as it is, line end included: a file that ends in a line end
// always names the first model. Returns 1, with `out` unwritten, when the pipe cannot be opened.
int kd_get_model_name(ConfigValue& out);

// These two compare the file's first word, and take the first model when the pipe cannot be opened.
int kd_get_model_reversion(ConfigValue& out);
int kd_get_firmware_version(ConfigValue& out);

// 0 access point, 1 bridge, 2 gateway, 3 extender; from "OperationMode", "ethConvert" and "apClient".
int kd_get_device_type();

// Fourteen characters from the radio's EEPROM and a terminator; takes at least 13 ms.
inline constexpr std::size_t kSerialNumberSize = 15;
int kd_hnap_get_serial_number(char (&out)[kSerialNumberSize]);

using VersionField = char[128];

// Splits the built-in version string into the version ("3.1.07, build 2") and the date
// ("2014-04-19T00:00:00"). Callers clear both fields first.
//   returns  0, or -1 when the string cannot be split
int kd_hnap_get_frimware_version_date(VersionField& version_out, VersionField& date_out);

// The same for any version string.
int split_firmware_version(const char* text, VersionField& version_out, VersionField& date_out);

// Turns a three-letter month name into its two-digit number in place.
//   text     at least 3 bytes of room
//   returns  0, or -1 for an unknown name, which stays
int kd_hnap_translate_month_string(char* text);

// The properties that the protocol names by number: from the store, or built in. Every other number means
// nothing.
enum class ConfigIndex : unsigned {
  device_type = 0,
  device_name = 1,  // "HostName"
  vendor_name = 3,
  model_name = 4,
  model_description = 5,
  model_revision = 6,
  firmware_version = 7,
  presentation_url = 8,
  status_url = 9,
  language = 16,  // "Language"
  password = 18,  // "Password"
};

// Reads a property into `dst`.
//   returns  the device type (0 to 3, `dst` untouched) for device_type, else 0
int kd_hnap_get_config(ConfigIndex index, ConfigValue& dst);

// Sets device_name or password; anything else does nothing. Always 0.
int kd_hnap_set_config(ConfigIndex index, const char* value);

}  // namespace kd
